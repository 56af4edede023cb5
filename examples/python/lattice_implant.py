"""A spinal cage: a shell with windows, filled with a lattice of struts that gets thicker towards its rim.

Usage: lattice_implant.py [FOLDER [VOXEL [WIDTH]]]
"""

import sys
from pathlib import Path

import numpy as np

import sf

x, y, z = sf.axes()

# The outline, from above, and a body with grooves in its faces that keep it in place.
outline = sf.ellipsoid((15, 11, 1000)).smooth_intersection(y - 9, radius=4)
inside = sf.ellipsoid((13.8, 9.8, 1000)).smooth_intersection(y - 7.8, radius=4)
groove = sf.cylinder(0.7, 60).rotate((1, 0, 0), np.pi / 2)
grooves = groove.array((15, 1, 2), (2, 0, 11)).translate((-14, 0, -5.5))
body = (outline & (np.abs(z) - 5.5)).difference(grooves)
opening = sf.ellipsoid((5, 4, 1000))

# Nodes of a body-centred lattice, and struts from each to its eight neighbours.
CELL = 3.0
i, j, k = np.meshgrid(*(np.arange(-n, n + 1) for n in (5, 4, 2)), indexing="ij")
centres = CELL * np.stack([i, j, k], axis=-1).reshape(-1, 3)
corners = CELL / 2 * np.array([(a, b, c) for a in (-1, 1) for b in (-1, 1) for c in (-1, 1)])
ends = np.stack(np.broadcast_arrays(centres[:, None], centres[:, None] + corners), axis=2).reshape(-1, 2, 3)
thickness = sf.parameter("strut", 0.28, 0.2, 0.5) + 0.012 * sf.length(x, y)
struts = sf.struts(ends, radius=0.0) - thickness

rim = body.difference(inside)
windows = sf.cylinder(2.5, 60).rotate((1, 0, 0), np.pi / 2).array((3, 1, 1), (7, 0, 0)).translate((-7, 0, 0))
frame = (rim.difference(windows) | sf.ellipsoid((6, 5, 1000)) & body).difference(opening)
part = (frame | struts & body.difference(opening)) & body


def main(folder=".", voxel="0.25", width="1024"):
    folder, voxel, width = Path(folder), float(voxel), int(width)
    mesh = part.mesh(voxel=voxel)
    solid = body.difference(opening).mesh(voxel=voxel)
    print(f"{len(ends)} struts, {100 * (1 - mesh.volume / solid.volume):.0f} % open")
    mesh.save(folder / "lattice_implant.stl")
    eye = ((40, -60, 52), (0, 0, -1))
    part.picture(size=(width, width * 3 // 4), eye=eye, field_of_view=0.38).save(folder / "lattice_implant.png")


if __name__ == "__main__":
    main(*sys.argv[1:])
