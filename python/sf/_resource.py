"""Functions of Python as fields."""

from __future__ import annotations

import uuid
from collections.abc import Callable
from typing import Any, Optional

import numpy as np

from . import _core
from ._arguments import Floats, box
from ._field import Field, made

Function = Callable[[Floats], Any]


def resource(
    function: Function,
    gradient: Optional[Function] = None,
    bounds: Any = None,
    vectorized: bool = True,
    distance: bool = False,
) -> Field:
    """A function as a field.

    Args:
        function: is given points, an array of shape (n, 3), thousands at once, and gives their values, of shape (n,).
            Called by several threads, one at a time. What it raises reaches the caller of the evaluation.
        gradient: is given points and gives an array of shape (n, 3); without it central differences are taken, at the
            cost of six values
        bounds: a box ``(low, high)`` outside of which the function is positive
        vectorized: whether the functions take many points; otherwise each call gets one, of shape (3,)
        distance: whether the values are signed distances

    The field pickles if the functions do.

    >>> ball = sf.resource(lambda points: np.linalg.norm(points, axis=1) - 1, bounds=((-1, -1, -1), (1, 1, 1)))
    >>> ball.translate((5, 0, 0))(5, 0, 2)
    1.0
    """
    if not callable(function):
        raise TypeError("function: expected a function")
    if gradient is not None and not callable(gradient):
        raise TypeError("gradient: expected a function or None")
    corners = None if bounds is None else box("bounds", bounds)
    return made(_resource(f"#sf-{uuid.uuid4().hex}", function, gradient, corners, vectorized, distance))


def _resource(
    name: str, function: Function, gradient: Optional[Function], bounds: Any, vectorized: bool, distance: bool
) -> _core.Node:
    state = _resource, (function, gradient, bounds, vectorized, distance)
    if not vectorized:
        function = _PointByPoint(function)
        gradient = None if gradient is None else _PointByPoint(gradient)
    return _core.resource(name, function, gradient, bounds, distance, state)


class _PointByPoint:
    """A function of one point as a function of many."""

    def __init__(self, function: Function) -> None:
        self._function = function

    def __call__(self, points: Floats) -> Any:
        return np.array([self._function(point) for point in points], dtype=np.float64)
