"""A heat exchanger core: two channels that wind around each other behind one wall and never meet.

Usage: heat_exchanger.py [FOLDER [VOXEL [WIDTH]]]
"""

import sys
from pathlib import Path

import numpy as np

import sf

CELL, WALL, SIZE = 12.0, 0.9, (72.0, 36.0, 36.0)

# The two sides of a gyroid, each moved away from the surface by half of the wall.
core = sf.rounded_box(SIZE, 4)
hot = sf.periodic_network("gyroid", CELL, offset=-WALL / 2) & core
cold = ~sf.periodic_network("gyroid", CELL, offset=WALL / 2) & core

# A skin around the core, with two ports at each end: the upper ones for the hot channel, the lower ones for the cold one.
# What the other channel has to do there is closed by a cap.
x, y, z = sf.axes()
skin = sf.rounded_box(np.add(SIZE, 6), 3).difference(core)
walls = sf.gyroid(CELL, WALL) & core.offset(1)
near_ends = SIZE[0] / 2 - 4 - np.abs(x)
caps = near_ends & core & (cold & -z | hot & z)
port = sf.cylinder(6, 12).rotate((0, 1, 0), np.pi / 2)
flange = sf.cylinder(8.5, 4).rotate((0, 1, 0), np.pi / 2)
places = [(side * (SIZE[0] / 2 + 4), 0, height) for side in (-1, 1) for height in (-9, 9)]
body = walls | caps | skin | sf.union([flange.translate(place) for place in places])
ports = sf.union([port.translate(place) for place in places])
part = body.difference(ports)
fluid = (core | ports).difference(part)


def main(folder=".", voxel="0.6", width="1024"):
    folder, voxel, width = Path(folder), float(voxel), int(width)
    for name, channel in (("hot", hot), ("cold", cold)):
        measures = channel.measure(voxel=voxel, wall=False)
        print(f"{name}: {measures.volume.value / 1000:.1f} cm3, {measures.area.value / 100:.0f} cm2 wetted")
    # No point is in both: the larger of the two fields is nowhere negative.
    both = (hot & cold).grid(voxel=voxel, bounds=core.bounds)
    print(f"between the channels: {2 * np.min(both):.2f} mm at least")
    flow = fluid.measure(voxel=min(voxel, 0.8), wall=False)
    print(f"with their ports: {flow.topology.components} separate bodies of fluid, {flow.volume.value / 1000:.1f} cm3")
    part.mesh(voxel=voxel).save(folder / "heat_exchanger.3mf", unit="mm")
    eye = ((60, -150, 75), (0, 0, -2))
    picture = part.picture(size=(width, width * 3 // 4), cuts=[((0, -1, 0), 0)], eye=eye, field_of_view=0.42)
    picture.save(folder / "heat_exchanger.png")


if __name__ == "__main__":
    main(*sys.argv[1:])
