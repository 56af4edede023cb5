"""Progress of long calls: a bar by tqdm where that is installed, or a function of the caller."""

from __future__ import annotations

from collections.abc import Callable, Iterator
from contextlib import contextmanager
from typing import Any, Optional, Union

Progress = Union[None, bool, Callable[[float], object]]


@contextmanager
def reporting(progress: Progress, title: str) -> Iterator[Optional[Callable[[float], object]]]:
    """What the fraction that is done is given to, or None."""
    if progress is None or progress is False:
        yield None
    elif progress is True:
        bar = _bar(title)
        try:
            yield None if bar is None else lambda fraction: bar.update(fraction - bar.n)
        finally:
            if bar is not None:
                bar.close()
    elif callable(progress):
        yield progress
    else:
        raise TypeError("progress: expected True, False or a function")


def _bar(title: str) -> Any:
    try:
        from tqdm.auto import tqdm  # type: ignore[import]
    except ImportError:
        return None
    return tqdm(total=1.0, desc=title, bar_format="{l_bar}{bar}| {elapsed}<{remaining}", leave=False)
