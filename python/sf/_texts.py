"""Fields as text: formulae, expressions, listings, and the files that hold them."""

from __future__ import annotations

import os
import uuid
from collections.abc import Callable, Mapping
from pathlib import Path
from typing import Literal, NamedTuple, Optional, Union

from . import _core
from ._arguments import count, number
from ._errors import TextError, place
from ._field import Field, made
from ._files import replacing

Path_ = Union[str, "os.PathLike[str]"]
Notation = Literal["expression", "formula", "listing"]
_NOTATIONS: dict[str, Notation] = {".sfm": "formula", ".vm": "listing"}


class Problem(NamedTuple):
    """A place in a text that may not mean what it looks like; positions in characters, lines and columns from 1."""

    kind: str
    message: str
    position: int
    length: int
    line: int
    column: int


def _read(text: str, reader: Callable[[str], _core.Node]) -> Field:
    if not isinstance(text, str):
        raise TypeError(f"text: expected a str, got {type(text).__name__}")
    try:
        return made(reader(text))
    except TextError as error:
        raise error.located(text) from None


def formula(text: str, values: Optional[Mapping[str, float]] = None) -> Field:
    """The field of a formula: definitions, parameters, infix arithmetic, every operation and shape. ``values`` replaces
    those of its parameters. Raises :class:`sf.TextError`.

    >>> sf.formula("difference(box([4, 4, 4]), sphere(2))")(0, 0, 0)
    2.0
    """
    replaced = {name: number(name, value) for name, value in (values or {}).items()}
    return _read(text, lambda given: _core.from_formula(given, replaced))


def from_expression(text: str, strict: bool = False) -> Field:
    """The field of an expression in prefix notation, in its plain meaning: a transform places its operand only, parts that
    differ in any number stay different.

    With ``strict`` the text is read and computed by the letter of the library's graph classes instead, which merge parts
    and keep the values of shared ones: for comparing with programs that are built on these. Such a field is a whole, as a
    function is: it can be placed and combined, but its text is that of a reference.

    A reference stands for the function (:func:`sf.resource`) of a field that is alive in this process; in the other
    notations, too.

    >>> sf.from_expression("- r + + q X q Y q Z f1 $")(0, 0, 2)
    1.0
    """
    if strict:
        return _read(text, lambda given: strict_expression(f"#sf-{uuid.uuid4().hex}", _one_line(given)))
    return _read(text, _core.from_expression)


def strict_expression(name: str, text: str) -> _core.Node:
    """A resource that computes a text by the letter."""
    return _core.strict_expression(name, text, (strict_expression, (text,)))


def _one_line(text: str) -> str:
    """A number token ends at a blank and nothing else."""
    return text.translate({code: " " for code in range(9, 14)})


def from_listing(text: str) -> Field:
    """The field of a listing, as :meth:`Field.to_listing` writes it. Raises :class:`sf.TextError`.

    >>> ball = sf.sphere(2)
    >>> sf.from_listing(ball.to_listing()) == ball
    True
    """
    return _read(text, _core.from_listing)


_READERS: dict[Notation, Callable[[str], Field]] = {
    "expression": from_expression,
    "formula": formula,
    "listing": from_listing,
}


def check(text: str, notation: Notation = "expression", strict: bool = False, limit: int = 100) -> list[Problem]:
    """The places where a text is read as something else than it looks like, or cannot be read; empty for a good one.

    The reader of expressions takes anything, skips what it does not know and fills up what is missing: this tells where.

    >>> [problem.kind for problem in sf.check("+ X Y Y $")]
    ['text-after-end']
    >>> sf.check("box([1, 2])", notation="formula")[0].line
    1
    """
    if notation not in _READERS:
        raise ValueError(f"notation: {notation!r} is none of {', '.join(_READERS)}")
    if notation != "expression":
        try:
            _READERS[notation](text)
        except TextError as error:
            return [Problem("error", error.message, error.position, error.length, error.line, error.column)]
        except ValueError as error:
            return [Problem("error", str(error), 0, len(text), 1, 1)]
        return []
    given = text.encode()
    found = _core.check(_one_line(text), strict, count("limit", limit))
    return [Problem(kind, message, *place(given, position, length)) for kind, message, position, length in found]


def load(path: Path_, strict: bool = False) -> Field:
    """The field of a file: a formula (``.sfm``), a listing (``.vm``) or, under any other name, an expression."""
    text = Path(path).read_text(encoding="utf-8")
    notation = _NOTATIONS.get(Path(path).suffix.lower(), "expression")
    if notation == "expression":
        return from_expression(text, strict)
    if strict:
        raise ValueError("strict: is for expressions")
    return _READERS[notation](text)


def save(field: Field, path: Path_) -> None:
    """Writes a field to a file, in the notation of its name, as :func:`load` reads it. The file is replaced as a whole."""
    notation = _NOTATIONS.get(Path(path).suffix.lower(), "expression")
    text = {"expression": field.to_expression, "formula": field.to_formula, "listing": field.to_listing}[notation]()
    with replacing(path) as part:
        part.write_text(text + ("" if text.endswith("\n") else "\n"), encoding="utf-8")
