"""The errors that have more to say than a sentence. All are kinds of Python's own."""

from __future__ import annotations


class TextError(ValueError):
    """A formula or a listing that cannot be read.

    Attributes:
        message: one sentence
        position: where in the text, in characters from 0
        length: how many characters it is about; 0 at the end of the text
        line, column: the same place, from 1

    >>> try:
    ...     sf.formula("sphere(2")
    ... except sf.TextError as error:
    ...     print(error.line, error.column)
    1 1
    """

    def __init__(self, message: str, position: int = 0, length: int = 0, line: int = 0, column: int = 0) -> None:
        super().__init__(message, position, length, line, column)
        self.message = message
        self.position = position
        self.length = length
        self.line = line
        self.column = column

    def __str__(self) -> str:
        return f"line {self.line}, column {self.column}: {self.message}" if self.line else self.message

    def located(self, text: str) -> TextError:
        """The error with its place, which C++ gives in bytes, in characters of a text."""
        position, length, line, column = place(text.encode(), self.position, self.length)
        return TextError(self.message, position, length, line, column)


def place(text: bytes, position: int, length: int) -> tuple[int, int, int, int]:
    """Position, length, line and column in characters of a place in bytes of UTF-8."""
    before = text[:position].decode(errors="replace")
    within = text[position : position + length].decode(errors="replace")
    return len(before), len(within), before.count("\n") + 1, len(before) - (before.rfind("\n") + 1) + 1
