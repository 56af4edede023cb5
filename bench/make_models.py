#!/usr/bin/env python3
"""Writes the models of the benchmark into models/. README.md says what each of them measures.

The same numbers stand in the text of the CSG models and in csg_parts.csv, from which the loop written by hand
takes them.
"""

import argparse
import math
import pathlib
import random

from sf_text import (
    X, Y, Z, box, circle, greatest, gyroid, half_space, least, magnitude, number, rounded_rectangle,
    sphere, stroke, sub, union, without, write,
)  # fmt: skip

WALL = 0.3  # of the gyroid sheets, in the gyroid's own value

PARTS = 1000
SUBTRACTED = 100
DOMAIN = 100


def sheet():
    return sub(magnitude(gyroid(5)), number(WALL))


def gyroid_shell():
    return greatest(box((0, 0, 0), (10, 10, 10)), sheet())


def rotated_gyroid():
    """The sheets turned by 30 degrees around z, then by 20 degrees around x, and shifted."""
    a, b = math.radians(30), math.radians(20)
    rows = [
        (math.cos(a), -math.sin(a), 0, 0.5),
        (math.cos(b) * math.sin(a), math.cos(b) * math.cos(a), -math.sin(b), -0.25),
        (math.sin(b) * math.sin(a), math.sin(b) * math.cos(a), math.cos(b), 0.125),
        (0, 0, 0, 1),
    ]
    return f"m[{';'.join(f'{value:.6g}' for row in rows for value in row)}] {sheet()}"


# ---- an organic form --------------------------------------------------------------------------------------------

STEEPNESS = 4  # of the blends: larger is sharper


def blend(*fields):
    """The smooth union -ln(sum of exp(-k f)) / k."""
    terms = [f"e * f{-STEEPNESS} {field}" for field in fields]
    total = terms[0]
    for term in terms[1:]:
        total = f"+ {total} {term}"
    return f"/ l {total} f{-STEEPNESS}"


def organic():
    """22 spheres blended in 7 groups, the groups blended in turn, and a wave of the surface along skew directions."""
    rng = random.Random(7)
    place = lambda low, high: round(low + (high - low) * rng.random(), 2)  # noqa: E731
    groups = []
    for count in (3, 3, 3, 3, 3, 3, 4):
        around = [place(-6, 6) for _ in range(3)]
        balls = [sphere([round(c + place(-2, 2), 2) for c in around], place(0.8, 2)) for _ in range(count)]
        groups.append(blend(*balls))
    along = [f"+ * f{a} {u} * f{b} {v}" for a, u, b, v in ((1.7, X, 0.4, Y), (1.6, Y, 0.5, Z), (1.8, Z, 0.3, X))]
    wave = [f"* s {along[i]} c {along[(i + 1) % 3]}" for i in range(3)]
    return f"+ {blend(*groups)} * f0.1 + + {wave[0]} {wave[1]} {wave[2]}"


# ---- constructive solids ----------------------------------------------------------------------------------------


def csg_parts():
    """Spheres and boxes in turn: a kind, the center, the radius or the three half edges. Those to subtract are
    the last."""
    rng = random.Random(20)
    place = lambda low, high: round(low + (high - low) * rng.random(), 2)  # noqa: E731
    for index in range(PARTS):
        center = [place(0, DOMAIN) for _ in range(3)]
        if index % 2 == 0:
            yield "sphere", center, [place(2, 6)]
        else:
            yield "box", center, [place(1.5, 5) for _ in range(3)]


def csg_field(kind, center, size):
    return sphere(center, size[0]) if kind == "sphere" else box(center, size)


def chain(combine, fields):
    """Combines fields from left to right, so that each is one level deeper than the next."""
    return " ".join([combine("", "").strip()] * (len(fields) - 1)) + " " + " ".join(fields)


def csg_models(parts):
    fields = [csg_field(*part) for part in parts]
    kept, subtracted = fields[:-SUBTRACTED], fields[-SUBTRACTED:]
    balanced = without(union(*kept), union(*subtracted))
    return balanced, chain(without, [chain(least, kept), *subtracted])


def csg_table(parts):
    lines = ["kind,x,y,z,radius or half edge,half edge,half edge,subtracted"]
    for index, (kind, center, size) in enumerate(parts):
        numbers = [f"{value:.6g}" for value in center + size + [0] * (3 - len(size))]
        lines.append(",".join([kind, *numbers, str(int(index >= PARTS - SUBTRACTED))]))
    return "\n".join(lines) + "\n"


# ---- a front panel: a dial with ticks, labels and a line of text --------------------------------------------------

PEN = 1.2
# Strokes (x0, y0, x1, y1) and arcs (x, y, radius, from, to in degrees) in a cell 4 wide and 6 high.
GLYPHS = {
    "0": [(0, 2, 0, 4), (4, 2, 4, 4), (2, 4, 2, 0, 180), (2, 2, 2, 180, 360)],
    "1": [(2, 0, 2, 6), (0.5, 4.5, 2, 6)],
    "2": [(2, 4, 2, 0, 180), (4, 4, 0, 0), (0, 0, 4, 0)],
    "3": [(2, 4.5, 1.5, -90, 180), (2, 1.5, 1.5, -180, 90)],
    "4": [(3, 0, 3, 6), (3, 6, 0, 2), (0, 2, 4, 2)],
    "5": [(4, 6, 0, 6), (0, 6, 0, 4), (0, 4, 2, 4), (2, 2, 2, -150, 90)],
    "6": [(2, 2, 2, 0, 360), (0, 2, 0, 4), (2, 4, 2, 60, 180)],
    "7": [(0, 6, 4, 6), (4, 6, 1.5, 0)],
    "8": [(2, 4.4, 1.6, 0, 360), (2, 1.6, 1.6, 0, 360)],
    "9": [(2, 4, 2, 0, 360), (4, 2, 4, 4), (2, 2, 2, -120, 0)],
    "A": [(0, 0, 2, 6), (2, 6, 4, 0), (0.7, 2, 3.3, 2)],
    "C": [(0, 2, 0, 4), (2, 4, 2, 30, 180), (2, 2, 2, 180, 330)],
    "D": [(0, 0, 0, 6), (0, 6, 1, 6), (0, 0, 1, 0), (1, 3, 3, -90, 90)],
    "E": [(0, 0, 0, 6), (0, 6, 4, 6), (0, 3, 3, 3), (0, 0, 4, 0)],
    "F": [(0, 0, 0, 6), (0, 6, 4, 6), (0, 3, 3, 3)],
    "I": [(2, 0, 2, 6)],
    "L": [(0, 0, 0, 6), (0, 0, 4, 0)],
    "R": [(0, 0, 0, 6), (0, 6, 2.5, 6), (0, 3, 2.5, 3), (2.5, 4.5, 1.5, -90, 90), (1.5, 3, 4, 0)],
    "S": [(2, 4.5, 1.5, 30, 270), (2, 1.5, 1.5, -150, 90)],
}


def arc(center, radius, start, end, width):
    """Part of a ring, counter-clockwise between two angles in degrees, with straight ends."""
    ring = sub(magnitude(circle((X, Y), center, radius)), number(width / 2))
    if end - start >= 360:
        return ring
    normals = [
        (math.sin(math.radians(start)), -math.cos(math.radians(start)), 0),
        (-math.sin(math.radians(end)), math.cos(math.radians(end)), 0),
    ]
    sides = [half_space([round(value, 9) for value in normal], (*center, 0)) for normal in normals]
    wedge = least(*sides) if end - start > 180 else greatest(*sides)
    return greatest(ring, wedge)


def glyph(character, left, bottom, scale):
    """The shapes of a character whose cell begins at a point."""
    move = lambda x, y: (left + scale * x, bottom + scale * y)  # noqa: E731
    for piece in GLYPHS[character]:
        if len(piece) == 4:
            yield stroke((X, Y), move(*piece[:2]), move(*piece[2:]), PEN)
        else:
            yield arc(move(*piece[:2]), scale * piece[2], *piece[3:], PEN)


def line_of_text(text, center, scale):
    advance = 6 * scale
    left = center[0] - (advance * len(text) - 2 * scale) / 2
    for index, character in enumerate(text):
        if character != " ":
            yield from glyph(character, left + index * advance, center[1] - 3 * scale, scale)


def dial():
    """A scale from 0 to 100 over 270 degrees with a tick for each 2, a long one and a label for each 10."""
    yield from (arc((0, 0), radius, -45, 225, PEN) for radius in (49, 52, 68))
    for value in range(0, 101, 2):
        angle = math.radians(225 - 2.7 * value)
        inner, outer = (52, 60) if value % 10 == 0 else (52, 56)
        yield stroke(
            (X, Y),
            (inner * math.cos(angle), inner * math.sin(angle)),
            (outer * math.cos(angle), outer * math.sin(angle)),
            PEN,
        )
        if value % 10 == 0:
            yield from line_of_text(str(value), (78 * math.cos(angle), 78 * math.sin(angle)), 0.9)


def panel():
    """Engraved where the field of the engraving is negative; nothing depends on Z."""
    plate = rounded_rectangle((X, Y), (0, 0), (95, 95), 12)
    holes = [circle((X, Y), (x, y), 3.2) for x in (-83, 83) for y in (-83, 83)]
    knob = circle((X, Y), (0, 0), 12)
    engraving = union(*dial(), *line_of_text("SCALAR FIELD", (0, -66), 1.4))
    return without(without(plate, union(*holes, knob)), engraving)


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    here = pathlib.Path(__file__).resolve().parent / "models"
    parser.add_argument("folder", nargs="?", type=pathlib.Path, default=here, help="default: models/")
    folder = parser.parse_args().folder
    parts = list(csg_parts())
    balanced, left_deep = csg_models(parts)
    for name, field in {
        "sphere": sphere((0, 0, 0), 1),
        "gyroid_shell": gyroid_shell(),
        "rotated_gyroid": rotated_gyroid(),
        "organic": organic(),
        "csg_balanced": balanced,
        "csg_chain": left_deep,
        "panel": panel(),
    }.items():
        write(folder / f"{name}.sf", field)
    (folder / "csg_parts.csv").write_text(csg_table(parts), encoding="ascii", newline="\n")


if __name__ == "__main__":
    main()
