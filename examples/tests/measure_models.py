#!/usr/bin/env python3
"""The parts of the models are closed, of one piece, and of the size that they are to be.

Usage: measure_models.py SFDAG NUT_ON_PLATE
"""

import collections
import json
import pathlib
import struct
import subprocess
import sys
import tempfile

EXAMPLES = pathlib.Path(__file__).resolve().parents[1]
# The box, the edge of a cell, the handles where they are known, and the volume from and to, in cubic centimetres.
MODELS = {
    "gyroid_bracket": ("-46,-31,-1,46,35,85", 1, None, (70, 90)),
    "knurled_knob": ("-21,-21,-0.5,21,21,21", 0.5, 0, (11.6, 11.9)),
    "shelled_bottle": ("-37,-37,-1,37,37,201", 1, 0, (62, 68)),
}


def of_model(sfdag, name, box, voxel, genus, volume):
    command = [sfdag, "measure", EXAMPLES / f"{name}.sf", "-b", box, "-s", str(voxel), "--json", "-q"]
    found = json.loads(subprocess.run(command, check=True, capture_output=True, text=True).stdout)
    size = found["volume"]["value"] / 1000
    if not (found["watertight"] and found["components"] == 1 and genus in (None, found["genus"])):
        yield f"{name}: {found}"
    if not volume[0] < size < volume[1]:
        yield f"{name}: {size} cm3"


def of_nut(program):
    """The program with a mesh of its own: each edge of its part is one of two triangles that run along it both ways."""
    with tempfile.TemporaryDirectory() as folder:
        file = pathlib.Path(folder) / "nut.stl"
        subprocess.run([program, file], check=True)
        data = file.read_bytes()
    triangles = [struct.unpack_from("<9f", data, start + 12) for start in range(84, len(data), 50)]
    corners = [(t[0:3], t[3:6], t[6:9]) for t in triangles]
    edges = collections.Counter((t[k], t[(k + 1) % 3]) for t in corners for k in range(3))
    if not corners or any(edges[(b, a)] != count for (a, b), count in edges.items()):
        yield "nut_on_plate: the mesh is open"
    volume = sum(
        a[0] * (b[1] * c[2] - b[2] * c[1]) + a[1] * (b[2] * c[0] - b[0] * c[2]) + a[2] * (b[0] * c[1] - b[1] * c[0])
        for a, b, c in corners
    ) / 6000
    if not 5.8 < volume < 6.1:
        yield f"nut_on_plate: {volume} cm3"


def main(sfdag, nut_on_plate):
    complaints = [line for name, row in MODELS.items() for line in of_model(sfdag, name, *row)]
    complaints += of_nut(nut_on_plate)
    print("\n".join(complaints))
    return 1 if complaints else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
