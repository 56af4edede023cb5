"""Runs the command-line host: sfdag_test.py SFDAG [unittest arguments]."""

import ast
import json
import math
import os
import pathlib
import re
import resource
import shlex
import shutil
import signal
import stat
import struct
import subprocess
import sys
import tempfile
import threading
import unittest
import zipfile
import zlib

SFDAG = ""

SPHERE = "- r + + q X q Y q Z f1"
# The cylinder's radius grows with the diagonal of the whole grid.
CYLINDER = "n[0;0;0;0;0;1;1] f1"
DATA = pathlib.Path(__file__).parent / "data" / "meanings.txt"
GRID = ["--dims", "4", "3", "2", "--voxel", "0.5"]


class SfdagTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = folder.name

    def path(self, name):
        return os.path.join(self.folder, name)

    def put(self, name, content):
        with open(self.path(name), "wb") as file:
            file.write(content)
        return name

    def get(self, name):
        with open(self.path(name), "rb") as file:
            return file.read()

    def contents(self):
        return {name: self.get(name) for name in os.listdir(self.folder) if os.path.isfile(self.path(name))}

    def run_tool(self, *arguments, stdin=b"", **options):
        options.setdefault("stdout", subprocess.PIPE)
        return subprocess.run([SFDAG, *arguments], input=stdin, stderr=subprocess.PIPE, cwd=self.folder, timeout=60,
                              **options)

    def start_grid(self, model, points, out, *more, **options):
        """A rendering of some points along each axis that goes on while the test does."""
        return subprocess.Popen([SFDAG, "grid", model, "--dims", *[str(points)] * 3, "--voxel", "1", "-o", out, *more],
                                cwd=self.folder, stdout=subprocess.PIPE, stderr=subprocess.PIPE, **options)

    def succeed(self, *arguments, stdin=b"", **options):
        done = self.run_tool(*arguments, stdin=stdin, **options)
        self.assertEqual((done.returncode, own_lines(done.stderr)), (0, []), arguments)
        return done.stdout

    def assert_fails(self, status, pattern, *arguments, stdin=b"", **options):
        """A failure: its status, one line of ours that matches all of a pattern, no result, no file touched."""
        before = self.contents()
        done = self.run_tool(*arguments, stdin=stdin, **options)
        lines = own_lines(done.stderr)
        self.assertEqual(done.returncode, status, (arguments, lines))
        self.assertEqual(len(lines), 1, (arguments, lines))
        self.assertRegex(lines[0], "^sfdag: " + pattern + (r" \(see sfdag .*--help\)" if status == 2 else "") + "$")
        self.assertEqual(done.stdout or b"", b"", arguments)
        self.assertEqual(self.contents(), before, arguments)

    def values(self, model, points):
        lines = "".join("%r %r %r\n" % point for point in points)
        out = self.succeed("eval", "-x", model, "--points", "-", stdin=lines.encode())
        return [float(line) for line in out.split()]


def own_lines(stderr):
    return [line for line in stderr.decode(errors="replace").split("\n") if line.startswith("sfdag: ")]


def grid_points(dims, h, origin):
    return [(origin[0] + i * h, origin[1] + j * h, origin[2] + k * h)
            for k in range(dims[2]) for j in range(dims[1]) for i in range(dims[0])]


def words(values):
    return [repr(value) for value in values]


class Results(SfdagTest):
    def test_text(self):
        self.put("layout.sf", b"\xef\xbb\xbf+ f1\n\t+ f2\rX\r\n")
        table = [
            (["-x", "+X*Yf2"], b"", b"+ X * Y f2 $\n"),
            (["-x", "- X Y"], b"", b"- X Y $\n"),
            (["layout.sf"], b"", b"+ f1 + f2 X $\n"),
            (["-", "--level", "1"], b"f0.123456789 ", b"f0.123456789 $\n"),
            (["-", "--strict"], b"f0.123456789 ", b"f0.123457 $\n"),
            (["-x", "+ m[2;0;0;0;0;1;0;0;0;0;1;0] X m[4;0;0;0;0;1;0;0;0;0;1;0] X", "--expand"], b"",
             b"+ * f0.5 X * f0.25 X $\n"),
            (["-x", "b0.1 X Y", "--level", "2"], b"", b"b0.1 X Y $\n"),
            (["-"], b"q" * 1000000 + b"X", b"q " * 1000000 + b"X $\n"),
        ]
        for arguments, stdin, text in table:
            self.assertEqual(self.succeed("text", *arguments, stdin=stdin), text, arguments)

    def test_check(self):
        plate = b"# 40 x 20 plate\n- X f1 $\n"
        self.put("plate.sf", plate)
        self.put("sound.sf", b"+ f1\n\tX\r\n")
        found = b"plate.sf:1:6: warning: \"x 20 plate - X f1 $\" is not read: the expression ends before it.\n" \
            b"# 40 x 20 plate\n     ^~~~~~~~~~\n"
        table = [(["plate.sf"], 3, found), (["-x", "X+Y"], 3, b"-x:1:2: warning: "), (["-x", ""], 3, b"-x:1:1: warning"),
                 (["-x", "m[1] X"], 3, b"-x:1:2: warning"), (["-x", "u " * 200 + "X"], 3, b"\n-x: there are more"),
                 (["sound.sf"], 0, b""), (["-x", "+X*Yf2"], 0, b""), (["none.sf"], 1, b"sfdag: none.sf: No such file")]
        for arguments, status, text in table:
            done = self.run_tool("check", *arguments)
            self.assertEqual((done.returncode, done.stdout), (status, b""), arguments)
            self.assertIn(text, done.stderr, arguments)
            self.assertEqual(done.stderr == b"", status == 0, arguments)
        for arguments in (["text"], ["eval", "--at", "1", "2", "3"], ["derive", "--by", "x"], ["graph", "-o", "g.dot"]):
            done = self.run_tool(arguments[0], "-x", "+ X Y Z", *arguments[1:])
            self.assertEqual((done.returncode, done.stderr.count(b"warning: ")), (0, 1), arguments)
            self.assertIn(b"-x:1:7: warning: ", done.stderr)

    def test_eval(self):
        table = [
            ("X", ["--at", "0.1", "0", "0", "--at", "-.5", "0", "0"], b"0.10000000000000001\n-0.5\n"),
            ("/ X f0", ["--at", "1", "0", "0", "--at", "-1", "0", "0", "--at", "0", "0", "0"], b"inf\n-inf\nnan\n"),
            ("! / X f0", ["--at", "0", "0", "0"], b"nan\n"),
            ("X", ["--at", "1e-320", "0", "0", "--at", "-0", "0", "0"], b"9.9998886718268301e-321\n-0\n"),
            ("+ X + Y Z", ["--at", "inf", "0", "nan", "--points", "-"], b"nan\n6\n1.5\n"),
        ]
        for model, arguments, out in table:
            stdin = b"# x y z\r\n 1 2\t3\r\n\n0.5,0.25 , .75"
            self.assertEqual(self.succeed("eval", "-x", model, *arguments, stdin=stdin), out, model)

    def test_offset(self):
        sphere = [-0.5, 0.4, 1.5]  # values at the points below, which the offset lowers by its distance
        points = [(0.5, 0, 0), (0, 1.4, 0), (0, 0, 2.5)]
        table = [
            (["--distance", "0.25"], [value - 0.25 for value in sphere]),
            (["--distance", "0.5", "--sides", "1"], [abs(value) - 0.25 for value in sphere]),
            (["--strict", "--distance", "-1e-1", "--order", "2"], [value + 0.1 for value in sphere]),
            (["--strict", "--distance", "0.3", "--order", "3"], [value - 0.3 for value in sphere]),
            (["--strict", "--distance", "0.5", "--sides", "1"], [(v - 0.25) * (v + 0.25) for v in sphere]),
        ]
        for arguments, expected in table:
            text = self.succeed("offset", "-x", SPHERE, *arguments).decode()
            self.assertTrue(text.endswith(" $\n"))
            for value, wanted in zip(self.values(text, points), expected):
                self.assertAlmostEqual(value, wanted, 6, arguments)
        # Of exp x the orders are the Taylor polynomials of exp(-d) beside it.
        for order, expected in [("1", 1 - 0.5), ("2", 1 - 0.5 + 0.125), ("3", 1 - 0.5 + 0.125 - 0.125 / 6)]:
            text = self.succeed("offset", "-x", "e X", "--strict", "--distance", "0.5", "--order", order).decode()
            self.assertAlmostEqual(self.values(text, [(0, 0, 0)])[0], expected, 5, order)
        # An offset of an offset, through a listing, which keeps shared parts.
        self.succeed("offset", "-x", "o.125 " + SPHERE, "--distance", ".125", "-o", "larger.vm")
        lines = "".join("%r %r %r\n" % point for point in points).encode()
        for value, before in zip(self.succeed("eval", "larger.vm", "--points", "-", stdin=lines).split(), sphere):
            self.assertAlmostEqual(float(value), before - 0.25, 12)

    def test_meanings(self):
        """tests/data/meanings.txt: a model's plain meaning, and what --strict makes of it."""
        table = [[cell.strip() for cell in line.split("|")] for line in DATA.read_text().splitlines() if "|" in line]
        verbs = {"offset": "--distance", "derive": "--by"}
        for operation, text, point, *values in table[1:]:
            verb, *argument = operation.split()
            for strict, value in zip([["--strict"], []], values):
                if value == "-":
                    continue
                model = text
                if verb in verbs:
                    model = self.succeed(verb, "-x", text, verbs[verb], *argument, *strict).decode()
                found = float(self.run_tool("eval", "-x", model, "--at", *point.split(), *strict).stdout)
                wanted = float(value)
                close = abs(found - wanted) < (1e-5 if strict else 1e-12) or math.isnan(found) and math.isnan(wanted)
                self.assertTrue(close, (operation, text, strict, found))

    def test_grid_and_eval_agree(self):
        many = "m[1;0;0;3;0;1;0;0;0;0;1;0] " + "U X " * 5000 + "X"
        for model, expected in [(many, (-3, -2, -1)), ("n[0;0;0;0;0;1;4] - X f1", (-1, 0, 1))]:
            self.succeed("grid", "-x", model, "--dims", "3", "1", "1", "--voxel", "1", "-o", "out.raw", "--threads", "2")
            clamped = [max(-2.0, value) for value in expected]
            self.assertEqual(list(struct.unpack("<3f", self.get("out.raw"))), clamped)
            self.assertEqual(self.values(model, [(x, 0, 0) for x in range(3)]), list(expected))

    def test_points_without_a_value_are_counted(self):
        table = [(["eval", "-x", "r X", "--at", "-1", "0", "0", "--at", "1", "0", "0"], "1 of 2"),
                 (["grid", "-x", "r X", "--dims", "5", "2", "2", "--voxel", "1", "--origin", "-2.5", "0", "0", "-o", "-"],
                  "12 of 20"),
                 (["slice", "-x", "r - X Y", "--dims", "3", "3", "1", "--voxel", "1", "-o", "-"], "3 of 9")]
        for arguments, count in table:
            done = self.run_tool(*arguments)
            self.assertEqual((done.returncode, done.stderr.decode()),
                             (0, "-x: warning: %s points have no value (NaN)\n" % count), arguments)

    def test_listings(self):
        listing = b"# half of a ball\n_a var-x\n_b const -0.0\n_c max _a _b # flat\n_d sub _c _b\n"
        self.put("half.vm", listing)
        self.assertEqual(self.succeed("text", "half.vm"), b"- I X f-0 f-0 $\n")
        self.succeed("text", "half.vm", "-o", "again.vm")
        self.assertEqual(self.get("again.vm"), b"_0 var-x\n_1 const -0\n_2 max _0 _1\n_3 sub _2 _1\n")
        self.assertEqual(self.succeed("check", "half.vm"), b"")
        self.put("bad.vm", listing + b"_e sub _c\n")
        self.assert_fails(3, "bad.vm: not a readable listing", "text", "bad.vm")
        self.assertIn(b"bad.vm:6:10: error: ", self.run_tool("check", "bad.vm").stderr)
        self.assert_fails(2, "--output: listings and formulae hold the plain meaning.*", "text", "half.vm", "--strict", "-o", "strict.vm")

    def test_graph(self):
        expected = b"""strict digraph G{
\tnode [shape= record]
\tdag->n1;
\tn1 [label = "<f1> OFFSET 0.5"];
\tn1->n2;
\tn2 [label = "<f0> |<f1> + |<f2>"];
\tn2->n3;
\tn3[label =\"<f1> UNRESOLVEDREF\"];
\tn2:f0->n3:f1;
n3;
\tn2:f2->n3:f1;
}

"""
        arguments = ["graph", "-x", "o.5 + #1->2 #1->2 ", "-o"]
        self.succeed(*arguments, "out.DOT")
        self.assertEqual(self.get("out.DOT"), expected)
        self.assertEqual(self.succeed(*arguments, "-"), expected)
        nowhere = {**os.environ, "PATH": self.folder}
        self.assert_fails(1, r"dot: not found; install GraphViz, or write a \.dot file",
                  "graph", "-x", "X", "-o", "out.svg", env=nowhere)
        self.put("dot", b"#!/bin/sh\necho half; exit 3\n")
        os.chmod(self.path("dot"), 0o755)
        self.assert_fails(1, "dot: did not lay out the drawing", "graph", "-x", "X", "-o", "out.svg", env=nowhere)
        if shutil.which("dot"):
            self.succeed("graph", "-x", "+ q X q X", "-o", "out.svg")
            self.assertEqual(len(re.findall(b'<g id="node', self.get("out.svg"))), 1 + 3)

    def test_help(self):
        self.put("points.csv", b"1,2,3\n")
        verbs = re.findall(r"^  (\w+)  ", self.succeed("--help").decode().split("Verbs:")[1], re.MULTILINE)
        self.assertIn("slice", verbs)
        verbs.remove("view")  # does not end
        for verb in verbs:
            text = self.succeed(verb, "--help").decode().replace("\\\n", "")
            examples = [shlex.split(line)[1:] for line in re.findall(r"^  (sfdag .* -x .*)$", text, re.MULTILINE)]
            self.assertTrue(examples, verb)
            for example in examples:
                self.succeed(*example)
        self.assertRegex(self.succeed("--version").decode(), r"^sfdag \d+\.\d+\.\d+\n$")


class Options(SfdagTest):
    """What every verb has."""

    BALL = ["-e", "param r = 1 (0.5 .. 3)\ntranslate(sphere(r), [r, 0, 0])"]

    def test_parameters(self):
        self.put("ball.vm", self.succeed("text", *self.BALL, "-o", "ball.vm") + self.get("ball.vm"))
        for model in [self.BALL, ["-x", "- r + + q - X pr[1] q Y q Z pr[1]"]]:
            self.assertEqual(self.succeed("eval", *model, "--set", "r=2", "--at", "2,0,0"), b"-2\n", model)
        self.assertEqual(self.succeed("eval", "ball.vm", "--set", "r=2", "--at", "1", "0", "0"), b"-2\n")
        self.assertEqual(self.succeed("text", "-x", "pr[1]", "--strict", "--set", "r=2.5"), b"pr[2.5] $\n")

    def test_boxes(self):
        """Which points a grid has: how many along each side, and the value at the first one."""
        table = [(["-n", "8"], 11, math.sqrt(3) * 1.25 - 1), (["-s", "0.5"], 7, math.sqrt(3) * 1.5 - 1),
                 (["-b", "0,0,0,3,3,3", "-n3"], 4, -1), (["-b-1,0,0,2,3,3", "-s", "1"], 4, 0),
                 (["--bounds=3x3x3x0x0x0", "-n", "3"], 4, -1), (["--dims", "2,2,2", "-s", "1", "--origin=0x0x2"], 2, 1),
                 (["--dims=2x2x2", "--voxel=1"], 2, -1)]
        for arguments, side, first in table:
            out = self.succeed("grid", "-e", "sphere(1)", *arguments, "-o", "-")
            data = struct.unpack("<%df" % side ** 3, out[-4 * side ** 3:])
            self.assertAlmostEqual(data[0], first, 6, arguments)
            self.assertIn(b"(%d, %d, %d)" % (side, side, side), out, arguments)
        self.assert_fails(3, r"-x: no bounds are known.* \(see --bounds\)", "grid", "-x", "X", "-o", "out.npy")
        for more in (["-b", "0,0,0,1,1,1"], ["-n", "4"], ["--origin", "0,0,0"]):
            given = ["--dims", "2x2x2", "-s", "1"] if more[0] != "--origin" else []
            self.assert_fails(2, ".*--(dims|origin).*", "grid", "-x", "X", *given, *more, "-o", "out.npy")
        self.assert_fails(2, "cells.*|bounds.*|--cells.*", "grid", "-x", "X", "-b", "1,1,1,1,1,1", "-o", "out.npy")
        self.assert_fails(2, "voxel: more than 1048576 cells.*", "grid", "-x", "X", "-b", "0,0,0,1,1,1", "-s1e-7", "-o", "out.npy")

    def test_memory(self):
        grid = ["grid", "-x", "X", "--dims", "2000", "2000", "1", "--voxel", "1", "-o", "-"]
        self.assert_fails(4, "a slab of .* needs 0.0149 GiB of memory, 0.00931 GiB is allowed", *grid, "--max-memory", "0.01")

    def test_messages(self):
        nan = ["eval", "-x", "r X", "--at", "-1", "0", "0"]
        self.assertEqual(self.run_tool(*nan, "-q").stderr, b"")
        self.assertEqual(json.loads(self.succeed(*nan, "--json")), {"values": [None]})
        self.assertEqual(json.loads(self.succeed("text", "-x", "X", "--json")), {"text": "X $"})
        self.assertEqual(json.loads(self.succeed("gradient", "-x", "* X Y", "--json")), {"x": "Y $", "y": "X $", "z": "f0 $"})
        self.assertEqual(self.succeed("help", "text"), self.succeed("text", "--help"))
        slow = ["grid", "-x", "s" * 100 + "+ X + Y Z", "--dims", "70", "70", "70", "--voxel", "1", "-o", "-", "-j1"]
        done = self.run_tool(*slow, "--progress", "on")
        self.assertRegex(done.stderr, rb"\rgrid \[#*\.*\] \d+ %, [\d.]+ [kMG]?voxels/s, \d+ s left\x1b\[K")
        self.assertTrue(done.stderr.endswith(b"\r\x1b[K"))
        self.assertEqual(self.run_tool(*slow).stderr, b"")

    def test_watch(self):
        self.put("part.sf", b"X")
        tool = subprocess.Popen([SFDAG, "text", "part.sf", "--watch", "-o", "out.sf"], cwd=self.folder,
                                stderr=subprocess.PIPE)
        timer = threading.Timer(20, tool.kill)  # ends the reading below
        timer.start()
        self.addCleanup(timer.cancel)
        for text, line, result in [(b"X", b"done", b"X $\n"), (b"", b"not done", b"X $\n"), (b"Y", b"done", b"Y $\n")]:
            if result != b"X $\n" or not text:
                self.put("new", text)
                os.rename(self.path("new"), self.path("part.sf"))
            lines = iter(tool.stderr.readline, b"")
            self.assertIn(b"part.sf: " + line + b", waiting for changes\n", lines)
            self.assertEqual(self.get("out.sf"), result)
        tool.send_signal(signal.SIGINT)
        _, stderr = tool.communicate(timeout=10)
        self.assertEqual((tool.returncode, own_lines(stderr)), (130, ["sfdag: interrupted"]))


class Solids(SfdagTest):
    """Meshes and numbers of solids. The library's own tests look closer."""

    BOX = ["-e", "param side = 2 (1 .. 4)\ntranslate(box([side, 1, 1]), [5, 0, 0])"]

    def test_info(self):
        text = self.succeed("info", *self.BOX).decode()
        self.assertRegex(text, r"parameters +side = 2 \(1 \.\. 4\)\n")
        told = json.loads(self.succeed("info", *self.BOX, "--set", "side=4", "--json"))
        self.assertEqual((told["parameters"][0]["value"], told["axes"]), (4, ["x", "y", "z"]))
        self.assertAlmostEqual(told["lipschitz"], 1)
        self.assertAlmostEqual(told["bounds"]["low"][0], 3)
        told = json.loads(self.succeed("info", "-x", "+ q s X q s X", "--json"))
        self.assertEqual((told["nodes"], told["depth"], told["axes"], told["bounds"]), (4, 4, ["x"], None))
        self.assertEqual(told["kinds"], {"X": 1, "PLUS": 1, "SQUARE": 1, "SIN": 1})
        self.assertIn("SIN within 1 ulp", told["rounding"])

    def test_measure(self):
        told = json.loads(self.succeed("measure", *self.BOX, "-n", "20", "--units", "cm", "--json"))
        for key, value in [("volume", 2), ("area", 10), ("wall", 1)]:
            self.assertAlmostEqual(told[key]["value"], value, 4, key)
            self.assertLess(told[key]["error"], 0.05, key)
        for key, value in [("centre", (5, 0, 0)), ("low", (4, -0.5, -0.5)), ("high", (6, 0.5, 0.5))]:
            for found, wanted in zip(told[key], value):
                self.assertAlmostEqual(found["value"], wanted, 4, key)
        facts = [told[key] for key in ("components", "cavities", "genus", "watertight", "unit")]
        self.assertEqual(facts, [1, 0, 0, True, "cm"])
        shell = json.loads(self.succeed("measure", "-e", "difference(sphere(2), sphere(1))", "-n", "20", "--no-wall", "--json"))
        self.assertEqual([shell["components"], shell["cavities"], "wall" in shell], [1, 1, False])
        self.assertRegex(self.succeed("measure", "-e", "torus(2, 1)", "-n", "20").decode(), r"\ngenus +1\n")

    def test_mesh(self):
        def triangles(*more):
            told = json.loads(self.succeed("mesh", *self.BOX, "-n", "20", "-o", "out.stl", "--json", *more))
            stl = self.get("out.stl")
            self.assertEqual((struct.unpack("<I", stl[80:84])[0], len(stl)), (told["triangles"], 84 + 50 * told["triangles"]))
            return told

        whole = triangles()
        self.assertLess(whole["sharp_vertex_distance"], 1e-9)
        self.assertEqual(len(self.succeed("mesh", *self.BOX, "-n", "20", "-o", "-")), 84 + 50 * whole["triangles"])
        self.assertLess(triangles("--adaptivity", "0.001")["triangles"], whole["triangles"] / 10)
        self.assertGreater(triangles("--smooth")["surface_distance"], whole["surface_distance"] + 0.01)
        half = ["-b", "3,-1,-1,5,1,1"]
        self.assertLess(triangles(*half, "--no-cap")["triangles"], triangles(*half)["triangles"])
        ball = ["mesh", "-e", "sphere(1)", "-n", "8", "-o", "out.obj", "--json", "--tolerance"]
        near = json.loads(self.succeed(*ball, "0.002"))
        self.assertLess(max(near["vertex_distance"], near["surface_distance"]), 0.002)
        self.assert_fails(1, "-e: the mesh is not within the tolerance.*", *ball, "1e-9")
        for unit, name in [("in", "inch"), ("um", "micron")]:
            self.succeed("mesh", *self.BOX, "-n", "5", "-o", "out.3mf", "--units", unit)
            with zipfile.ZipFile(self.path("out.3mf")) as package:
                self.assertIn(b'unit="%s"' % name.encode(), package.read("3D/3dmodel.model"))

    def test_bench(self):
        told = json.loads(self.succeed("bench", *self.BOX, "-n", "10", "-j", "2", "--json"))
        times = [told[row][cores] for row in ("grid", "band", "points", "gradients") for cores in ("one", "all")]
        self.assertTrue(all(0 < time < 1e6 for time in times))
        self.assertEqual(told["threads"], 2)

    def test_failures(self):
        mesh = ["mesh", "-o", "out.stl"]
        for verb in (mesh, ["measure"]):
            table = [(3, "-e: no surface.*|-e: there is no surface.*", ["-e", "sphere(1)", "-b", "3,3,3,4,4,4"]),
                     (3, "-e: .*", ["-e", "sqrt(-1 - x^2)", "-b", "3,3,3,4,4,4"]),
                     (3, "-e: no bounds are known.*", ["-e", "x"]),
                     (2, "--bounds: the box is flat", ["-e", "x", "-b", "0,0,0,1,1,0"]),
                     (2, "--cells: '0' is not .*", ["-e", "sphere(1)", "-n", "0"]),
                     (2, "--strict: .*", ["-x", SPHERE, "--strict"]),
                     (4, ".* needs .*|out of memory", ["-e", "sphere(1)", "-n", "1000000", "--max-memory", "1"]),
                     (4, ".* needs .*", ["-e", "sphere(1)", "-n", "300", "--max-memory", "0.01"])]
            for status, pattern, arguments in table:
                self.assert_fails(status, pattern, *verb, *arguments)
        self.assert_fails(2, r"--output: 'out\.off' does not end in .*", "mesh", *self.BOX, "-o", "out.off")


class Calculus(SfdagTest):
    def test_texts(self):
        offset = "o0.5 * f2 X"  # the field is 2 X - 0.5 * 2
        table = [
            (["derive", "-x", "* X X", "--by", "x"], b"+ X X $\n"),
            (["derive", "-x", offset, "--by", "x"], b"f2 $\n"),
            (["simplify", "-x", "m[2;0;0;0;0;2;0;0;0;0;2;0] - * X f1 f0"], b"* f0.5 X $\n"),
            (["derive", "-x", "* X X", "--by", "x", "--strict"], b"+ * f1 X * X f1 $\n"),
            (["derive", "-x", "* X X", "--by", "x", "--strict", "--simplify"], b"+ X X $\n"),
            (["derive", "-x", "* X X", "--strict", "--simplify", "--by", "z"], b"f0 $\n"),
            (["derive", "-x", "- Y + Z Z", "--strict", "--simplify", "--by", "y"], b"f1 $\n"),
            (["derive", "-x", "- Y + Z Z", "--strict", "--simplify", "--by", "z"], b"f-2 $\n"),
            (["derive", "-x", offset, "--by", "x", "--strict", "--simplify"], b"f2 $\n"),
            (["gradient", "--strict", "-x", SPHERE],
             b"".join(b"/ * f2 %s * f2 r + + q X q Y q Z $\n" % v for v in [b"X", b"Y", b"Z"])),
            # each component is that of the field as it was; another visit of the quotient would make it 0
            (["gradient", "--strict", "-x", "* Z e / f0 + Y f0"], b"f0 $\nf0 $\ne / f0 Y $\n"),
            (["simplify", "--strict", "-x", "+ * X f0 * f1 Y"], b"Y $\n"),
            (["simplify", "--strict", "-x", "U X + Y f0"], b"U X + Y f0 $\n"),
        ]
        for arguments, out in table:
            self.assertEqual(self.succeed(*arguments), out, arguments)
        for line, value in zip(self.succeed("gradient", "-x", SPHERE).decode().splitlines(), (0.6, 0, 0.8)):
            self.assertAlmostEqual(self.values(line, [(3, 0, 4)])[0], value, 12)

    def test_formulae(self):
        self.put("part.sfm", b"param r = 2\ntranslate(sphere(r), [3, 0, 0]) # a ball\n")
        self.assertEqual(self.succeed("eval", "part.sfm", "--at", "3", "0", "0"), b"-2\n")
        self.assertEqual(self.succeed("eval", "-e", "x ^ 2 - pi / pi", "--at", "3", "0", "0"), b"8\n")
        self.succeed("text", "part.sfm", "-o", "again.sfm")
        self.assertEqual(self.succeed("text", "again.sfm"), self.succeed("text", "part.sfm"))
        self.assertIn(b"param r = 2", self.get("again.sfm"))
        wrong = self.run_tool("eval", "-e", "spere(2)", "--at", "0", "0", "0")
        self.assertEqual(wrong.returncode, 3)
        self.assertTrue(wrong.stderr.startswith(b"-e:1:1: error: no function is called 'spere'; is 'sphere' meant?\n"))

    def test_curvature(self):
        grid = ["--dims", "25", "25", "25", "--voxel", "0.1", "--origin"]
        for model, x in [(SPHERE, -1.2), ("m[1;0;0;5;0;1;0;0;0;0;1;0] " + SPHERE, 3.8)]:
            out = self.succeed("curvature", "-x", model, *grid, repr(x), "-1.2", "-1.2").decode()
            values = re.fullmatch(r"maximum +(\S+)\nminimum +(\S+)\n", out)
            for value in values.groups():
                self.assertAlmostEqual(float(value), -1, 6)

    def test_failures(self):
        grid = ["--dims", "3", "3", "3", "--voxel", "0.1"]
        table = [
            (2, "--by is required", ["derive", "-x", "X"]),
            (2, r"--by: 'w' is not one of x\|y\|z", ["derive", "-x", "X", "--by", "w"]),
            (3, "-x: has no derivative", ["derive", "--strict", "-x", "#foo ", "--by", "x"]),
            (3, "-x: has no gradient", ["gradient", "--strict", "-x", "b1 X Y"]),
            (3, r"-x: cannot be written as text at level 2 \(E_FAIL\)", ["derive", "--strict", "-x", "+ X #foo ", "--by", "x"]),
            (3, "-x: holds a resource, whose gradient has no text", ["derive", "--strict", "-x", "+ X # 1", "--by", "x"]),
            (3, r"-x: its curvature cannot be computed \(E_FAIL\)", ["curvature", "--strict", "-x", "#foo ", *grid]),
            (3, "-x: graph: the reference '#foo' has no resource", ["derive", "-x", "#foo ", "--by", "x"]),
            (3, "-x: an expression cannot hold a number that is infinite or NaN", ["simplify", "-x", "/ f1 f0"]),
            (3, "-x: no edge of the grid crosses the surface where it has a curvature", ["curvature", "-x", "f5", *grid]),
        ]
        for status, pattern, arguments in table:
            self.assert_fails(status, pattern, *arguments)
        self.assert_fails(4, "standard input: the text needs .* of memory, .* is free", "derive", "--strict", "-", "--by", "x",
                  stdin=b"U " * 1000 + b"X " * 1001)


class Grids(SfdagTest):
    def test_values_are_those_of_eval_clamped(self):
        table = [
            (SPHERE, (5, 4, 3), 0.3, (-0.7, -0.6, -0.5)),
            ("/ X Y", (3, 3, 3), 0.5, (-0.5, -0.5, 0)),  # infinities, NaN, zeros
            ("m[0;1;0;3;1;0;0;0;0;0;2;0;0;0;0;1] - X + Y Z", (2, 3, 7), 0.25, (1, 2, 3)),
        ]
        for model, dims, h, origin in table:
            arguments = ["grid", "-x", model, "--dims", *words(dims), "--voxel", repr(h), "--origin", *words(origin)]
            self.succeed(*arguments, "-o", "out.raw")
            diagonal = math.sqrt(sum(((n - 1) * h) ** 2 for n in dims))
            expected = b""
            for value in self.values(model, grid_points(dims, h, origin)):
                value = diagonal if math.isnan(value) else value
                expected += struct.pack("<f", math.copysign(min(diagonal, abs(value)), 1 if value > 0 else -1))
            self.assertEqual(self.get("out.raw"), expected, model)

            self.succeed(*arguments, "-o", "out.NPY")
            npy = self.get("out.NPY")
            self.assertEqual(npy[:8], b"\x93NUMPY\x01\x00")
            start = 10 + struct.unpack("<H", npy[8:10])[0]
            self.assertEqual((start % 64, npy[start - 1:start]), (0, b"\n"))
            self.assertEqual(ast.literal_eval(npy[10:start].decode()),
                             {"descr": "<f4", "fortran_order": False, "shape": dims[::-1]})
            self.assertEqual(npy[start:], expected)

    def test_where_output_goes(self):
        arguments = ["grid", "-x", "X", *GRID, "-o"]
        self.succeed(*arguments, "plain.npy")
        npy = self.get("plain.npy")
        self.assertEqual(self.succeed(*arguments, "-"), npy)
        with open(self.path("log"), "wb") as log:  # an open file is continued, not replaced
            log.write(b"before")
            log.flush()
            self.succeed(*arguments, "/dev/stdout", stdout=log)
        self.assertEqual(self.get("log"), b"before" + npy)
        with open(self.path("log"), "r+b") as log:  # the library's lines go there as well
            log.seek(6)
            subprocess.run([SFDAG, *arguments, "/dev/stderr", "--strict"], stderr=log, cwd=self.folder, timeout=60)
        self.assertTrue(self.get("log").startswith(b"beforeSFDagEvaluator") and self.get("log").endswith(npy))

        self.put("target", b"old")
        os.chmod(self.path("target"), 0o640)
        os.symlink("target", self.path("link.npy"))
        self.succeed(*arguments, "link.npy")
        self.assertTrue(os.path.islink(self.path("link.npy")))
        self.assertEqual((self.get("target"), stat.S_IMODE(os.stat(self.path("target")).st_mode)), (npy, 0o640))
        self.assertEqual(sorted(os.listdir(self.folder)), ["link.npy", "log", "plain.npy", "target"])


class Pictures(SfdagTest):
    def read_png(self, name):
        """The rows of an 8-bit RGB picture, from the top; each a list of (red, green, blue)."""
        data = self.get(name)
        self.assertEqual(data[:8], b"\x89PNG\r\n\x1a\n")
        width, height = struct.unpack(">II", data[16:24])
        self.assertEqual(data[24:29], bytes([8, 2, 0, 0, 0]))
        packed, at = b"", 8
        while at < len(data):
            length, kind = struct.unpack(">I4s", data[at:at + 8])
            packed += data[at + 8:at + 8 + length] if kind == b"IDAT" else b""
            at += 12 + length
        raw, stride, above, rows = zlib.decompress(packed), 3 * width, [0] * (3 * width), []
        for y in range(height):
            line = list(raw[y * (stride + 1):(y + 1) * (stride + 1)])
            method, line = line[0], line[1:]
            for x in range(stride):
                a, b, c = (line[x - 3], above[x], above[x - 3]) if x >= 3 else (0, above[x], 0)
                paeth = min((abs(b - c), 0, a), (abs(a - c), 1, b), (abs(a + b - 2 * c), 2, c))[2]
                line[x] = (line[x] + [0, a, b, (a + b) // 2, paeth][method]) % 256
            rows.append(list(zip(line[::3], line[1::3], line[2::3])))
            above = line
        return rows

    def test_hues_follow_the_signs_of_the_grid(self):
        table = [  # model, dims, voxel, origin, slice, arguments of the slice
            (SPHERE, (13, 9, 5), 0.25, (-1.45, -0.9, -0.7), 2, []),
            ("- + X Y Z", (8, 8, 4), 1, (-3.3, -3.4, 0), 3, ["--z", "3"]),
            (CYLINDER, (12, 12, 30), 0.1, (-0.55, -0.55, 0), 1, ["--z", "1", "--strict"]),
        ]
        scale = 9  # odd, so that a pixel's centre stands on each sample
        for model, dims, h, origin, z, more in table:
            arguments = ["-x", model, "--dims", *words(dims), "--voxel", repr(h), "--origin", *words(origin)]
            self.succeed("slice", *arguments, *more, "--scale", str(scale), "-o", "out.png")
            self.succeed("grid", *arguments, "-o", "out.raw", *set(more) & {"--strict"})
            nx, ny, size = dims[0], dims[1], dims[0] * dims[1]
            samples = struct.unpack("<%df" % size, self.get("out.raw")[4 * z * size:4 * (z + 1) * size])
            rows = self.read_png("out.png")
            self.assertEqual((len(rows[0]), len(rows)), (scale * nx, scale * ny))
            seen = set()
            for j in range(ny):
                for i in range(nx):
                    red, green, blue = rows[(ny - 1 - j) * scale + scale // 2][i * scale + scale // 2]
                    if red + green + blue > 200:  # not under the zero line
                        seen.add(red > blue)
                        self.assertEqual(red > blue, samples[j * nx + i] < 0, (model, i, j))
            self.assertEqual(len(seen), 2, model)

    def test_lines(self):
        """Across X, from -2 to 2 or less, there is one strong line, and iso-lines at the multiples of the spacing."""
        table = [  # voxel, arguments, the spacing that is asked for or suits the picture, lines
            (0.25, ["--iso", "0.5"], 0.5, 9), (0.25, ["--iso", "1"], 1, 5),
            (0.25, [], 0.2, 21),  # 4.25 / 26 = 0.163 in round numbers
            (0.1875, [], 0.1, 31),  # 0.123
        ]
        for voxel, arguments, spacing, lines in table:
            self.succeed("slice", "-x", "X", "--dims", "17", "3", "1", "--voxel", repr(voxel), "--origin",
                         repr(-8 * voxel), "0", "0", "--scale", "40", *arguments, "-o", "out.png")
            row = [sum(pixel) for pixel in self.read_png("out.png")[60]]
            minima = [x for x in range(1, len(row) - 1) if row[x - 1] > row[x] <= row[x + 1] and row[x - 3] - row[x] > 60]
            step = 40 / voxel * spacing
            self.assertEqual(len(minima), lines, spacing)
            for n, x in enumerate(minima):
                self.assertLessEqual(abs(x - (340 + (n - lines // 2) * step)), 1, spacing)
            self.assertIn(min(range(len(row)), key=row.__getitem__), [339, 340])

    def test_undefined_values_are_far_outside(self):
        deep = "a" * 5000 + "r Y"  # a graph of this depth is rendered with its NaN
        self.succeed("slice", "-x", deep, "--dims", "2", "6", "1", "--voxel", "1", "--origin", "0", "-2.5", "0",
                     "--scale", "5", "-o", "out.png")
        rows = self.read_png("out.png")
        self.assertTrue(all(blue > red for row in rows for red, _, blue in row))
        self.assertLess(sum(rows[-1][0]), sum(rows[0][0]) - 100)

    def test_figures(self):
        """A section of a box has its hues at the places that the axes tell, and the SVG one the zero line as a path."""
        ball = ["-e", "translate(sphere(2), [1, 2, 3])", "-b", "-4,-4,-4,8,8,8"]
        for axis, at, centre in [("x", 1, (2, 3)), ("y", 2, (1, 3)), ("z", 3, (1, 2))]:
            report = json.loads(self.succeed("slice", *ball, "--axis", axis, "--at", str(at), "--size", "120", "--json",
                                             "-o", "out.png"))
            self.assertEqual(report["iso_spacing"], 0.5)
            rows = self.read_png("out.png")
            self.assertEqual((len(rows[0]), len(rows)), (66 + 120 + 26, 44 + 120 + 54))
            for u, v, inside in [(0, 0, True), (1.7, 0, True), (0, -1.7, True), (2.4, 0, False), (0, 2.4, False)]:
                red, _, blue = rows[44 + 119 - int((centre[1] + v + 4) * 10)][66 + int((centre[0] + u + 4) * 10)]
                self.assertEqual(red > blue, inside, (axis, u, v))
        self.succeed("slice", *ball, "--at", "3", "--size", "120", "-o", "out.svg")
        strokes = re.findall(r'stroke-width="2.8".* d="M([^"]*)"', self.get("out.svg").decode())
        self.assertEqual(len(strokes), 1)
        for point in strokes[0].split("L"):
            x, y = map(float, point.split())
            self.assertAlmostEqual(math.hypot(x - 66 - 50, y - 44 - 60), 20, delta=0.1)

    def test_render(self):
        ball = ["-e", "sphere(2)", "--size", "80x60"]
        self.succeed("render", *ball, "--view", "top", "--mode", "normals", "--background", "#102030", "-o", "out.png")
        rows = self.read_png("out.png")
        self.assertEqual((len(rows[0]), len(rows), rows[0][0]), (80, 60, (16, 32, 48)))
        self.assertLessEqual(max(abs(a - b) for a, b in zip(rows[30][40], (128, 128, 255))), 6)
        self.assertGreater(rows[30][60][0], 200)
        self.assertGreater(rows[10][40][1], 200)
        self.succeed("render", *ball, "--cut", "z=0", "--view", "top", "-o", "out.png")
        red, _, blue = self.read_png("out.png")[30][40]
        self.assertGreater(red, blue + 40)  # the cut face
        for pattern, arguments in [("--cut: 'w=1' is not a plane, .*", ["--cut", "w=1"]),
                                   ("--colour: 'blu' is not a colour, .*", ["--colour", "blu"]),
                                   ("--size: '0' is not .*", ["--size", "0x5"])]:
            self.assert_fails(2, pattern, "render", *ball[:2], "-o", "out.png", *arguments)
        self.assert_fails(3, ".*: there is no surface in the box.*", "render", "-e", "sphere(1) + 2", "-b", "-1,-1,-1,1,1,1", "-o",
                  "out.png")
        self.assert_fails(4, "the picture needs .*", "render", "-e", "sphere(1)", "--size", "1000000x1000000", "-o", "out.png")

    def test_size(self):
        for dims, size in [("3 2 1", (513, 342)), ("1 1 1", (512, 512)), ("2 600 1", (2, 600))]:
            self.succeed("slice", "-x", "f1", "--dims", *dims.split(), "--voxel", "1", "-o", "out.png")
            self.assertEqual(struct.unpack(">II", self.get("out.png")[16:24]), size)


class Failures(SfdagTest):
    def test_usage(self):
        grid = ["grid", "-x", "X", *GRID]
        table = [
            ("give a verb: info, .*", []),
            ("unknown verb 'paint', there are: info, .*", ["paint"]),
            ("give a MODEL, -x EXPR or -e FORMULA", ["text"]),
            ("give only one of MODEL, -x and -e", ["text", "a.sf", "-x", "X"]),
            ("--expression: .*", ["text", "-x"]),
            (".*--bogus", ["text", "--bogus", "-x", "X"]),
            (r"--level: '3' is not a whole number from 1 to 2", ["text", "-x", "X", "--level", "3"]),
            ("give at least one point .*", ["eval", "-x", "X"]),
            ("--at: .*", ["eval", "-x", "X", "--at", "1", "2"]),
            (r"--at: 'z\?' is not a number", ["eval", "-x", "X", "--at", "1", "2", "z\n"]),
            (r"--at: '1e999' is not a number", ["eval", "-x", "X", "--at", "1", "2", "1e999"]),
            ("--watch needs a MODEL that is a file", ["text", "-x", "X", "--watch"]),
            ("--set: 'r' is not NAME=NUMBER", ["text", "-x", "pr[1]", "--set", "r"]),
            ("--set: the model has no parameter 's'", ["text", "-x", "pr[1]", "--set", "s=1"]),
            ("--json: the standard output is where the result goes", ["graph", "-x", "X", "--json", "-o", "-"]),
            (".*both be the standard input", ["eval", "-", "--points", "-"]),
            ("--output is required", grid),
            (r"--output: 'a\.b/out\.txt' does not end in \.npy or .*", [*grid, "-o", "a.b/out.txt"]),
            (r"--output: 'out\.jpg' does not end in \.png or \.svg", ["slice", *grid[1:], "-o", "out.jpg"]),
            (r"--output: 'out\.png' does not end in \.dot or \.svg", ["graph", "-x", "X", "-o", "out.png"]),
            ("--distance is required", ["offset", "-x", "X"]),
            ("--distance: 'inf' is not a finite number", ["offset", "-x", "X", "--distance", "inf"]),
            ("--sides: '2' is not .*", ["offset", "-x", "X", "--distance", "1", "--sides", "2"]),
            ("--order: only --strict has orders", ["offset", "-x", "X", "--distance", "1", "--order", "2"]),
            ("--order: '0' is not .*", ["offset", "-x", "X", "--distance", "1", "--order", "0"]),
            ("--z: there is no slice 2, the last one is 1", ["slice", *grid[1:], "-o", "out.png", "--z", "2"]),
            ("--scale: '0' is not .*", ["slice", *grid[1:], "-o", "out.png", "--scale", "0"]),
            ("the picture would be 1000001 pixels long.*",
             ["slice", "-x", "X", "--dims", "1000001", "1", "1", "--voxel", "1", "-o", "out.png"]),
            ("--dims: .* is not a whole number.*", ["grid", "-x", "X", "--dims", "1", "1", "--voxel", "1", "-o", "out.npy"]),
        ]
        for pattern, arguments in table:
            self.assert_fails(2, pattern, *arguments)
        self.assert_fails(2, r"SF_KERNELS: 'avx-512' is not one of avx512\|avx2\|portable", "text", "-x", "X",
                  env={**os.environ, "SF_KERNELS": "avx-512"})

    def test_input(self):
        os.mkdir(self.path("folder"))
        self.put("empty", b"")
        self.put("random", b"\x00\xff+ p" + bytes(range(94, 256)) * 50)
        self.put("blank", b" \n")
        self.put("q", b"q" * 100000)
        at = ["--at", "0", "0", "0"]
        table = [
            (1, "missing: No such file or directory", ["text", "missing"], b""),
            (1, "'': No such file or directory", ["text", ""], b""),
            (1, "folder: Is a directory", ["text", "folder"], b""),
            (1, "/proc/self/mem: Input/output error", ["text", "/proc/self/mem"], b""),
            (1, "/dev/zero: more than 256 MiB of text", ["text", "/dev/zero"], b""),
            (3, "empty: empty", ["text", "empty"], b""),
            (3, "blank: holds no expression", ["text", "blank"], b""),
            (3, "random: not a readable expression", ["eval", "random", *at], b""),
            (3, "standard input: not a readable expression", ["text", "-"], b"+ X pname"),
            (3, "q: graph: ends where an operand is expected", ["eval", "q", *at], b""),
            (3, r"q: cannot be evaluated \(E_FAIL\)", ["eval", "--strict", "q", *at], b""),
            (3, r"-x: cannot be rendered \(E_FAIL\)", ["grid", "--strict", "-x", "+ X", *GRID, "-o", "out.npy"], b""),
            (3, "-x: cannot be drawn, an operand is missing", ["graph", "-x", "+ X", "-o", "out.dot"], b""),
            (3, "-x: has no offset by that distance", ["offset", "--strict", "-x", "b1 X Y", "--distance", "1"], b""),
            (3, r"-x: cannot be made ready \(E_FAIL\)", ["offset", "--strict", "-x", "o1 b1 X Y", "--distance", "1"], b""),
            (4, "a slab of 4294967295 x 4294967295 x 1 points needs .*",
             ["grid", "-x", "X", "--dims", *["4294967295"] * 3, "--voxel", "1", "-o", "out.npy"], b""),
            (4, "the picture needs .*",
             ["slice", "-x", "X", "--dims", "1000000", "1000000", "1", "--voxel", "1", "-o", "out.png"], b""),
            (1, "missing: No such file or directory", ["eval", "-x", "X", "--points", "missing"], b""),
        ]
        for junk in [b"1 2", b"1 2 3 4", b"1 2 x", b"1 2 3x", b"1,,2,3", b"1 2 3\0", b"1 2 1e999"]:
            table.append((1, r"standard input:3: '.*' is not three numbers", ["eval", "-x", "X", "--points", "-"],
                          b"1 2 3\n\n" + junk + b"\n4 5 6\n"))
        for status, pattern, arguments, stdin in table:
            self.assert_fails(status, pattern, *arguments, stdin=stdin)

        verbs = {"text": [], "simplify": [], "gradient": [], "eval": at, "curvature": GRID, "derive": ["--by", "x"],
                 "offset": ["--distance", "1"], "graph": ["-o", "out.dot"], "grid": [*GRID, "-o", "out.npy"],
                 "slice": [*GRID, "-o", "out.png"]}
        for verb, arguments in verbs.items():
            self.assert_fails(3, "-x: holds a parameter, a transform, a blend or an offset, which level 1 does not have",
                      verb, "-x", "+ X pr[1]", "--level", "1", *arguments)
        self.assert_fails(1, "standard input: Bad file descriptor", "text", "-", preexec_fn=lambda: os.close(0))

    def test_output(self):
        os.mkdir(self.path("folder"))
        self.put("out.npy", b"kept")
        grid = ["grid", "-x", "X", *GRID, "-o"]
        table = [
            ("/dev/full: No space left on device", [*grid, "/dev/full"]),
            ("/dev/full: No space left on device", ["slice", *grid[1:], "/dev/full"]),
            ("nowhere/out.npy: No such file or directory", [*grid, "nowhere/out.npy"]),
            ("out.npy/out.npy: Not a directory", [*grid, "out.npy/out.npy"]),
            ("folder: Is a directory", [*grid, "folder"]),
            ("'': No such file or directory", [*grid, ""]),
        ]
        for pattern, arguments in table:
            self.assert_fails(1, pattern, *arguments)
        with open("/dev/full", "wb") as full:
            self.assert_fails(1, "standard output: No space left on device", "--help", stdout=full)
        self.assert_fails(1, "standard output: Bad file descriptor", "--help", preexec_fn=lambda: os.close(1))
        # A file that cannot grow: the one in the making goes, the one that was there stays.
        self.assert_fails(1, "out.npy: File too large", "grid", "-x", "X", "--dims", "30", "30", "30", "--voxel", "1", "-o",
                  "out.npy", preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (20000, 20000)))

    def test_library_lines_never_reach_a_file(self):
        """With the standard error stream closed, the output file must not take its descriptor."""
        self.succeed("grid", "-x", "X", *GRID, "-o", "quiet.npy", preexec_fn=lambda: os.close(2))
        self.succeed("grid", "-x", "X", *GRID, "-o", "normal.npy")
        self.assertEqual(self.get("quiet.npy"), self.get("normal.npy"))


if __name__ == "__main__":
    SFDAG = os.path.abspath(sys.argv.pop(1))
    unittest.main()
