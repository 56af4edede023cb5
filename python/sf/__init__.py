"""Solid geometry as scalar fields: values that compose, negative inside of the solid.

>>> bore = sf.cylinder(radius=4, height=20).translate((30, 15, 0))
>>> plate = sf.box((80, 50, 6)).difference(bore)
>>> plate([[0, 0, 0], [30, 15, 0]])
array([-3.,  4.])
"""

from importlib import import_module
from typing import Any

from ._errors import TextError
from ._field import Curvature, Field, Parameter, angle, axes, intersection, length, parameter, smooth_union, union
from ._grid import Grid
from ._mesh import MassMeasures, Measure, Measures, Mesh, MeshReport, Topology, Wall
from ._picture import Picture
from ._resource import resource
from ._shapes import (
    box,
    capsule,
    chain,
    cone,
    cylinder,
    ellipsoid,
    gear,
    gyroid,
    half_space,
    lattice,
    periodic_network,
    periodic_sheet,
    prism,
    rounded_box,
    sphere,
    struts,
    torus,
)
from ._texts import Problem, check, formula, from_expression, from_listing, load, save


def __getattr__(name: str) -> Any:
    """The module sf.dask, when it is asked for: it needs a package that need not be installed."""
    if name == "dask":
        return import_module(".dask", __name__)
    raise AttributeError(f"module {__name__!r} has no attribute {name!r}")


__all__ = [
    "Curvature",
    "Field",
    "Grid",
    "MassMeasures",
    "Measure",
    "Measures",
    "Mesh",
    "MeshReport",
    "Parameter",
    "Picture",
    "Problem",
    "TextError",
    "Topology",
    "Wall",
    "angle",
    "axes",
    "box",
    "capsule",
    "chain",
    "check",
    "cone",
    "cylinder",
    "ellipsoid",
    "formula",
    "from_expression",
    "from_listing",
    "gear",
    "gyroid",
    "half_space",
    "intersection",
    "lattice",
    "length",
    "load",
    "parameter",
    "periodic_network",
    "periodic_sheet",
    "prism",
    "resource",
    "rounded_box",
    "save",
    "smooth_union",
    "sphere",
    "struts",
    "torus",
    "union",
]
