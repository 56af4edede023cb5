"""Shapes. They are centred at the origin, and the axis of what turns about one is the z axis.

A dimension is a number or a field that is the same everywhere, as an expression of parameters.
"""

from __future__ import annotations

from typing import Any, Literal

import numpy as np
import numpy.typing as npt

from . import _core
from ._arguments import Vector, counts, floats, one_of, rows, vector
from ._field import Field, FieldLike, core, made

Surface = Literal["gyroid", "schwarz_p", "schwarz_d", "lidinoid", "neovius", "iwp"]
Lattice = Literal["cubic", "bcc", "fcc", "octet", "kelvin"]
_SURFACES = ["gyroid", "schwarz_p", "schwarz_d", "lidinoid", "neovius", "iwp"]
_LATTICES = ["cubic", "bcc", "fcc", "octet", "kelvin"]


def _three(name: str, value: Any) -> list[_core.Node]:
    try:
        x, y, z = value
    except (TypeError, ValueError):
        raise ValueError(f"{name}: expected three dimensions") from None
    return [core(name, x), core(name, y), core(name, z)]


def sphere(radius: FieldLike) -> Field:
    """A ball. Exact distance.

    >>> sf.sphere(2)(0, 0, 5)
    3.0
    """
    return made(_core.sphere(core("radius", radius)))


def box(size: Any) -> Field:
    """The block of three edge lengths. Exact distance.

    >>> sf.box((80, 50, 6))(0, 0, 4)
    1.0
    """
    return made(_core.box(_three("size", size)))


def rounded_box(size: Any, radius: FieldLike) -> Field:
    """The block of three edge lengths with its edges and corners rounded. Exact distance.

    >>> bool(sf.rounded_box((4, 4, 4), 1)(2, 2, 2) > 0)
    True
    """
    return made(_core.rounded_box(_three("size", size), core("radius", radius)))


def cylinder(radius: FieldLike, height: FieldLike) -> Field:
    """Exact distance.

    >>> sf.cylinder(radius=4, height=20)(0, 0, 0)
    -4.0
    """
    return made(_core.cylinder(core("radius", radius), core("height", height)))


def capsule(start: Any, end: Any, radius: FieldLike) -> Field:
    """All points within a radius of a segment. Exact distance.

    >>> sf.capsule((0, 0, 0), (10, 0, 0), 1)(5, 3, 0)
    2.0
    """
    return made(_core.capsule(_three("start", start), _three("end", end), core("radius", radius)))


def cone(radius: FieldLike, height: FieldLike, top_radius: FieldLike = 0.0) -> Field:
    """The frustum from z = -height / 2 to height / 2. Exact distance.

    >>> sf.cone(2, 4)(0, 0, -4)
    2.0
    """
    return made(_core.cone(core("radius", radius), core("height", height), core("top_radius", top_radius)))


def torus(radius: FieldLike, tube_radius: FieldLike) -> Field:
    """``radius`` from the z axis to the centre of the tube. Exact distance.

    >>> sf.torus(10, 2)(10, 0, 0)
    -2.0
    """
    return made(_core.torus(core("radius", radius), core("tube_radius", tube_radius)))


def ellipsoid(radii: Any) -> Field:
    """The ellipsoid of three semi-axes. A lower bound of the distance.

    >>> sf.ellipsoid((1, 2, 3))(0, 0, 0)
    -1.0
    """
    return made(_core.ellipsoid(_three("radii", radii)))


def half_space(normal: Vector, offset: FieldLike = 0.0) -> Field:
    """``n p <= offset`` with n the normal, which points outwards, scaled to length 1. Exact distance.

    >>> sf.half_space((0, 0, 2), offset=1)(0, 0, 3)
    2.0
    """
    return made(_core.half_space(vector("normal", normal), core("offset", offset)))


def prism(polygon: npt.ArrayLike, height: FieldLike) -> Field:
    """The prism over a polygon of shape (n, 2), which may be concave. Exact distance.

    >>> sf.prism([(0, 0), (4, 0), (0, 4)], height=2)(1, 1, 0)
    -1.0
    """
    return made(_core.prism(rows("polygon", polygon, 2), core("height", height)))


def gear(
    module: FieldLike, teeth: FieldLike, height: FieldLike, pressure_angle: FieldLike = np.pi / 9
) -> Field:
    """A spur gear with involute flanks: pitch diameter ``module * teeth``. The pressure angle is in radians.

    >>> bool(sf.gear(module=1, teeth=20, height=5)(10, 0, 0) < 0)
    True
    """
    return made(
        _core.gear(
            core("module", module), core("teeth", teeth), core("height", height), core("pressure_angle", pressure_angle)
        )
    )


def periodic_sheet(surface: Surface, cell: FieldLike, thickness: FieldLike) -> Field:
    """The wall of a thickness, half on each side of a triply periodic surface, through all space. ``cell`` is the period.

    >>> sf.periodic_sheet("schwarz_p", cell=10, thickness=1).lipschitz_bound < 1.33
    True
    """
    number = one_of("surface", _SURFACES, surface)
    return made(_core.periodic_sheet(number, core("cell", cell), core("thickness", thickness)))


def periodic_network(surface: Surface, cell: FieldLike, offset: FieldLike = 0.0) -> Field:
    """The labyrinth on one side of a triply periodic surface, with its surface moved outwards by an offset.

    >>> one = sf.periodic_network("gyroid", cell=10, offset=-1)
    >>> bool(one(2.5, 0, 0) * one(-2.5, 0, 0) < 0)
    True
    """
    number = one_of("surface", _SURFACES, surface)
    return made(_core.periodic_network(number, core("cell", cell), core("offset", offset)))


def gyroid(cell: FieldLike, thickness: FieldLike) -> Field:
    """``periodic_sheet("gyroid", cell, thickness)``.

    >>> sf.gyroid(cell=10, thickness=1)(0, 0, 0)
    -0.5
    """
    return periodic_sheet("gyroid", cell, thickness)


def struts(ends: npt.ArrayLike, radius: FieldLike) -> Field:
    """The union of capsules of one radius between the points of ``ends``, of shape (n, 2, 3). Those that share much are
    computed together, so that thousands are cheap.

    >>> frame = sf.struts([[(0, 0, 0), (10, 0, 0)], [(10, 0, 0), (10, 10, 0)]], radius=1)
    >>> frame(10, 5, 0)
    -1.0
    """
    return made(_core.struts(rows("ends", ends, 2, 3), core("radius", radius)))


def chain(points: npt.ArrayLike, radius: FieldLike) -> Field:
    """Struts from each point to the next one; ``points`` has shape (n, 3).

    >>> sf.chain([(0, 0, 0), (10, 0, 0), (10, 10, 0)], radius=1)(10, 5, 0)
    -1.0
    """
    return made(_core.chain(rows("points", points, 3), core("radius", radius)))


def lattice(kind: Lattice, counts: Any, cell: Any, radius: FieldLike) -> Field:
    """Struts over a box of ``counts`` cells, centred at the origin. ``cell`` is an edge length, or one for each axis.

    >>> sf.lattice("octet", (2, 2, 2), cell=10, radius=1).bounds[1]
    array([11., 11., 11.])
    """
    number = one_of("kind", _LATTICES, kind)
    edges = floats("cell", cell)
    sides = vector("cell", np.full(3, edges) if edges.ndim == 0 else edges)
    return made(_core.lattice(number, _counts("counts", counts), sides, core("radius", radius)))


_counts = counts
