"""Triangle meshes of surfaces, and what is measured on them."""

from __future__ import annotations

import os
from dataclasses import dataclass
from typing import Any, NamedTuple, Optional, Union

import numpy as np
import numpy.typing as npt

from . import _core
from ._arguments import rows
from ._progress import Progress, reporting


class Topology(NamedTuple):
    """How the triangles of a mesh hang together.

    Attributes:
        components: parts that share no vertex; a cavity counts as one
        cavities: components that face inwards
        genus: handles of all components; -1 unless the mesh is closed
    """

    components: int
    cavities: int
    genus: int
    is_closed: bool
    is_manifold: bool
    is_oriented: bool

    @property
    def is_watertight(self) -> bool:
        """Closed, manifold and oriented."""
        return self.is_closed and self.is_manifold and self.is_oriented


class MeshReport(NamedTuple):
    """What meshing found out; lengths are in the model's unit.

    Attributes:
        vertex_distance: the largest distance of a vertex from the surface, sharp vertices apart
        surface_distance: the largest distance of the surface from the mesh, where it was measured
        sharp_vertices: how many lie on edges and corners of the solid
        unplaced_vertices: how many lie where the field has no gradient, no value or a jump
    """

    voxel: float
    cells: tuple[int, int, int]
    vertex_distance: float
    sharp_vertex_distance: float
    surface_distance: float
    sharp_vertices: int
    unplaced_vertices: int


class Measure(NamedTuple):
    """A number with its error."""

    value: float
    error: float


class Wall(NamedTuple):
    """The thinnest place of a solid that was found."""

    thickness: Measure
    at: npt.NDArray[np.float64]


@dataclass(frozen=True)
class MassMeasures:
    """Numbers of a solid, each with its error, that the parts of a mesh add up to."""

    volume: Measure
    area: Measure
    centre: tuple[Measure, Measure, Measure]
    low: tuple[Measure, Measure, Measure]
    high: tuple[Measure, Measure, Measure]


@dataclass(frozen=True)
class Measures(MassMeasures):
    """Numbers of a solid, each with its error, and how it hangs together."""

    wall: Optional[Wall]
    topology: Topology


def mass_measures(row: Any) -> tuple[Measure, Measure, Any, Any, Any]:
    """The fields of MassMeasures from what C++ gives."""
    volume, area, *corners = row
    centre, low, high = (tuple(Measure(*pair) for pair in three) for three in corners)
    return Measure(*volume), Measure(*area), centre, low, high


class Mesh:
    """Triangles over shared vertices.

    Attributes:
        vertices: float64 of shape (n, 3), in the model's unit
        faces: uint32 of shape (m, 3); seen from outside the corners run counter-clockwise
        normals: float32 of shape (n, 3), outwards; empty where not known
        report: what meshing found out; None for a mesh that was not made from a field

    >>> ball = sf.sphere(10).mesh(voxel=1)
    >>> ball.faces.shape[1], bool(abs(ball.volume / (4 / 3 * np.pi * 1000) - 1) < 0.01)
    (3, True)
    """

    def __init__(
        self,
        vertices: npt.ArrayLike,
        faces: npt.ArrayLike,
        normals: Optional[npt.ArrayLike] = None,
        report: Optional[MeshReport] = None,
    ) -> None:
        self.vertices: npt.NDArray[np.float64] = rows("vertices", vertices, 3)
        given = np.asarray(faces)
        if given.size and (given.dtype.kind not in "iu" or given.min() < 0 or given.max() >= len(self.vertices)):
            raise ValueError("faces: expected numbers of vertices")
        self.faces: npt.NDArray[np.uint32] = np.ascontiguousarray(given, np.uint32).reshape(-1, 3)
        self.normals: npt.NDArray[np.float32] = np.zeros((0, 3), np.float32)
        if normals is not None:
            self.normals = rows("normals", normals, 3).astype(np.float32)
            if len(self.normals) not in (0, len(self.vertices)):
                raise ValueError("normals: expected one for each vertex")
        self.report = report

    def __repr__(self) -> str:
        return f"<sf.Mesh of {len(self.vertices)} vertices and {len(self.faces)} faces>"

    @property
    def volume(self) -> float:
        """Enclosed by the triangles."""
        return _core.mass_properties(self.vertices, self.faces)[0]

    @property
    def area(self) -> float:
        """Of all triangles."""
        return _core.mass_properties(self.vertices, self.faces)[1]

    @property
    def centre(self) -> npt.NDArray[np.float64]:
        """The centre of the volume."""
        return np.array(_core.mass_properties(self.vertices, self.faces)[2])

    @property
    def topology(self) -> Topology:
        """How the triangles hang together.

        >>> sf.torus(10, 3).mesh(voxel=1).topology.genus
        1
        """
        return Topology(*_core.topology(self.vertices, self.faces))

    def save(
        self, path: Union[str, os.PathLike[str]], unit: str = "mm", name: str = "part", progress: Progress = None
    ) -> None:
        """Writes the mesh: ``.stl``, ``.ply``, ``.obj``, ``.3mf`` or ``.glb``. ``unit`` is that of the vertices: um, mm, cm,
        m or in. The file appears as a whole or not at all."""
        with reporting(progress, "writing") as report:
            _core.write_mesh(os.fspath(path), self.vertices, self.faces, self.normals, unit, name, report)

    def to_trimesh(self) -> Any:
        """A ``trimesh.Trimesh``; needs trimesh."""
        import trimesh  # type: ignore[import]

        normals = self.normals if len(self.normals) else None
        return trimesh.Trimesh(self.vertices, self.faces.astype(np.int64), vertex_normals=normals, process=False)

    def to_pyvista(self) -> Any:
        """A ``pyvista.PolyData``; needs pyvista."""
        import pyvista  # type: ignore[import]

        faces = np.column_stack([np.full(len(self.faces), 3, np.int64), self.faces.astype(np.int64)])
        data = pyvista.PolyData(self.vertices, faces.ravel())
        if len(self.normals):
            data.point_data["Normals"] = self.normals
        return data
