"""A text plate: raised letters, each a few strokes of a round pen, in a frame with four screw holes.

Usage: text_plate.py [FOLDER [VOXEL [WIDTH]]]
"""

import sys
from pathlib import Path

import numpy as np

import sf

TEXT = ["A FIELD IS NEGATIVE", "INSIDE A SOLID, ZERO", "ON ITS SURFACE AND", "POSITIVE OUTSIDE"]
PEN, PITCH, LINE = 0.85, (1.25, 1.25), 12.0  # radius; millimetres for a step of the grid that letters are drawn on; lines

# Strokes on a grid of 4 by 6 steps: two digits are a point, column and row from below; a blank lifts the pen.
STROKES = {
    "A": "002640 1232", "B": "00063645443303 3342413000", "C": "4536160501103041", "D": "00062645412000",
    "E": "46060040 0333", "F": "460600 0333", "G": "45361605011030414323", "H": "0006 4046 0343", "I": "2026",
    "J": "4641301001", "K": "0006 460340", "L": "060040", "M": "0006234640", "N": "00064046", "O": "103041453616050110",
    "P": "00063645443303", "Q": "103041453616050110 2240", "R": "00063645443303 2340",
    "S": "453616050413334241301001", "T": "0646 2026", "U": "060110304146", "V": "062046", "W": "0610233046",
    "X": "0046 0640", "Y": "062346 2023", "Z": "06460040", ",": "2110", ".": "2020", " ": "",
}  # fmt: skip


def segments(text, baseline):
    """The strokes of a line of text, centred, as pairs of points."""
    left = -3 * len(text) + 1
    for column, letter in enumerate(text):
        for stroke in STROKES[letter].split():
            points = [(left + 6 * column + int(x), int(y)) for x, y in zip(stroke[::2], stroke[1::2])]
            for start, end in zip(points, points[1:]):
                yield [(PITCH[0] * u, PITCH[1] * v + baseline, 0) for u, v in (start, end)]


lines = [(text, LINE * (len(TEXT) / 2 - 1 - row) + 2.25) for row, text in enumerate(TEXT)]
ends = np.array([pair for text, baseline in lines for pair in segments(text, baseline)])
letters = sf.struts(ends, PEN)

SIZE = np.array([7.5 * max(map(len, TEXT)) + 20, LINE * len(TEXT) + 14, 4])
plate = sf.rounded_box(SIZE, 1).translate((0, 0, -2))
frame = sf.rounded_box(SIZE + (-6, -6, 20), 6)
recess = frame & (abs(sf.axes()[2]) - 1.2)
screws = (sf.cylinder(1.7, 20) | sf.cone(1.7, 2, 3.7).translate((0, 0, -0.8))).array((2, 2, 1), (*(SIZE[:2] - 14), 0))
part = (plate.difference(recess) | letters.translate((0, 0, -0.9))).difference(screws.translate((*(7 - SIZE[:2] / 2), -1.2)))


def main(folder=".", voxel="0.4", width="1024"):
    folder, voxel, width = Path(folder), float(voxel), int(width)
    mesh = part.mesh(voxel=voxel)
    print(f"{part.node_count} nodes, {len(ends)} strokes, {mesh.topology.components} part, {mesh.volume / 1000:.1f} cm3")
    mesh.save(folder / "text_plate.3mf", unit="mm")
    picture = part.picture(size=(width, width * 3 // 4), eye=((-90, -180, 270), (2, -2, 0)), field_of_view=0.4)
    picture.save(folder / "text_plate.png")


if __name__ == "__main__":
    main(*sys.argv[1:])
