#!/usr/bin/env python3
"""Draws the pictures of the documents into docs/pictures, with 256 colours each, so that they stay small.

Usage: pictures.py [NAME...]     of build/release; all of them, or some
"""

import re
import runpy
import shlex
import struct
import subprocess
import sys
import tempfile
import zlib
from math import radians
from pathlib import Path

import numpy as np

ROOT = Path(__file__).resolve().parent.parent
EXAMPLES, FOLDER, BUILD = ROOT / "examples", ROOT / "docs" / "pictures", ROOT / "build" / "release"
sys.path.insert(0, str(BUILD / "python"))

import sf  # noqa: E402

# How the models are looked at: the box, the eye and what it looks at, the angle of view, a cut, the size.
MODELS = {
    "gyroid_bracket": ((-46, -31, -1), (46, 35, 85), (150, -190, 150), (0, 0, 38), 24, ((1, 0, 0), 22), (960, 640)),
    "knurled_knob": ((-21, -21, -0.5), (21, 21, 21), (70, -90, 85), (0, 0, 9), 22, None, (480, 360)),
    "shelled_bottle": ((-37, -37, -1), (37, 37, 201), (170, -420, 200), (0, 0, 100), 29, ((1, 0, 0), 9), (480, 360)),
    "shelled_bushing": ((-31, -31, -1), (31, 31, 41), (70, -130, 110), (0, 0, 16), 24, ((0, -1, 0), 0), (480, 360)),
}
SCRIPTS = {script.stem: script for script in sorted((EXAMPLES / "python").glob("*.py"))}


def palette(pixels, colours=256):
    """Colours that stand for those of a picture, and which of them each pixel has: boxes around the colours are halved at
    their medians, and the means of their parts then moved to what is nearest to them. (P. Heckbert, "Color image
    quantization for frame buffer display", 1982.)"""
    found, number, count = np.unique(pixels.reshape(-1, 3), axis=0, return_inverse=True, return_counts=True)
    boxes = [np.arange(len(found))]
    while len(boxes) < min(colours, len(found)):
        spread = [np.ptp(found[box], axis=0).max() * np.sqrt(count[box].sum()) for box in boxes]
        box = boxes.pop(int(np.argmax(spread)))
        box = box[np.argsort(found[box, np.ptp(found[box], axis=0).argmax()], kind="stable")]
        half = int(np.clip(np.searchsorted(np.cumsum(count[box]), count[box].sum() / 2), 1, len(box) - 1))
        boxes += [box[:half], box[half:]]
    means = np.array([np.average(found[box], axis=0, weights=count[box]) for box in boxes])
    for _ in range(4):
        nearest = np.concatenate([((part[:, None] - means) ** 2).sum(2).argmin(1) for part in np.array_split(found, 64)])
        weights = np.bincount(nearest, count, len(means))
        sums = [np.bincount(nearest, count * found[:, channel], len(means)) for channel in range(3)]
        means = np.where(weights[:, None] > 0, np.transpose(sums) / np.maximum(weights, 1)[:, None], means)
    return means.round().astype(np.uint8), nearest[number.ravel()].reshape(pixels.shape[:2]).astype(np.uint8)


def chunk(kind, data):
    return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))


def save(picture, path):
    """In place of Picture.save: a PNG file with a palette."""
    colours, indices = palette(picture.pixels)
    height, width = indices.shape
    lines = np.pad(indices, ((0, 0), (1, 0))).tobytes()  # the byte before each line says that it is not filtered
    head = chunk(b"IHDR", struct.pack(">IIBBBBB", width, height, 8, 3, 0, 0, 0))
    body = chunk(b"PLTE", colours.tobytes()) + chunk(b"IDAT", zlib.compress(lines, 9)) + chunk(b"IEND", b"")
    Path(FOLDER / Path(path).name).write_bytes(b"\x89PNG\r\n\x1a\n" + head + body)


def draw(name):
    if name in MODELS:
        low, high, eye, target, angle, cut, size = MODELS[name]
        part = sf.load(EXAMPLES / f"{name}.sf")
        cuts = [cut] if cut else []
        options = {"eye": (eye, target), "field_of_view": radians(angle), "cuts": cuts, "samples": 3}
        save(part.picture(size=size, bounds=(low, high), **options), f"{name}.png")
    elif name in SCRIPTS:
        with tempfile.TemporaryDirectory() as folder:  # for their meshes, which are made coarsely
            runpy.run_path(str(SCRIPTS[name]))["main"](folder, 1.5, 480)
    else:
        subprocess.run([BUILD / "examples" / name, FOLDER / f"{name}.png"], check=True)


def draw_tutorial():
    """The pictures of its commands, after each of its models."""
    blocks = re.findall(r"^```(\w+)\n(.*?)^```", (ROOT / "docs" / "tutorial.md").read_text(), re.MULTILINE | re.DOTALL)
    with tempfile.TemporaryDirectory() as folder:
        for language, text in blocks:
            if language == "sfm":
                (Path(folder) / "model.sfm").write_text(text)
            for options, name in re.findall(r"sfdag render (.*) -o (\w+)\.png", text):
                command = [BUILD / "host" / "sfdag", "render", *shlex.split(options), "-q", "-o", FOLDER / f"tutorial_{name}.png"]
                subprocess.run(command, check=True, cwd=folder)


def main(names):
    sf.Picture.save = save
    FOLDER.mkdir(exist_ok=True)
    if not names or "tutorial" in names:
        draw_tutorial()
    for name in [name for name in names if name != "tutorial"] or [*MODELS, *SCRIPTS, "nut_on_plate"] * (not names):
        draw(name)
        size = (FOLDER / f"{name}.png").stat().st_size
        print(f"docs/pictures/{name}.png  {size / 1000:.0f} kB", flush=True)
        if size > 100_000:
            sys.exit("pictures: larger than 100 kB")


if __name__ == "__main__":
    main(sys.argv[1:])
