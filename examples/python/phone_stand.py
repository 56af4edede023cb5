"""A phone stand: a bent plate with a hook, a slot for the cable and a pattern of holes that leaves a wall around itself.

Usage: phone_stand.py [FOLDER [VOXEL [WIDTH]]]
"""

import sys
from pathlib import Path

import numpy as np

import sf

THICK = sf.parameter("thickness", 5, 3, 8)
WIDTH, TILT = 70.0, np.radians(65)

# The side view: three lines with fillets between them, drawn in the x-y plane and put upright at the end.
back = 95 * np.array([np.cos(TILT), np.sin(TILT)])
x, y, z = sf.axes()
lines = [[(-18, 0, 0), (62, 0, 0)], [(-18, 0, 0), (-22, 16, 0)], [(0, 0, 0), (*back, 0)]]
profile = sf.smooth_union([sf.capsule(*line, 0)(x, y, 0) - THICK / 2 for line in lines], radius=10)
sheet = profile & (np.abs(z) - WIDTH / 2)

# Hexagonal holes through the rest, away from its rim, and a slot for the cable.
u = np.array([np.cos(TILT), np.sin(TILT), 0])
along = np.cos(TILT) * x + np.sin(TILT) * y
hexagon = sf.intersection([np.abs(np.cos(a) * z + np.sin(a) * along) - 4.3 for a in np.arange(3) * np.pi / 3])
places = [u * (28 + 10.5 * row) + (0, 0, 12.0 * column + 6 * (row % 2)) for row in range(6) for column in range(-2, 3)]
holes = sf.union([hexagon.translate(place) for place in places if abs(place[2]) < WIDTH / 2 - 9])
slot = sf.rounded_box((40, 16, 14), 5).translate((-18, 6, 0))
window = y - 6  # the holes end above the foot
part = sheet.difference(holes & -window, slot).rotate((1, 0, 0), np.pi / 2)
BOUNDS = ((-30, -40, -8), (70, 40, 100))


def main(folder=".", voxel="0.8", width="1024"):
    folder, voxel, width = Path(folder), float(voxel), int(width)
    mesh = part.mesh(voxel=voxel, bounds=BOUNDS, adaptivity=0.02)
    print(f"{mesh.volume / 1000:.1f} cm3 of plastic, {len(mesh.faces)} triangles")
    mesh.save(folder / "phone_stand.3mf", unit="mm")
    stiff = part.with_parameters(thickness=6).measure(voxel=2 * voxel, bounds=BOUNDS, wall=False)
    print(f"{stiff.volume.value / 1000:.1f} cm3 with a thickness of 6 mm")
    part.picture(size=(width, width * 3 // 4), bounds=BOUNDS).save(folder / "phone_stand.png")


if __name__ == "__main__":
    main(*sys.argv[1:])
