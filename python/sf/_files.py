"""Files that appear as a whole or not at all."""

from __future__ import annotations

import os
import uuid
from collections.abc import Iterator
from contextlib import contextmanager
from pathlib import Path
from typing import Union


@contextmanager
def replacing(path: Union[str, os.PathLike[str]]) -> Iterator[Path]:
    """A file beside the one meant, whose name it takes at the end."""
    whole = Path(path)
    part = whole.with_name(f".{whole.name}.{uuid.uuid4().hex}")
    try:
        yield part
        part.replace(whole)
    finally:
        part.unlink(missing_ok=True)
