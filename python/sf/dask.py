"""Grids, meshes and measures in pieces, made where Dask has room: on the processors of a machine or on a cluster.

What these functions give is lazy, as all collections of Dask: ``.compute()`` does the work, on the cluster of the
``distributed.Client`` where there is one. Tasks carry the field, which each process compiles once. Needs Dask (Debian:
python3-dask, and python3-distributed for clusters).
"""

from __future__ import annotations

from functools import lru_cache
from importlib import import_module
from pickle import loads
from typing import TYPE_CHECKING, Any, Callable, NamedTuple, Optional
from zlib import compress, decompress

import numpy as np
import numpy.typing as npt

from . import _core
from ._arguments import count
from ._grid import Box, Lattice, frame, lattice
from ._mesh import MassMeasures, Mesh, MeshReport, mass_measures

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

__all__ = ["array", "measure", "mesh"]

_NO_SURFACE = "no surface of the model lies in the box"


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
    sharp: bool = True,
    capped: bool = True,
    threads: int = 1,
) -> Any:
    """A ``dask.delayed`` object that computes the :class:`sf.Mesh` of :meth:`sf.Field.mesh`, bit for bit, in parts.

    Args:
        threads: of each task; workers do several at once

    >>> ball = sf.dask.mesh(sf.sphere(10), voxel=0.5).compute()
    >>> ball.topology.is_watertight, bool((ball.faces == sf.sphere(10).mesh(voxel=0.5).faces).all())
    (True, True)
    """
    box, edge = frame(field, voxel, cells, bounds)
    solid = _Solid(_packed(field), box, edge, sharp, capped, count("threads", threads))
    return delayed(_joined, pure=True)(_by_slabs(_slab, solid), not capped)


def measure(
    field: Field,
    bounds: Any = None,
    voxel: Optional[float] = None,
    *,
    cells: Optional[int] = None,
    threads: int = 1,
) -> Any:
    """A ``dask.delayed`` object that computes the :class:`sf.MassMeasures` of :meth:`sf.Field.measure` from the slabs of a
    mesh, of which no more than one is in the memory of a task. Arguments as for :func:`mesh`.

    The sums of the slabs are added in their order, so that the figures do not depend on the workers. From those of
    :meth:`sf.Field.measure` they differ by rounding.

    >>> round(sf.dask.measure(sf.box((10, 10, 10)), voxel=1).compute().volume.value, 9)
    1000.0
    """
    box, edge = frame(field, voxel, cells, bounds)
    packed, used = _packed(field), count("threads", threads)
    fine, coarse = (_by_slabs(_sums, _Solid(packed, box, size, True, True, used)) for size in (edge, 2 * edge))
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


def _render(packed: bytes, points: Lattice, first: int, last: int, threads: int) -> npt.NDArray[np.float32]:
    return points.render(_unpacked(packed), first, last, threads)


class _Solid(NamedTuple):
    """What the mesh is of that a task makes a part of."""

    packed: bytes
    box: Box
    voxel: float
    sharp: bool
    capped: bool
    threads: int


@lru_cache(maxsize=8)
def _shares(solid: _Solid) -> _core.MeshShares:
    """Once in a process; threads share it."""
    return _core.MeshShares(_unpacked(solid.packed)._core, *solid.box, solid.voxel, solid.sharp, solid.capped)


def _by_slabs(work: Callable[..., Any], solid: _Solid) -> list[Any]:
    """Delayed ``work(solid, slab, strips)`` for each slab of the mesh."""
    tasks, slabs = _core.mesh_plan(*solid.box, solid.voxel)
    strips: dict[int, Any] = {}
    for task, numbers in enumerate(tasks):
        made = delayed(_strips, pure=True)(solid, task)
        strips.update((number, made[place]) for place, number in enumerate(numbers))
    work = delayed(work, pure=True)
    return [work(solid, slab, [strips[i] for i in range(first, last)]) for slab, (first, _, last) in enumerate(slabs)]


def _strips(solid: _Solid, task: int) -> list[bytes]:
    return _shares(solid).make(task, solid.threads)


class _Slab(NamedTuple):
    vertices: npt.NDArray[np.float64]  # the first ones are those of the layer below
    faces: npt.NDArray[np.uint32]
    normals: npt.NDArray[np.float32]  # of its own vertices
    report: MeshReport
    below: int


def _slab(solid: _Solid, slab: int, strips: list[bytes]) -> _Slab:
    vertices, faces, normals, report, below = _shares(solid).assemble(slab, strips, solid.threads)
    return _Slab(vertices, faces, normals, MeshReport(*report), below)


def _joined(slabs: list[_Slab], drop_lone: bool) -> Mesh:
    """The vertices of the layer below a slab are the last ones of the slab before it."""
    vertices = np.concatenate([slab.vertices[slab.below :] for slab in slabs])
    normals = np.concatenate([slab.normals for slab in slabs])
    faces = []
    first = 0
    for slab in slabs:
        faces.append(slab.faces + np.int64(first - slab.below))
        first += len(slab.normals)
    triangles = np.concatenate(faces)
    if len(triangles) == 0:
        raise ValueError(_NO_SURFACE)
    if len(vertices) >= 2**32:
        raise ValueError("voxel: the mesh would have more than 4294967295 vertices")
    if drop_lone:
        used = np.zeros(len(vertices), bool)
        used[triangles] = True
        triangles = (np.cumsum(used) - 1)[triangles]
        vertices, normals = vertices[used], normals[used]
    return Mesh(vertices, triangles, normals, _report([slab.report for slab in slabs]))


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
    sums: tuple[float, ...]  # as C++ has them
    offset: float  # of the vertices from the surface, at most


def _middle(box: Box) -> tuple[float, float, float]:
    x, y, z = ((low + high) / 2 for low, high in zip(*box))
    return x, y, z


def _sums(solid: _Solid, number: int, strips: list[bytes]) -> _Sums:
    slab = _slab(solid, number, strips)
    field = _unpacked(solid.packed)._core
    return _Sums(
        _core.mesh_moments(slab.vertices, slab.faces, field, *solid.box, _middle(solid.box), solid.threads),
        max(slab.report.vertex_distance, slab.report.sharp_vertex_distance),
    )


def _measures(box: Box, fine: list[_Sums], coarse: list[_Sums]) -> MassMeasures:
    if not any(slab.sums[1] for slab in fine):
        raise ValueError(_NO_SURFACE)
    offset = max(slab.offset for slab in fine)
    row = _core.measures_of([slab.sums for slab in fine], [slab.sums for slab in coarse], _middle(box), offset)
    return MassMeasures(*mass_measures(row))
