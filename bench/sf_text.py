"""Writes solids as expression text.

Expression text is a prefix notation: an operator's character, then its operands. Every function here takes and
returns such texts (tokens parted by single blanks), so shapes nest as calls do:

    without(box((0, 0, 0), (20, 20, 5)), sphere((0, 0, 0), 6))

Lengths are in the unit of the model, fields are negative inside. The shapes give signed distances, or bounds of
them that are exact near the faces, so adding t to a field moves its surface inwards by t.

Two habits keep the texts free of surprises. Numbers have at most six significant digits, which is what the
library writes, so a text stays as it is when the library reads and writes it again. Shapes are placed by shifting
the coordinates in arithmetic, never by transform tokens: equal sub-expressions become one node when a text is
read, and affine transforms over equal operands count as equal whatever their matrices say.
"""

import math
import pathlib

X, Y, Z = "X", "Y", "Z"


def number(value):
    """A constant. Minus zero is written as zero."""
    return f"f{value + 0.0 if value else 0.0:.6g}"


# ---- arithmetic ------------------------------------------------------------------------------------------------


def add(a, b):
    return f"+ {a} {b}"


def sub(a, b):
    return f"- {a} {b}"


def mul(a, b):
    return f"* {a} {b}"


def square(a):
    return f"q {a}"


def root(a):
    return f"r {a}"


def magnitude(a):
    return f"a {a}"


def least(a, b):
    return f"U {a} {b}"


def greatest(a, b):
    return f"I {a} {b}"


def sine(a):
    return f"s {a}"


def cosine(a):
    return f"c {a}"


def shifted(coordinate, by):
    """The coordinate relative to `by`."""
    return sub(coordinate, number(by)) if by else coordinate


def length(*components):
    """The Euclidean length of a vector, summed from left to right."""
    total = square(components[0])
    for component in components[1:]:
        total = add(total, square(component))
    return root(total)


# ---- set operations ---------------------------------------------------------------------------------------------


def balanced(combine, fields):
    """Combines fields pairwise, so that the tree is as shallow as can be."""
    while len(fields) > 1:
        pairs = [combine(*fields[i : i + 2]) for i in range(0, len(fields) - 1, 2)]
        fields = pairs + fields[len(pairs) * 2 :]
    return fields[0]


def union(*fields):
    return balanced(least, list(fields))


def intersection(*fields):
    return balanced(greatest, list(fields))


def without(a, b):
    return f"\\ {a} {b}"


# ---- shapes -----------------------------------------------------------------------------------------------------


def slab(coordinate, low, high):
    """What lies between two planes across a coordinate."""
    return sub(magnitude(shifted(coordinate, (low + high) / 2)), number((high - low) / 2))


def half_space(normal, point):
    """What lies behind the plane through `point`, on the side that `normal` points away from.

    A normal of length 1 makes the field a distance; it is scaled to that here.
    """
    scale = math.hypot(*normal)
    terms = [
        mul(number(component / scale), shifted(axis, along))
        for axis, component, along in zip((X, Y, Z), normal, point)
        if component
    ]
    total = terms[0]
    for term in terms[1:]:
        total = add(total, term)
    return total


def box(center, half):
    """An axis-aligned box by its center and its half edge lengths."""
    return intersection(*(slab(axis, c - h, c + h) for axis, c, h in zip((X, Y, Z), center, half)))


def sphere(center, radius):
    return sub(length(*(shifted(axis, c) for axis, c in zip((X, Y, Z), center))), number(radius))


def circle(axes, center, radius):
    """A disc in the plane of two axes, endless along the third."""
    return sub(length(*(shifted(axis, c) for axis, c in zip(axes, center))), number(radius))


def rounded_rectangle(axes, center, half, radius):
    """A rectangle with rounded corners in the plane of two axes, as an exact distance."""
    q = [
        sub(magnitude(shifted(axis, c)), number(h - radius)) for axis, c, h in zip(axes, center, half)
    ]
    outside = length(*(greatest(component, number(0)) for component in q))
    inside = least(greatest(*q), number(0))
    return sub(add(outside, inside), number(radius))


def stroke(axes, start, end, width):
    """A line with round ends in the plane of two axes, parallel to one of them or oblique, as an exact distance."""
    delta = [e - s for s, e in zip(start, end)]
    span = math.hypot(*delta)
    u, v = (shifted(axis, (s + e) / 2) for axis, s, e in zip(axes, start, end))
    if not delta[1]:
        along, aside = u, v
    elif not delta[0]:
        along, aside = v, u
    else:
        cos, sin = (component / span for component in delta)
        along = add(mul(number(cos), u), mul(number(sin), v))
        aside = sub(mul(number(cos), v), mul(number(sin), u))
    past_the_end = greatest(sub(magnitude(along), number(span / 2)), number(0))
    return sub(length(past_the_end, aside), number(width / 2))


def gyroid(period, axes=(X, Y, Z)):
    """The gyroid's field, sin x cos y + sin y cos z + sin z cos x with the given period; its slope is not 1."""
    x, y, z = (mul(number(2 * math.pi / period), axis) for axis in axes)
    return add(
        add(mul(sine(x), cosine(y)), mul(sine(y), cosine(z))),
        mul(sine(z), cosine(x)),
    )


# ---- files ------------------------------------------------------------------------------------------------------


def write(path, field):
    """Writes a model file: one line, closed by the end marker."""
    pathlib.Path(path).write_text(field + " $\n", encoding="ascii", newline="\n")
