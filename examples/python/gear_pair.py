"""Two gears in mesh: involute flanks with a backlash that is the same wherever they touch, at every angle.

Usage: gear_pair.py [FOLDER [VOXEL [WIDTH]]]
"""

import sys
from pathlib import Path

import numpy as np

import sf

MODULE, TEETH, HEIGHT, BACKLASH = 2.0, (17, 29), 8.0, 0.1
CENTRES = np.array([(-MODULE * TEETH[0] / 2, 0, 0), (MODULE * TEETH[1] / 2, 0, 0)])


def teeth(number):
    """The toothed disc alone, each flank set back by half of the backlash."""
    return sf.gear(MODULE, number, HEIGHT) + BACKLASH / 2


def wheel(number, bore, holes):
    """A gear with a web, a hub, holes to save weight, and a bore with a keyway."""
    hub, rim = bore + 4, MODULE * (number / 2 - 1.25) - 2.5
    pocket = sf.cylinder(rim, 50).difference(sf.cylinder(hub, 50), sf.box((200, 200, HEIGHT / 2)))
    part = teeth(number).difference(pocket) | sf.cylinder(hub, HEIGHT + 4)
    if holes:
        hole = sf.cylinder((rim - hub) / 2 - 1.5, 50).translate(((rim + hub) / 2, 0, 0))
        part = part.difference(hole.polar_array(holes))
    return part.difference(sf.cylinder(bore, 50), sf.box((bore, 2 * bore, 50)).translate((0, bore / 2, 0)))


def meshed(left, right, angle=0.0):
    """The left gear turned by an angle, and the right one with it. A gap of the one faces a tooth of the other."""
    turned = np.pi - np.pi / TEETH[1] - angle * TEETH[0] / TEETH[1]
    return [gear.rotate((0, 0, 1), by).translate(at) for gear, by, at in zip((left, right), (angle, turned), CENTRES)]


part = sf.union(*meshed(wheel(TEETH[0], 4, 0), wheel(TEETH[1], 6, 6)))


def gaps(angles):
    """Between the two in the plane z = 0, for each angle: twice the least of the larger of both distances."""
    x, y = np.meshgrid(np.linspace(-3, 3, 301), np.linspace(-8, 8, 801))
    pairs = (meshed(*map(teeth, TEETH), angle) for angle in angles)
    return np.array([2 * np.min(np.maximum(a(x, y, 0), b(x, y, 0))) for a, b in pairs])


def main(folder=".", voxel="0.25", width="1024"):
    folder, voxel, width = Path(folder), float(voxel), int(width)
    found = gaps(np.linspace(0, 2 * np.pi / TEETH[0], 12, endpoint=False))
    mesh = part.mesh(voxel=voxel)
    print(f"{mesh.volume / 1000:.1f} cm3; over one tooth the gap is {found.min():.3f} to {found.max():.3f} mm")
    mesh.save(folder / "gear_pair.3mf", unit="mm")
    picture = part.picture(size=(width, width * 3 // 4), eye=((55, -110, 110), (13.5, -1, 0)), field_of_view=0.5)
    picture.save(folder / "gear_pair.png")


if __name__ == "__main__":
    main(*sys.argv[1:])
