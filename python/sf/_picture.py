"""Pictures of parts."""

from __future__ import annotations

import os
from pathlib import Path
from typing import Any, Union

import numpy as np
import numpy.typing as npt

from . import _core
from ._files import replacing


class Picture:
    """A picture; notebooks show it.

    Attributes:
        pixels: uint8 of shape (height, width, 3), or 4 where it is transparent; sRGB, from the top

    >>> sf.sphere(1).picture(size=(64, 48)).pixels.shape
    (48, 64, 3)
    """

    def __init__(self, pixels: npt.ArrayLike) -> None:
        self.pixels: npt.NDArray[np.uint8] = np.ascontiguousarray(pixels, np.uint8)
        if self.pixels.ndim != 3 or self.pixels.shape[2] not in (3, 4):
            raise ValueError(f"pixels: expected shape (height, width, 3 or 4), got {self.pixels.shape}")

    def __repr__(self) -> str:
        return f"<sf.Picture of {self.pixels.shape[1]} x {self.pixels.shape[0]}>"

    def __array__(self, dtype: Any = None) -> npt.NDArray[Any]:
        return self.pixels if dtype is None else self.pixels.astype(dtype)

    def save(self, path: Union[str, os.PathLike[str]]) -> None:
        """Writes a PNG file, which appears as a whole or not at all."""
        if Path(path).suffix.lower() != ".png":
            raise ValueError("path: the name of a picture ends in .png")
        with replacing(path) as part:
            part.write_bytes(self._repr_png_())

    def _repr_png_(self) -> bytes:
        return _core.png(self.pixels)
