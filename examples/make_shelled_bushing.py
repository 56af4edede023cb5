#!/usr/bin/env python3
"""Writes shelled_bushing.sf: a flanged bushing with a skin of constant thickness and gyroid walls inside.

Millimetres. The part lies in x and y -30..30 and z 0..40: a flange with four screw holes under a hub, and a bore
through both. Skin and walls are offsets, which the library works out when the model is rendered:

- the skin is the part without the part offset inwards;
- a gyroid's field is no distance, and its slope varies, so that a wall made of a range of its values would be
  thicker here than there. Between two offsets of the gyroid the wall has one thickness.

The field of a union would do for looking at, but not for offsetting: the derivative of the union token vanishes on
one side. Where a union is offset it is written as what is not outside of all of its parts.

A grid of 124 x 124 x 84 points, 0.5 mm apart from (-31, -31, -1), holds all of it.
"""

from sf_text import (
    X, Y, Z, circle, complement, cylinder, greatest, gyroid, intersection, least, offset, output_path, without, write,
)  # fmt: skip

FLANGE_RADIUS, FLANGE_TOP = 30, 9
HUB_RADIUS, HUB_TOP = 19, 40
BORE_RADIUS = 8
SCREW_RADIUS, SCREW_CIRCLE = 2.6, 24.5

SKIN = 1.2
WALL = 0.8
PERIOD = 9


def joined(a, b):
    """A union that can be offset."""
    return complement(greatest(complement(a), complement(b)))


def part():
    flange = cylinder(Z, (0, 0), FLANGE_RADIUS, 0, FLANGE_TOP)
    hub = cylinder(Z, (0, 0), HUB_RADIUS, 0, HUB_TOP)
    screws = [
        complement(circle((X, Y), center, SCREW_RADIUS))
        for center in [(SCREW_CIRCLE, 0), (-SCREW_CIRCLE, 0), (0, SCREW_CIRCLE), (0, -SCREW_CIRCLE)]
    ]
    bore = complement(circle((X, Y), (0, 0), BORE_RADIUS))
    return greatest(joined(flange, hub), intersection(bore, *screws))


def walls():
    return without(offset(WALL / 2, gyroid(PERIOD)), offset(-WALL / 2, gyroid(PERIOD)))


def bushing():
    skin = without(part(), offset(-SKIN, part()))
    return least(skin, greatest(part(), walls()))


if __name__ == "__main__":
    write(output_path(__doc__.splitlines()[0], "shelled_bushing.sf"), bushing())
