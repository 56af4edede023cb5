"""Grids, meshes and measures in pieces, made where Dask has room: on the processors of a machine or on a cluster.

What these functions give is lazy, as all collections of Dask: ``.compute()`` does the work, on the cluster of the
``distributed.Client`` where there is one. Tasks carry the field, which each process compiles once. Needs Dask (Debian:
python3-dask, and python3-distributed for clusters).
"""

from __future__ import annotations

import math
from functools import lru_cache
from importlib import import_module
from pickle import loads
from typing import TYPE_CHECKING, Any, NamedTuple, Optional
from zlib import compress, decompress

import numpy as np
import numpy.typing as npt

from . import _core
from ._arguments import count
from ._grid import Box, Lattice, frame, lattice
from ._mesh import Measure, Mesh, MeshReport

try:
    # Without the types of Dask, which are half there.
    dask_array: Any = import_module("dask.array")
    delayed: Any = import_module("dask").delayed
    dumps: Any = import_module("cloudpickle").dumps
    tokenize: Any = import_module("dask.base").tokenize
    HighLevelGraph: Any = import_module("dask.highlevelgraph").HighLevelGraph
except ImportError as error:
    raise ImportError("sf.dask needs the package dask (Debian: python3-dask)") from error

if TYPE_CHECKING:
    from ._field import Field

__all__ = ["Measures", "array", "measure", "mesh"]

# Cells of a layer of a mesh along z, and about how many cells a piece has: as many as C++ works on at once.
_LAYER = 16
_CELLS_OF_PIECE = 2**25


def array(
    field: Field,
    bounds: Any = None,
    voxel: Optional[float] = None,
    chunks: Any = "auto",
    *,
    cells: Optional[int] = None,
    threads: int = 1,
) -> Any:
    """The values on a grid as a ``dask.array.Array`` of float32 and shape (nz, ny, nx): those of :meth:`sf.Field.grid`, bit
    for bit, whatever the chunks.

    Args:
        bounds, voxel, cells: as for :meth:`sf.Field.grid`
        chunks: as Dask takes them. Chunks that divide z alone, as those of "auto" do, are rendered as they are; others
            are cut out of slices
        threads: of each chunk; workers render several chunks at once

    >>> values = sf.dask.array(sf.sphere(1), voxel=0.5, chunks=(2, -1, -1))
    >>> values.chunks, bool((values.compute() == sf.sphere(1).grid(voxel=0.5)).all())
    (((2, 2, 1), (5,), (5,)), True)
    """
    points = lattice(field, voxel, cells, bounds)
    given = (chunks, -1, -1) if isinstance(chunks, str) else chunks
    wanted = dask_array.core.normalize_chunks(given, points.shape, dtype=np.dtype(np.float32))
    packed, used = _packed(field), count("threads", threads)
    name = f"sf-grid-{tokenize(field, points, wanted[0])}"
    graph = {}
    first = 0
    for number, slices in enumerate(wanted[0]):
        graph[name, number, 0, 0] = _render, packed, points, first, first + slices, used
        first += slices
    layers = HighLevelGraph.from_collections(name, graph)
    slabs = dask_array.Array(layers, name, (wanted[0], *((n,) for n in points.shape[1:])), np.float32)
    return slabs.rechunk(wanted)


def mesh(
    field: Field,
    bounds: Any = None,
    voxel: Optional[float] = None,
    *,
    cells: Optional[int] = None,
    layers: Optional[int] = None,
    sharp: bool = True,
    capped: bool = True,
    threads: int = 1,
) -> Any:
    """A ``dask.delayed`` object that computes the :class:`sf.Mesh` of :meth:`sf.Field.mesh`, piece by piece along z.

    The pieces agree on what they share, so that the whole is as watertight as a mesh made at once. Vertices are the same,
    bit for bit and in the same order, whatever the pieces; so are faces, but for triangles without height that meet two
    pieces, which may have another diagonal.

    Args:
        layers: of a piece, 16 cells each; by default as many as make about 33 million cells
        threads: of each piece

    >>> ball = sf.dask.mesh(sf.sphere(10), voxel=0.5, layers=1).compute()
    >>> ball.topology.is_watertight, bool((ball.vertices == sf.sphere(10).mesh(voxel=0.5).vertices).all())
    (True, True)
    """
    box, edge = frame(field, voxel, cells, bounds)
    make = delayed(_piece, pure=True)
    packed, used = _packed(field), count("threads", threads)
    pieces = [make(packed, box, edge, *layer, sharp, capped, used) for layer in _ranges(box, edge, layers)]
    return delayed(_joined, pure=True)(pieces, not capped)


class Measures(NamedTuple):
    """Numbers of a solid, each with its error: those of :class:`sf.Measures` that do not need the whole mesh."""

    volume: Measure
    area: Measure
    centre: tuple[Measure, Measure, Measure]
    low: tuple[Measure, Measure, Measure]
    high: tuple[Measure, Measure, Measure]


def measure(
    field: Field,
    bounds: Any = None,
    voxel: Optional[float] = None,
    *,
    cells: Optional[int] = None,
    layers: Optional[int] = None,
    threads: int = 1,
) -> Any:
    """A ``dask.delayed`` object that computes volume, area, centre and extent, as :meth:`sf.Field.measure`, from the pieces
    of a mesh, of which no more than one is in the memory of a task. Arguments as for :func:`mesh`.

    The sums of the pieces are added without rounding in between, so that the figures depend neither on the workers nor on
    the order in which they are done. Other pieces change no more than the last digits.

    >>> round(sf.dask.measure(sf.box((10, 10, 10)), voxel=1).compute().volume.value, 9)
    1000.0
    """
    box, edge = frame(field, voxel, cells, bounds)
    add = delayed(_sums, pure=True)
    packed, used = _packed(field), count("threads", threads)
    fine, coarse = (
        [add(packed, box, size, *layer, used) for layer in _ranges(box, size, layers)] for size in (edge, 2 * edge)
    )
    return delayed(_measures, pure=True)(box, fine, coarse)


def _packed(field: Field) -> bytes:
    """The field as a part of each task, a tenth of its listing: no worker has to ask another one for it, which may be
    gone by then. Functions in it may be local."""
    return compress(dumps(field))


@lru_cache(maxsize=8)
def _unpacked(packed: bytes) -> Field:
    """Once in a process, so that it is compiled once."""
    field: Field = loads(decompress(packed))
    return field


def _ranges(box: Box, voxel: float, layers: Optional[int]) -> list[tuple[int, int]]:
    """Which layers each piece has."""
    every = _core.mesh_layer_count(*box, voxel)
    if layers is None:
        low, high = box
        cells = _LAYER * ((high[0] - low[0]) / voxel + 1) * ((high[1] - low[1]) / voxel + 1)
        layers = max(1, int(_CELLS_OF_PIECE / cells))
    step = count("layers", layers)
    if step == 0:
        raise ValueError("layers: a piece has one at least")
    return [(begin, min(begin + step, every)) for begin in range(0, every, step)]


def _render(packed: bytes, points: Lattice, first: int, last: int, threads: int) -> npt.NDArray[np.float32]:
    return points.render(_unpacked(packed), first, last, threads)


class _Piece(NamedTuple):
    vertices: npt.NDArray[np.float64]  # the first ones are those of the layer below
    faces: npt.NDArray[np.uint32]
    normals: npt.NDArray[np.float32]
    report: MeshReport
    below: int


def _piece(
    packed: bytes, box: Box, voxel: float, begin: int, end: int, sharp: bool, capped: bool, threads: int
) -> _Piece:
    vertices, faces, normals, report, below = _core.mesh_layers(
        _unpacked(packed)._core, *box, voxel, begin, end, sharp, capped, threads
    )
    return _Piece(vertices, faces, normals, MeshReport(*report), below)


def _joined(pieces: list[_Piece], drop_lone: bool) -> Mesh:
    """The vertices of the layer below a piece are the last ones of the pieces before it."""
    vertices = np.concatenate([piece.vertices[piece.below :] for piece in pieces])
    normals = np.concatenate([piece.normals[piece.below :] for piece in pieces])
    faces = []
    first = 0
    for piece in pieces:
        faces.append(piece.faces + np.int64(first - piece.below))
        first += len(piece.vertices) - piece.below
    triangles = np.concatenate(faces)
    if len(triangles) == 0:
        raise ValueError("no surface of the model lies in the box")
    if len(vertices) >= 2**32:
        raise ValueError("voxel: the mesh would have more than 4294967295 vertices")
    if drop_lone:
        used = np.zeros(len(vertices), bool)
        used[triangles] = True
        triangles = (np.cumsum(used) - 1)[triangles]
        vertices, normals = vertices[used], normals[used]
    return Mesh(vertices, triangles, normals, _report([piece.report for piece in pieces]))


def _report(reports: list[MeshReport]) -> MeshReport:
    return MeshReport(
        reports[0].voxel,
        reports[0].cells,
        max(report.vertex_distance for report in reports),
        max(report.sharp_vertex_distance for report in reports),
        max(report.surface_distance for report in reports),
        sum(report.sharp_vertices for report in reports),
        sum(report.unplaced_vertices for report in reports),
    )


class _Sums(NamedTuple):
    volume: float
    area: float
    moment: list[float]
    low: list[float]
    high: list[float]
    offset: float  # of the vertices from the surface, at most


def _middle(box: Box) -> npt.NDArray[np.float64]:
    return (np.array(box[0]) + box[1]) / 2


def _sums(packed: bytes, box: Box, voxel: float, begin: int, end: int, threads: int) -> Optional[_Sums]:
    """Of a piece; None where it is empty. The moment is about the middle of the box."""
    piece = _piece(packed, box, voxel, begin, end, True, True, threads)
    if len(piece.faces) == 0:
        return None
    volume, area, moment = _core.mesh_moments(
        piece.vertices, piece.faces, _unpacked(packed)._core, *box, tuple(_middle(box)), threads
    )
    return _Sums(
        volume,
        area,
        list(moment),
        piece.vertices.min(axis=0).tolist(),
        piece.vertices.max(axis=0).tolist(),
        max(piece.report.vertex_distance, piece.report.sharp_vertex_distance),
    )


def _whole(box: Box, pieces: list[Optional[_Sums]]) -> tuple[float, float, Any, Any, Any, float]:
    """Volume, area, centre, low, high and offset of all pieces; zeros where there is nothing."""
    parts = [piece for piece in pieces if piece is not None]
    if not parts:
        return 0.0, 0.0, np.zeros(3), np.zeros(3), np.zeros(3), 0.0
    volume = math.fsum(part.volume for part in parts)
    moment = np.array([math.fsum(part.moment[axis] for part in parts) for axis in range(3)])
    centre = _middle(box) + (moment / volume if volume != 0 else 0.0)
    low = np.min([part.low for part in parts], axis=0)
    high = np.max([part.high for part in parts], axis=0)
    return volume, math.fsum(part.area for part in parts), centre, low, high, max(part.offset for part in parts)


def _measures(box: Box, fine: list[Optional[_Sums]], coarse: list[Optional[_Sums]]) -> Measures:
    """Errors are the differences from the mesh with twice the voxel."""
    if not any(fine):
        raise ValueError("no surface of the model lies in the box")
    volume, area, centre, low, high, offset = _whole(box, fine)
    other_volume, other_area, other_centre, other_low, other_high, _ = _whole(box, coarse)

    def measured(value: float, other: float, least: float = 0.0) -> Measure:
        return Measure(float(value), float(abs(value - other) + least))

    def three(values: Any, others: Any, least: float = 0.0) -> tuple[Measure, Measure, Measure]:
        x, y, z = (measured(value, other, least) for value, other in zip(values, others))
        return x, y, z

    return Measures(
        measured(volume, other_volume, offset * area),
        measured(area, other_area),
        three(centre, other_centre),
        three(low, other_low, offset),
        three(high, other_high, offset),
    )
