#!/usr/bin/env python3
"""Writes nut_on_plate.sf: the nut of flange_nut.stl welded onto a plate, with a quarter cut away.

Millimetres. The nut is a triangle mesh that the text only names; everything else is an analytic shape.
"""

from sf_text import (
    X, Y, Z, circle, complement, greatest, intersection, length, number, output_path, rounded_plate, sphere, sub,
    union, without, write,
)  # fmt: skip

NUT = "#BRX:flange_nut.stl"
PLATE_HALF, PLATE_CORNER, PLATE_THICKNESS = 17, 4, 5
FLANGE_RADIUS, BEAD_RADIUS = 13, 1.2
CLEARANCE_RADIUS = 6.5
PIN_RADIUS, PIN_HEIGHT = 1.2, 8


def assembly():
    plate = rounded_plate(Z, (0, 0), (PLATE_HALF, PLATE_HALF), PLATE_CORNER, -PLATE_THICKNESS, 0)
    drilled = without(plate, circle((X, Y), (0, 0), CLEARANCE_RADIUS))
    bead = sub(length(circle((X, Y), (0, 0), FLANGE_RADIUS), Z), number(BEAD_RADIUS))
    # A sphere takes the nut's upper corners off, a pin hole goes through it from side to side.
    nut = without(intersection(NUT, sphere((0, 0, 1), FLANGE_RADIUS + 1)), circle((Y, Z), (0, PIN_HEIGHT), PIN_RADIUS))
    return union(nut, drilled, bead)


def quarter():
    """Where x > 0 and y < 0."""
    return greatest(complement(X), Y)


if __name__ == "__main__":
    write(output_path(__doc__.splitlines()[0], "nut_on_plate.sf"), without(assembly(), quarter()))
