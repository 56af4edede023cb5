"""Values on regular grids."""

from __future__ import annotations

import math
import os
from typing import TYPE_CHECKING, Any, NamedTuple, Optional, Union

import numpy as np
import numpy.typing as npt

from . import _core
from ._arguments import box, count, number
from ._progress import Progress, reporting

if TYPE_CHECKING:
    from ._field import Field

Box = tuple[tuple[float, float, float], tuple[float, float, float]]


class Grid(npt.NDArray[np.float32]):
    """An array of shape (nz, ny, nx) that knows where its points are: value [k, j, i] is that at
    ``origin + (i, j, k) * spacing``. What is computed from it is a plain ndarray.

    Attributes:
        origin: the first point, an array of shape (3,)
        spacing: the distance between points
    """

    origin: npt.NDArray[np.float64]
    spacing: float

    def __new__(cls, values: npt.ArrayLike, origin: npt.ArrayLike, spacing: float) -> Grid:
        grid = np.asarray(values).view(cls)
        if grid.ndim != 3:
            raise ValueError(f"values: expected shape (nz, ny, nx), got {grid.shape}")
        grid.origin = np.array(origin, dtype=np.float64)
        grid.spacing = float(spacing)
        return grid

    def __array_wrap__(self, array: Any, context: Any = None) -> Any:
        return np.asarray(array)[()]

    def __array_finalize__(self, source: Any) -> None:
        self.origin = getattr(source, "origin", np.zeros(3))
        self.spacing = getattr(source, "spacing", 1.0)

    def __getitem__(self, key: Any) -> Any:
        return np.asarray(self)[key]

    def __reduce__(self) -> tuple[Any, ...]:
        return Grid, (np.asarray(self), self.origin, self.spacing)

    @property
    def axes(self) -> tuple[npt.NDArray[np.float64], ...]:
        """The coordinates along x, y and z.

        >>> sf.sphere(1).grid(voxel=1, bounds=((-1, -1, -1), (1, 1, 1))).axes[0]
        array([-1.,  0.,  1.])
        """
        return tuple(self.origin[axis] + self.spacing * np.arange(self.shape[2 - axis]) for axis in range(3))

    def save(
        self,
        path: Union[str, os.PathLike[str]],
        unit: str = "mm",
        half_band: float = 0.0,
        progress: Progress = None,
    ) -> None:
        """Writes the values: ``.vdb``, ``.vti``, ``.nrrd``, ``.npy`` or ``.raw``, with origin and spacing where the format
        has them. ``half_band`` is that of the band about the surface that is kept, in voxels: 0 for all values, or 3 in
        VDB. ``unit`` is that of lengths: um, mm, cm, m or in."""
        values = np.ascontiguousarray(np.asarray(self), np.float32)
        origin = float(self.origin[0]), float(self.origin[1]), float(self.origin[2])
        band = number("half_band", half_band)
        with reporting(progress, "writing") as report:
            _core.write_volume(os.fspath(path), values, self.spacing, origin, band, unit, report)

    def to_xarray(self) -> Any:
        """An ``xarray.DataArray`` with the dimensions z, y, x and their coordinates; needs xarray."""
        import xarray

        x, y, z = self.axes
        return xarray.DataArray(np.asarray(self), dims=("z", "y", "x"), coords={"z": z, "y": y, "x": x})


def frame(field: Field, voxel: Optional[float], cells: Optional[int], bounds: Any) -> tuple[Box, float]:
    """The box to work on and the edge of its cells."""
    if bounds is None:
        bounds = field.bounds
        if bounds is None:
            raise ValueError("bounds: the field has no known ones; give (low, high)")
    low, high = box("bounds", bounds)
    if (voxel is None) == (cells is None):
        raise ValueError("voxel: give either voxel or cells")
    if cells is not None:
        longest = max(b - a for a, b in zip(low, high))
        voxel = longest / max(1, count("cells", cells))
    edge = number("voxel", voxel)
    if not (math.isfinite(edge) and edge > 0):
        raise ValueError(f"voxel: {edge} is not a length above 0")
    return (low, high), edge


class Lattice(NamedTuple):
    """The points of a grid."""

    shape: tuple[int, int, int]
    origin: tuple[float, float, float]
    spacing: float

    def render(
        self, field: Field, first: int, last: int, threads: int = 0, progress: Progress = None
    ) -> npt.NDArray[np.float32]:
        """The slices from `first` to before `last`, with the bits that they have in the whole grid."""
        nz, ny, nx = self.shape
        values = np.empty((last - first, ny, nx), dtype=np.float32)
        with reporting(progress, "grid") as report:
            _core.grid(field._core, values, self.spacing, self.origin, first, nz, threads, report)
        return values


def lattice(field: Field, voxel: Optional[float], cells: Optional[int], bounds: Any) -> Lattice:
    """The points that cover a box, as far as the high corner, which rounding must not cost a point."""
    (low, high), edge = frame(field, voxel, cells, bounds)
    spans = [(b - a) / edge for a, b in zip(low, high)]
    if max(spans) > 2**20:
        raise ValueError(f"voxel: {edge} makes more than {2**20} cells along an axis")
    nx, ny, nz = (math.ceil(span - 1e-9 * max(1.0, span)) + 1 for span in spans)
    return Lattice((nz, ny, nx), low, edge)


def sampled(
    field: Field, voxel: Optional[float], bounds: Any, cells: Optional[int], threads: int, progress: Progress
) -> Grid:
    """The values of a field on a grid, as its method `grid` says."""
    points = lattice(field, voxel, cells, bounds)
    _core.require_memory(4.0 * math.prod(points.shape), "the grid")
    values = points.render(field, 0, points.shape[0], count("threads", threads), progress)
    return Grid(values, points.origin, points.spacing)
