#!/usr/bin/env python3
"""Writes gyroid_bracket.sf: a mounting bracket with a solid skin and a gyroid lattice inside.

Millimetres. The part lies in x -45..45, y -30..34, z 0..84, with a base plate on z = 0, an upright at the back
that carries a bearing seat along y, two gusset ribs, a fillet between plate and upright, four counterbored screw
holes and a slot. A grid of 184 x 132 x 172 points, 0.5 mm apart from (-46, -31, -1), holds all of it.
"""

import math

from sf_text import (
    X, Y, Z, add, circle, cylinder, greatest, gyroid, half_space, intersection, magnitude, mul, number,
    output_path, rounded_plate, slab, stroke, sub, union, without, write,
)  # fmt: skip

PLATE_HALF = (45, 30)
PLATE_CORNER = 10
PLATE_TOP = 10
UPRIGHT_FRONT, UPRIGHT_BACK = 18, 30
UPRIGHT_FOOT = 34  # half of its width where it leaves the plate

OVERLAP = 4  # how far the bodies reach into each other, so that no skin parts the lattices inside them

SEAT_CENTER = (0, 62)  # x, z
SEAT_RADIUS = 22
SEAT_FRONT, SEAT_BACK = 10, 34
SEAT_CHAMFER = 1.5
BORE_RADIUS = 11
BEARING_RADIUS, BEARING_DEPTH = 15, 7

FILLET = 8
RIB_X, RIB_THICKNESS = 20, 8
RIB_FRONT = -18

SCREWS = [(x, y) for x in (-34, 34) for y in (-18, 6)]
SCREW_RADIUS = 3.3
SCREW_HEAD_RADIUS, SCREW_HEAD_SEAT = 5.5, 4
SLOT_Y, SLOT_HALF_LENGTH, SLOT_WIDTH = -16, 9, 8

SKIN = 1.6
SLEEVE = 2.5  # solid wall around every hole
PERIOD = 8
WALL_AT_BASE, WALL_AT_TOP, TOP = 1.3, 0.9, 84  # lattice walls thin out towards the top


def flanks():
    """The wedge between the tangents from the foot of the upright to the seat's circle."""
    x, z = UPRIGHT_FOOT, SEAT_CENTER[1] - PLATE_TOP
    # A tangent leans from the line to the circle's center by asin(radius / distance).
    angle = math.atan2(z, -x) - math.asin(SEAT_RADIUS / math.hypot(x, z))
    normal = (math.sin(angle), 0, -math.cos(angle))
    return greatest(*(half_space((side * normal[0], 0, normal[2]), (side * x, 0, PLATE_TOP)) for side in (1, -1)))


def upright():
    """The blade between the flanks, and the bearing seat that it carries."""
    blade = intersection(
        flanks(), slab(Y, UPRIGHT_FRONT, UPRIGHT_BACK), slab(Z, PLATE_TOP - OVERLAP, SEAT_CENTER[1])
    )
    return union(blade, seat())


def seat():
    """The bearing seat: a cylinder along y with both rims chamfered."""
    rim = circle((X, Z), SEAT_CENTER, SEAT_RADIUS)
    face = slab(Y, SEAT_FRONT, SEAT_BACK)
    bevel = mul(number(math.sqrt(0.5)), add(add(rim, face), number(SEAT_CHAMFER)))
    return intersection(rim, face, bevel)


def fillet():
    """The inside corner between plate and upright, filled up to a concave quarter circle."""
    corner = intersection(
        flanks(),
        slab(Y, UPRIGHT_FRONT - FILLET, UPRIGHT_FRONT + OVERLAP),
        slab(Z, PLATE_TOP - OVERLAP, PLATE_TOP + FILLET),
    )
    return without(corner, circle((Y, Z), (UPRIGHT_FRONT - FILLET, PLATE_TOP + FILLET), FILLET))


def rib(x):
    """A gusset under 45 degrees, from the plate to the upright."""
    return intersection(
        slab(X, x - RIB_THICKNESS / 2, x + RIB_THICKNESS / 2),
        half_space((0, -1, 1), (0, RIB_FRONT, PLATE_TOP)),
        slab(Y, RIB_FRONT, UPRIGHT_FRONT + OVERLAP),
        slab(Z, PLATE_TOP - OVERLAP, SEAT_CENTER[1]),
    )


def holes(grow=0.0):
    """Everything that is drilled or milled, `grow` larger in radius."""
    screws = [
        union(
            circle((X, Y), screw, SCREW_RADIUS + grow),
            cylinder(Z, screw, SCREW_HEAD_RADIUS + grow, SCREW_HEAD_SEAT - grow, 2 * PLATE_TOP),
        )
        for screw in SCREWS
    ]
    slot = greatest(
        stroke((X, Y), (-SLOT_HALF_LENGTH, SLOT_Y), (SLOT_HALF_LENGTH, SLOT_Y), SLOT_WIDTH + 2 * grow),
        slab(Z, -PLATE_TOP, 2 * PLATE_TOP),
    )
    bore = cylinder(Y, SEAT_CENTER, BORE_RADIUS + grow, 0, 2 * SEAT_BACK)
    bearing = cylinder(Y, SEAT_CENTER, BEARING_RADIUS + grow, 0, SEAT_FRONT + BEARING_DEPTH + grow)
    return union(*screws, slot, bore, bearing)


def lattice():
    """Gyroid walls. On the surface the gyroid's slope is 1.2 to 1.7 times 2 pi / period; 1.5 makes it a distance."""
    distance = mul(number(PERIOD / (2 * math.pi * 1.5)), magnitude(gyroid(PERIOD)))
    slope = (WALL_AT_BASE - WALL_AT_TOP) / 2 / TOP
    half_wall = sub(number(WALL_AT_BASE / 2), mul(number(slope), Z))
    return sub(distance, half_wall)


def bracket():
    plate = rounded_plate(Z, (0, 0), PLATE_HALF, PLATE_CORNER, 0, PLATE_TOP)
    blank = union(plate, upright(), fillet(), rib(-RIB_X), rib(RIB_X))
    part = without(blank, holes())
    filled = without(add(blank, number(SKIN)), holes(SLEEVE))  # where the lattice is
    return without(part, without(filled, lattice()))


if __name__ == "__main__":
    write(output_path(__doc__.splitlines()[0], "gyroid_bracket.sf"), bracket())
