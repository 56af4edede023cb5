#!/usr/bin/env python3
"""Runs the program mesh_resource: what it writes, and how it answers when it cannot.

Usage: run_mesh_resource.py PROGRAM
"""

import array
import ast
import pathlib
import subprocess
import sys
import tempfile
import unittest

PROGRAM = sys.argv.pop(1)


class MeshResource(unittest.TestCase):
    def setUp(self):
        holder = tempfile.TemporaryDirectory()
        self.addCleanup(holder.cleanup)
        self.folder = pathlib.Path(holder.name)

    def run_program(self, *arguments):
        return subprocess.run([PROGRAM, *map(str, arguments)], capture_output=True, text=True, cwd=self.folder)

    def test_default_model(self):
        result = self.run_program("--voxel", 1, "-o", "nut.npy")
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        self.assertIn("wrote nut.npy: 39 x 39 x 25 points, 1 apart from (-19, -19, -6)", result.stdout)

        data = (self.folder / "nut.npy").read_bytes()
        self.assertEqual(data[:8], b"\x93NUMPY\x01\x00")
        start = 10 + int.from_bytes(data[8:10], "little")
        self.assertEqual(start % 64, 0)
        header = ast.literal_eval(data[10:start].decode())
        self.assertEqual(header, {"descr": "<f4", "fortran_order": False, "shape": (25, 39, 39)})
        values = array.array("f", data[start:])
        self.assertEqual(len(values), 25 * 39 * 39)

        def at(x, y, z):
            return values[((z + 6) * 39 + y + 19) * 39 + x + 19]

        # x, y, z and the distance that the part has there
        for point, expected in {
            (0, 0, 6): 5.1,  # on the axis of the nut
            (-7, 0, 11): -1.0,  # in the nut, under its upper face
            (-12, 12, -2): -2.0,  # in the plate, between its faces
            (7, -7, 6): 7.0,  # in the quarter that is cut away
        }.items():
            self.assertAlmostEqual(at(*point), expected, delta=0.02, msg=point)

    def test_failures(self):
        (self.folder / "a_folder").mkdir()
        (self.folder / "junk.stl").write_bytes(b"no such format")
        models = {
            "no_mesh.sf": "X $",
            "lost.sf": "U X #BRX:lost.stl $",
            "junk.sf": "U X #BRX:junk.stl $",
            "unbuildable.sf": "m[1] X $",
        }
        for name, text in models.items():
            (self.folder / name).write_text(text)
        for arguments, status, words in [
            (["--bogus"], 2, "--bogus"),
            (["--voxel", "0"], 2, "--voxel"),
            (["--voxel", "nan"], 2, "--voxel"),
            (["--voxel", "1e-9"], 1, "points"),
            (["nowhere.sf"], 1, "nowhere.sf: there is no such file"),
            (["."], 1, "this is not a file"),
            (["no_mesh.sf"], 1, "no_mesh.sf: refers to no mesh"),
            (["lost.sf"], 1, "lost.stl: there is no such file"),
            (["junk.sf"], 1, "junk.stl: this is no STL file"),
            (["unbuildable.sf"], 1, "unbuildable.sf: Error in "),
            (["--voxel", "2", "-o", "a_folder"], 1, "a_folder: cannot be written"),
            (["--voxel", "2", "-o", "no/folder.npy"], 1, "folder.npy: cannot be written"),
        ]:
            with self.subTest(arguments):
                before = sorted(self.folder.iterdir())
                result = self.run_program(*arguments)
                self.assertEqual((result.returncode, result.stdout), (status, ""))
                self.assertRegex(result.stderr, r"\Amesh_resource: [^\n]*\n\Z")
                self.assertIn(words, result.stderr)
                self.assertEqual(sorted(self.folder.iterdir()), before)


if __name__ == "__main__":
    unittest.main()
