#!/usr/bin/env python3
"""Writes flange_nut.stl: a hexagon nut with a flange, M12, as a closed triangle mesh in binary STL.

Millimetres; the axis is z, the flange lies on z = 0 and the nut ends at z = 12. The nut is swept around its axis:
at every angle the section is one closed polygon, whose outer corners follow the hexagon.
"""

import math
import pathlib
import struct
import sys

SECTIONS = 96  # a multiple of 6, so that the hexagon's corners are sections
HEIGHT = 12
BORE, BORE_CHAMFER = 5.1, 0.9
ACROSS_FLATS = 18
TOP_CHAMFER_RADIUS, TOP_CHAMFER_SLOPE = 8.6, math.tan(math.radians(30))
FLANGE_RADIUS, FLANGE_RIM, FLANGE_SLOPE = 13, 1.5, math.tan(math.radians(20))


def section(angle):
    """The polygon at an angle, as pairs of radius and z, counter-clockwise in that plane."""
    hexagon = ACROSS_FLATS / 2 / math.cos(math.remainder(angle, math.pi / 3))
    return [
        (BORE + BORE_CHAMFER, 0),
        (FLANGE_RADIUS, 0),
        (FLANGE_RADIUS, FLANGE_RIM),
        (hexagon, FLANGE_RIM + (FLANGE_RADIUS - hexagon) * FLANGE_SLOPE),
        (hexagon, HEIGHT - (hexagon - TOP_CHAMFER_RADIUS) * TOP_CHAMFER_SLOPE),
        (TOP_CHAMFER_RADIUS, HEIGHT),
        (BORE + BORE_CHAMFER, HEIGHT),
        (BORE, HEIGHT - BORE_CHAMFER),
        (BORE, BORE_CHAMFER),
    ]


def points():
    """The corners of all sections, rounded so that every machine's mathematics library gives the same file."""
    for step in range(SECTIONS):
        angle = 2 * math.pi * step / SECTIONS
        yield [
            tuple(round(value, 4) for value in (radius * math.cos(angle), radius * math.sin(angle), z))
            for radius, z in section(angle)
        ]


def triangles():
    rings = list(points())
    for ring, following in zip(rings, rings[1:] + rings[:1]):
        for corner in range(len(ring)):
            after = (corner + 1) % len(ring)
            yield ring[corner], following[after], ring[after]
            yield ring[corner], following[corner], following[after]


def normal(a, b, c):
    u, v = ([q - p for p, q in zip(a, end)] for end in (b, c))
    across = [u[1] * v[2] - u[2] * v[1], u[2] * v[0] - u[0] * v[2], u[0] * v[1] - u[1] * v[0]]
    size = math.hypot(*across)
    return [round(component / size, 4) + 0.0 for component in across]


if __name__ == "__main__":
    facets = list(triangles())
    kept = pathlib.Path(__file__).parent / "flange_nut.stl"
    with open(sys.argv[1] if len(sys.argv) > 1 else kept, "wb") as file:
        file.write(b"M12 hexagon nut with flange, millimetres".ljust(80))
        file.write(struct.pack("<I", len(facets)))
        for corners in facets:
            numbers = [*normal(*corners), *(value for corner in corners for value in corner)]
            file.write(struct.pack("<12fH", *numbers, 0))
