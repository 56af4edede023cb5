#!/usr/bin/env python3
"""Runs a generator, a program or a Python script, and compares what it writes with what is kept: a file, or every
file of a folder.

Usage: regenerate.py GENERATOR KEPT
"""

import pathlib
import subprocess
import sys
import tempfile


def contents(path):
    files = sorted(path.iterdir()) if path.is_dir() else [path]
    return {file.name: file.read_bytes() for file in files}


def main(generator, kept):
    with tempfile.TemporaryDirectory() as folder:
        fresh = pathlib.Path(folder, kept.name)
        if kept.is_dir():
            fresh.mkdir()
        interpreter = [sys.executable, "-B"] if generator.endswith(".py") else []
        subprocess.run([*interpreter, generator, fresh], check=True)
        before, after = contents(kept), contents(fresh)
    differing = [name for name in sorted(before | after) if before.get(name) != after.get(name)]
    if differing:
        sys.exit(f"{generator} no longer writes what is kept: {', '.join(differing)}")


if __name__ == "__main__":
    main(sys.argv[1], pathlib.Path(sys.argv[2]))
