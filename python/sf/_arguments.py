"""What callers may give for numbers, vectors and arrays of points."""

from __future__ import annotations

import numbers
from collections.abc import Sequence
from typing import Any, Union

import numpy as np
import numpy.typing as npt

Vector = Union[Sequence[float], npt.NDArray[Any]]
Floats = npt.NDArray[np.float64]


def number(name: str, value: Any) -> float:
    """A real number, as a float."""
    if isinstance(value, numbers.Real) or (isinstance(value, np.ndarray) and value.ndim == 0):
        return float(value)
    raise TypeError(f"{name}: expected a number, got {type(value).__name__}")


def vector(name: str, value: Any) -> tuple[float, float, float]:
    """Three real numbers."""
    try:
        x, y, z = value
        return float(x), float(y), float(z)
    except (TypeError, ValueError):
        pass
    got = f"shape {np.shape(value)}" if isinstance(value, (Sequence, np.ndarray)) else type(value).__name__
    raise ValueError(f"{name}: expected three numbers, got {got}")


def counts(name: str, value: Any) -> tuple[int, int, int]:
    """Three whole numbers of at least 0."""
    if not isinstance(value, (Sequence, np.ndarray)) or len(value) != 3:
        raise ValueError(f"{name}: expected three whole numbers, got {value!r}")
    a, b, c = (count(name, item) for item in value)
    return a, b, c


def count(name: str, value: Any) -> int:
    """A whole number from 0 to what C++ counts with."""
    if not isinstance(value, numbers.Integral):
        raise TypeError(f"{name}: expected a whole number, got {value!r}")
    if not 0 <= int(value) < 2**32:
        raise ValueError(f"{name}: {value} is out of range")
    return int(value)


def one_of(name: str, names: Sequence[str], value: Any) -> int:
    """The number of a name among those that are known."""
    if value not in names:
        raise ValueError(f"{name}: {value!r} is none of {', '.join(names)}")
    return names.index(value)


def box(name: str, value: Any) -> tuple[tuple[float, float, float], tuple[float, float, float]]:
    """The low and the high corner of a box, of finite numbers."""
    try:
        low, high = value
    except (TypeError, ValueError):
        raise ValueError(f"{name}: expected a low and a high corner") from None
    corners = vector(name, low), vector(name, high)
    if not np.all(np.isfinite(corners)):
        raise ValueError(f"{name}: not finite")
    if any(a > b for a, b in zip(*corners)):
        raise ValueError(f"{name}: a low coordinate is above its high one")
    return corners


def rows(name: str, value: Any, *shape: int) -> Floats:
    """Rows of numbers, contiguous."""
    array = floats(name, value)
    if array.size == 0:
        array = array.reshape(0, *shape)
    if array.ndim != 1 + len(shape) or array.shape[1:] != shape:
        wanted = ", ".join(map(str, shape))
        raise ValueError(f"{name}: expected shape (n, {wanted}), got {array.shape}")
    return np.ascontiguousarray(array)


def floats(name: str, value: Any) -> Floats:
    """An array of float64, which is the one given if that is one."""
    array = np.asarray(value)
    if array.dtype.kind not in "fiub" and array.size:
        raise TypeError(f"{name}: expected real numbers, got an array of {array.dtype}")
    return array.astype(np.float64, copy=False)


def coordinates(points: tuple[Any, ...]) -> list[Floats]:
    """Three arrays of one shape from one array of points, of shape (..., 3), or from three that broadcast."""
    if len(points) == 1:
        array = floats("points", points[0])
        if array.shape == (0,):
            array = array.reshape(0, 3)
        if array.ndim == 0 or array.shape[-1] != 3:
            raise ValueError(f"points: expected shape (..., 3), got {array.shape}")
        return [array[..., 0], array[..., 1], array[..., 2]]
    if len(points) != 3:
        raise TypeError(f"expected points or x, y, z; got {len(points)} arguments")
    arrays = [floats(name, value) for name, value in zip("xyz", points)]
    shapes = [array.shape for array in arrays]
    if shapes[0] == shapes[1] == shapes[2]:
        return arrays
    try:
        return list(np.broadcast_arrays(*arrays))
    except ValueError:
        raise ValueError("x, y, z: shapes {}, {} and {} do not go together".format(*shapes)) from None


class Result:
    """The array that a result is written to: a new one, or the caller's `out`."""

    def __init__(self, out: Any, shape: tuple[int, ...], inputs: Sequence[Floats]) -> None:
        if out is not None:
            if not isinstance(out, np.ndarray) or out.dtype != np.float64:
                raise TypeError("out: expected an array of float64")
            if out.shape != shape:
                raise ValueError(f"out: expected shape {shape}, got {out.shape}")
            if not out.flags.writeable:
                raise ValueError("out: not writeable")
        self._out = out
        direct = (
            out is not None
            and out.flags.c_contiguous
            and out.flags.aligned
            and out.dtype.isnative
            and not any(np.may_share_memory(out, array) for array in inputs)
        )
        self.array: Floats = out if direct else np.empty(shape)

    def done(self) -> Any:
        """The result; a float where there is one number alone."""
        if self._out is None:
            return self.array if self.array.ndim else float(self.array)
        if self._out is not self.array:
            self._out[...] = self.array
        return self._out
