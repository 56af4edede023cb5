"""Runs the command-line host on what nobody should give it: sfdag_hostile_test.py SFDAG [unittest arguments].

Whatever happens: one line that says what is wrong, the right exit status, no partial file, no temporary file.
"""

import os
import random
import re
import resource
import shlex
import shutil
import signal
import subprocess
import sys
import time
import unittest

import sfdag_test
from sfdag_test import GRID, SfdagTest, own_lines

VERBS = [
    ["text"], ["eval", "--at", "1", "2", "3"], ["grid", *GRID, "-o", "-"], ["slice", *GRID, "-o", "-"],
    ["derive", "--by", "x"], ["gradient"], ["simplify"], ["curvature", *GRID], ["graph", "-o", "-"],
    ["offset", "--distance", "0.5"],
]
GYROID = ["-e", "intersection(gyroid(1, 0.2), sphere(2))"]
OUTPUTS = [  # of more than 64 KiB, by what writes them
    *(["mesh", "-n", "40", "-o", "out." + end] for end in ["stl", "ply", "obj", "3mf", "glb"]),
    *(["grid", "-n", "60", "-o", "out." + end] for end in ["npy", "raw", "nrrd", "vti", "vdb"]),
    ["render", "--size", "600x400", "-o", "out.png"], ["slice", "-o", "out.png"], ["slice", "-o", "out.svg"],
]
SLOW = b"s" * 4000 + b"+ X + Y Z"  # a grid of this takes many seconds, as the sine is not made faster


class Bytes(SfdagTest):
    def check(self, arguments, stdin=b"", failure=3):
        """Success, or one line and the status of a failure, as a rule of bad models; no crash, no file."""
        done = self.run_tool(*arguments, stdin=stdin)
        self.assertIn(done.returncode, [0, failure], (arguments, stdin, done.stderr[-500:]))
        self.assertEqual(len(own_lines(done.stderr)), min(done.returncode, 1), (arguments, stdin))
        if done.returncode != 0:
            self.assertEqual(done.stdout, b"", (arguments, stdin))
        self.assertEqual(self.contents(), {}, (arguments, stdin))

    def test_random_models(self):
        randomly = random.Random(7)
        tokens = [*(bytes([letter]) for letter in b"XYZf+*/^UID\\qrl$ []; \n\0\xff"), b"f1 ", b"#a ", b"# 3 ",
                  b"pa[1] ", b"b1 ", b"o1 ", b"m[1;0;0;1;0;1;0;0;0;0;1;0] ", b"n[0;0;0;0;0;1;1] ", b"d[#a;#b] ", b"g[[#a;#b]] "]
        for verb in VERBS:
            for _ in range(3):
                self.check([*verb, "-"], bytes(randomly.randrange(256) for _ in range(randomly.randrange(1, 300))))
                self.check([*verb, "-"], b"".join(randomly.choices(tokens, k=randomly.randrange(1, 40))))

    def test_random_points(self):
        randomly = random.Random(8)
        for _ in range(20):
            junk = bytes(randomly.choices(b"0123456789.,+-e \t\n\rnaif#\0\xff", k=randomly.randrange(1, 60)))
            self.check(["eval", "-x", "X", "--points", "-"], junk, failure=1)

    def test_random_command_lines(self):
        randomly = random.Random(9)
        words = ["-", "--", "-x", "X", "--dims", "--voxel", "--origin", "-o", "--at", "--level", "1", "-1", "nan",
                 "1e999", "0x10", "", " ", "--output=-", "--dims=1", "-xX", "--by", "x", "--help", "\n", "\x7f", "%s%n",
                 "é"]
        for _ in range(100):
            arguments = [randomly.choice(VERBS)[0], *randomly.choices(words, k=randomly.randrange(6))]
            done = self.run_tool(*arguments)
            self.assertIn(done.returncode, [0, 1, 2, 3, 4], arguments)
            self.assertEqual(len(own_lines(done.stderr)), min(done.returncode, 1), arguments)
            self.assertEqual(self.contents(), {}, arguments)


class CommandLines(SfdagTest):
    def test_options_given_twice(self):
        for verb, option, value in [("text", "--expression", "X"), ("text", "--level", "2"), ("grid", "--voxel", "1"),
                                    ("grid", "--output", "out.npy"), ("derive", "--by", "x"),
                                    ("offset", "--distance", "1")]:
            given = {"grid": ["-x", "X", "--dims", "1", "1", "1"]}.get(verb, ["-x", "X"])
            self.assert_fails(2, ".*" + option + ".*", verb, *given, option, value, option, value)

    def test_numbers(self):
        """Numbers that are none, or none that can be used; whatever is finite is used."""
        table = [("--origin", "a finite number", ["nan", "inf", "-inf", "1e999", "one", "0x", ""]),
                 ("--voxel", "a positive number", ["nan", "inf", "0", "-0", "-1", "1e-999", "1e999", "1,5", "1x", ""]),
                 ("--dims", "a whole number .*", ["0", "-1", "1.0", "1e3", "4294967296", "9" * 30, "+1", ""])]
        for option, expected, texts in table:
            for place, text in enumerate(texts):
                values = {"--origin": ["0"] * 3, "--voxel": ["1"], "--dims": ["1"] * 3}
                values[option][place % len(values[option])] = text
                arguments = [word for name, words in values.items() for word in [name, *words]]
                self.assert_fails(2, option + ": '.*' is not " + expected, "grid", "-x", "X", *arguments, "-o", "out.npy")
        for voxel, origin in [("1e308", "1e308"), ("5e-324", "-1e308"), ("1e308", "-1e308")]:
            for verb, out in [("grid", "out.npy"), ("slice", "out.png")]:
                self.succeed(verb, "-x", "/ X - Y X", "--dims", "4", "4", "4", "--voxel", voxel,
                             "--origin", origin, "0", origin, "-o", out)

    def test_output_over_the_model(self):
        """A model is not replaced by what was made of it."""
        self.put("part.dot", b"+ X Y")
        os.symlink("part.dot", self.path("link.dot"))
        os.link(self.path("part.dot"), self.path("same.png"))
        table = [(["graph", "part.dot", "-o", "part.dot"], "part.dot"),
                 (["graph", "link.dot", "-o", "./part.dot"], "./part.dot"),
                 (["graph", "part.dot", "-o", "link.dot"], "link.dot"),
                 (["slice", "part.dot", *GRID, "-o", "same.png"], "same.png")]
        for arguments, name in table:
            self.assert_fails(2, "--output: '%s' is the model's own file" % re.escape(name), *arguments)
        os.rename(self.path("part.dot"), self.path("part"))
        self.assert_fails(2, "--output: 'part' is the model's own file", "grid", "part", *GRID, "-o", "part")
        with open(self.path("part"), "rb") as model:
            done = subprocess.run([sfdag_test.SFDAG, "grid", "-", *GRID, "-o", "part"], stdin=model, cwd=self.folder,
                                  stderr=subprocess.PIPE, timeout=60)
        self.assertEqual((done.returncode, self.get("part")), (2, b"+ X Y"))


class Files(SfdagTest):
    def test_forbidden(self):
        """Neither a file nor a folder that may not be used."""
        self.put("secret", b"X")
        os.mkdir(self.path("closed"))
        self.put("kept.npy", b"kept")
        os.chmod(self.path("secret"), 0)
        os.chmod(self.path("kept.npy"), 0o444)
        os.chmod(self.path("closed"), 0o555)
        os.chmod(self.folder, 0o755)
        options = {"preexec_fn": (lambda: os.setuid(65534)) if os.geteuid() == 0 else None}
        try:
            self.succeed("text", "-x", "X", **options)
        except PermissionError:
            self.skipTest("the program is out of reach for others")
        grid = ["grid", "-x", "X", *GRID, "-o"]
        table = [("secret: Permission denied", ["text", "secret"]),
                 ("secret: Permission denied", ["eval", "-x", "X", "--points", "secret"]),
                 ("kept.npy: Permission denied", [*grid, "kept.npy"]),
                 *(("closed/%s: Permission denied" % out, [*verb, *GYROID, "-o", "closed/" + out])
                   for *verb, _, out in OUTPUTS)]
        for pattern, arguments in table:
            done = self.run_tool(*arguments, **options)
            self.assertEqual((done.returncode, own_lines(done.stderr)), (1, ["sfdag: " + pattern]))
        self.assertEqual((self.get("kept.npy"), os.listdir(self.path("closed"))), (b"kept", []))

    def test_full_disk(self):
        """A file system of 64 KiB, in a name space of the process alone."""
        inside = ["unshare", "--mount", "--map-root-user", "sh", "-c"]
        mount = "mount -t tmpfs -o size=64k none '%s' && " % self.folder
        possible = shutil.which("unshare") and subprocess.run([*inside, mount + "true"], stderr=subprocess.DEVNULL)
        if not possible or possible.returncode:
            self.skipTest("no file system may be mounted here")
        runs = "".join("\"$0\" %s -o %s 2>>err; echo $? `cat %s`;" % (shlex.join([*verb, *GYROID]), out, out)
                       for *verb, _, out in OUTPUTS)
        kept = "for file in %s; do echo kept > $file; done;" % " ".join({out for *_, out in OUTPUTS})
        script = mount + "cd '%s' && %s %s ls -A | wc -l; cat err" % (self.folder, kept, runs)
        done = subprocess.run([*inside, script, sfdag_test.SFDAG], stdout=subprocess.PIPE, timeout=100)
        files = len({out for *_, out in OUTPUTS}) + 1
        self.assertEqual(done.stdout.decode().split("\n"),
                         ["1 kept"] * len(OUTPUTS) + [str(files)] +
                         ["sfdag: %s: No space left on device" % out for *_, out in OUTPUTS] + [""])

    def test_nothing_to_show(self):
        """No surface in the box, no value anywhere, no cells, too many of them."""
        beside = ["-e", "sphere(1)", "-b", "5,5,5,6,6,6", "-n", "8"]
        nan = ["-e", "sqrt(-1 - x*x)", "-b", "-1,-1,-1,1,1,1", "-n", "8"]
        for verb in [["mesh", "-o", "a.stl"], ["mesh", "-o", "a.glb"], ["grid", "-o", "a.vdb"], ["measure"]]:
            self.assert_fails(3, "-e: .*no surface.*", *verb, *beside)
            self.assert_fails(3, "-e: .*(no value|no surface).*", *verb, *nan)
            self.assert_fails(2, "--cells: '0' is not .*", *verb, "-e", "sphere(1)", "-n", "0")
            self.assert_fails(4, ".* needs .* of memory, .* is allowed", *verb, *GYROID, "-n", "1000000", "--max-memory", "8")
        self.assert_fails(3, "-e: .*no surface.*", "render", *beside[:4], "-o", "a.png")
        self.assert_fails(3, "-e: .*no value.*", "render", *nan[:4], "-o", "a.png")
        self.assert_fails(3, "-e: .*no value.*", "slice", *nan[:4], "-o", "a.svg")
        self.assert_fails(3, "-e: .*no value.*", "grid", *nan, "-o", "a.npy")
        huge = ["-n", "20000", "--max-memory"]
        for verb, gigabytes in [(["mesh", "-o", "a.obj"], "8"), (["measure"], "8"), (["slice", "-o", "a.png"], "1"),
                                (["curvature"], "1"), (["grid", "-o", "a.vdb"], "15"), (["grid", "-o", "a.vdb"], "8")]:
            self.assert_fails(4, ".* needs? .* of memory, .* is allowed", *verb, *GYROID, *huge, gigabytes)
        for size in (["slice", "-o", "a.svg"], ["render", "-o", "a.png"]):
            self.assert_fails(4, ".* needs .* of memory, .* is allowed", *size, *GYROID, "--max-memory", "0.1",
                              "--size", "20000" if size[0] == "slice" else "16000x16000")
        self.assert_fails(1, "a.npy: No space left on device", "grid", "-x", "X", "--dims",
                  "1000000x10x1000000", "-s", "1", "-o", "a.npy")
        self.assert_fails(3, "-e: voxel: too small a number for a .vdb; .*", "grid", "-e", "sphere(1e-5)", "-o", "a.vdb")
        half = self.run_tool("slice", "-e", "sqrt(x)", "-b", "-1,-1,-1,1,1,1", "-o", "a.png").stderr
        self.assertRegex(half.decode(), "-e: warning: 405000 of 810000 points have no value")

    def test_folder_that_goes_away(self):
        os.mkdir(self.path("folder"))
        model = self.put("slow.sf", SLOW)
        tool = self.start_grid(model, 20, "folder/out.npy", "--strict")
        wait_for(lambda: os.listdir(self.path("folder")))
        shutil.rmtree(self.path("folder"))
        _, stderr = tool.communicate(timeout=60)
        self.assertEqual(own_lines(stderr), ["sfdag: folder/out.npy: No such file or directory"])
        self.assertEqual(tool.returncode, 1)

    def test_little_memory(self):
        """More memory than the process may have, for the grid and for the text."""
        limit = 400 << 20
        options = {"preexec_fn": lambda: resource.setrlimit(resource.RLIMIT_AS, (limit, limit))}
        if self.run_tool("text", "-x", "X", **options).returncode != 0:
            self.skipTest("a sanitizer needs more to begin with")
        grid = ["grid", "--strict", "-x", "X", "--dims", "600", "600", "600", "--voxel", "1", "-o", "out.npy"]
        for arguments, stdin in [(grid, b""), (["text", "-"], b"q " * 10000000 + b"X")]:
            done = self.run_tool(*arguments, stdin=stdin, **options)
            self.assertEqual((done.returncode, own_lines(done.stderr)), (4, ["sfdag: out of memory"]), arguments)
        self.assertEqual(self.contents(), {})


class Streams(SfdagTest):
    def test_standard_output(self):
        """Full, closed, or read by nobody."""
        for verb in VERBS:
            arguments = [*verb, "-x", "- r + + q X q Y q Z f1"]
            with open("/dev/full", "wb") as full:
                self.assert_fails(1, "standard output: No space left on device", *arguments, stdout=full)
            self.assert_fails(1, "standard output: Bad file descriptor", *arguments, preexec_fn=lambda: os.close(1))
            for disposition, status, lines in [(signal.SIG_IGN, 1, ["sfdag: standard output: Broken pipe"]),
                                               (signal.SIG_DFL, -signal.SIGPIPE, [])]:
                reader, writer = os.pipe()
                os.close(reader)
                done = self.run_tool(*arguments, stdout=writer, restore_signals=False,
                                     preexec_fn=lambda: signal.signal(signal.SIGPIPE, disposition))
                os.close(writer)
                self.assertEqual((done.returncode, own_lines(done.stderr)), (status, lines), arguments)

    def test_signals_while_the_standard_output_is_written(self):
        self.check_signal(signal.SIGTERM, "-", ["sfdag: interrupted"])

    def test_signals_while_rendering(self):
        self.put("out.npy", b"kept")
        for stop in [signal.SIGINT, signal.SIGTERM, signal.SIGHUP]:
            self.check_signal(stop, "out.npy", ["sfdag: interrupted, the output is not written"])
        self.check_signal(signal.SIGPIPE, "out.npy", [])
        self.check_signal(signal.SIGTERM, "out.npy", ["sfdag: interrupted, the output is not written"], strict=False)

    def check_signal(self, stop, out, lines, strict=True):
        model = self.put("slow.sf", SLOW)
        before = self.contents()
        tool = self.start_grid(model, 100, out, *["--strict"] * strict,
                               preexec_fn=lambda: signal.signal(stop, signal.SIG_DFL))
        # The rendering has begun when the library announces its tasks, or with the file, and lasts far longer than this.
        if strict:
            self.assertIn(b"virtual cores", tool.stderr.readline())
        else:
            wait_for(lambda: len(os.listdir(self.folder)) > len(before))
        time.sleep(0.2)
        self.assertIsNone(tool.poll(), "the model is not slow enough")
        tool.send_signal(stop)
        begin = time.monotonic()
        stdout, stderr = tool.communicate(timeout=30)
        self.assertLess(time.monotonic() - begin, 1)
        self.assertEqual((tool.returncode, own_lines(stderr), stdout), (130 if stop == signal.SIGINT else -stop, lines, b""))
        self.assertEqual(self.contents(), before)

    def test_interrupts_of_every_verb(self):
        """While the model is read, and in the middle of the work."""
        box = ["-b", "-1,-1,-1,1,1,1", "-n", "200"]
        model = self.put("slow.sf", SLOW)
        points = self.put("points.csv", b"1 2 3\n" * 1000000)
        before = self.contents()
        working = [["grid", *box, "-o", "out.vdb"], ["mesh", *box, "-o", "out.stl"], ["measure", *box], ["bench", *box],
                   ["curvature", *box], ["render", *box[:2], "-o", "out.png"],
                   ["slice", *box[:2], "-n", "3000", "-o", "out.png"], ["eval", "--points", points]]
        for arguments in [[*verb, "-"] for verb in [*VERBS, ["info"]]] + [[*verb, model] for verb in working]:
            tool = subprocess.Popen([sfdag_test.SFDAG, *arguments], cwd=self.folder, stdin=subprocess.PIPE,
                                    stdout=subprocess.PIPE, stderr=subprocess.PIPE)
            time.sleep(0.3)
            self.assertIsNone(tool.poll(), (arguments, "has ended by itself"))
            tool.send_signal(signal.SIGINT)
            begin = time.monotonic()
            status = tool.wait(timeout=30)
            self.assertLess(time.monotonic() - begin, 1, arguments)  # on an idle machine it is well below 0.1
            stdout, stderr = tool.communicate()
            self.assertEqual((status, stdout, len(own_lines(stderr))), (130, b"", 1), (arguments, stderr))
            self.assertEqual(self.contents(), before, arguments)

    def test_signals_that_the_caller_ignores(self):
        model = self.put("slow.sf", SLOW)
        tool = self.start_grid(model, 20, "out.raw", "--strict", restore_signals=False,
                               preexec_fn=lambda: signal.signal(signal.SIGHUP, signal.SIG_IGN))
        tool.stderr.readline()
        tool.send_signal(signal.SIGHUP)
        tool.communicate(timeout=60)
        self.assertEqual((tool.returncode, len(self.get("out.raw"))), (0, 4 * 20 ** 3))


def wait_for(condition):
    deadline = time.monotonic() + 30
    while not condition() and time.monotonic() < deadline:
        time.sleep(0.01)


if __name__ == "__main__":
    sfdag_test.SFDAG = os.path.abspath(sys.argv.pop(1))
    unittest.main()
