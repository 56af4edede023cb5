"""Runs sfdag-mpi: mpi_test.py MPIRUN SFDAG_MPI SFDAG [unittest arguments]."""

import os
import re
import resource
import signal
import subprocess
import sys
import tempfile
import time
import unittest

MPIRUN = SFDAG_MPI = SFDAG = ""
# Root may run these, and more processes than the machine has processors.
ENVIRONMENT = {**os.environ, "OMPI_ALLOW_RUN_AS_ROOT": "1", "OMPI_ALLOW_RUN_AS_ROOT_CONFIRM": "1",
               "OMPI_MCA_rmaps_base_oversubscribe": "1"}

GEAR = ["-e", "gear(2, 17, 8)"]
# Nearly all of the work is in the lowest quarter.
LATTICE = ["-e", "union(intersection(rotate(gyroid(1.5, 0.25), [1, 2, 3], 0.7), translate(box([20, 20, 5]), [0, 0, -7.5])), "
           "cylinder(1, 20))"]
HOLED = ["-e", "difference(box([9, 7, 5]), cylinder(2, 9))", "--units", "mm"]
NAN = ["-x", "+ l X * f0 Y", "-b", "-1,-1,-1,1,1,1"]


def wait_for(condition):
    deadline = time.monotonic() + 60
    while not condition():
        if time.monotonic() > deadline:
            raise TimeoutError
        time.sleep(0.01)


class MpiTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = folder.name

    def start(self, ranks, *arguments, flags=("-q",), **options):
        command = [MPIRUN, *flags, "-n", str(ranks), SFDAG_MPI, *arguments]
        return subprocess.Popen(command, cwd=self.folder, env=ENVIRONMENT, stdin=subprocess.DEVNULL,
                                stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, **options)

    def over(self, ranks, *arguments, **options):
        process = self.start(ranks, *arguments, **options)
        out, error = process.communicate(timeout=120)
        return process.returncode, out, error

    def alone(self, *arguments):
        done = subprocess.run([SFDAG, *arguments], cwd=self.folder, capture_output=True, text=True, check=True)
        return done.stdout, done.stderr

    def get(self, name):
        with open(os.path.join(self.folder, name), "rb") as file:
            return file.read()


class SameAsAlone(MpiTest):
    def check(self, verb, ranks, extension, *arguments):
        _, notes = self.alone(verb, *arguments, "-o", "alone" + extension)
        status, out, error = self.over(ranks, verb, *arguments, "-o", "over" + extension)
        self.assertEqual((status, out, error), (0, "", notes), arguments)
        self.assertTrue(self.get("alone" + extension) == self.get("over" + extension), (ranks, extension, arguments))

    def test_grid(self):
        for ranks, model, extension, *more in (
            (1, GEAR, ".raw"),
            (2, LATTICE, ".npy"),
            (3, HOLED, ".vti"),
            (4, LATTICE, ".nrrd", "--band", "2"),
            (7, NAN, ".raw"),  # the warning counts the points of all ranks
        ):
            self.check("grid", ranks, extension, *model, "-n", "40", *more)

    def test_mesh(self):
        # The second one has several slabs, and is cut open by the box.
        for ranks, extension, *more in (
            (1, ".stl", *LATTICE, "-n", "60"),
            (3, ".ply", "-e", "sphere(1)", "-n", "700", "-b", "-1,-1,-1,1,1,-0.5", "--no-cap"),
            (4, ".stl", *HOLED, "-n", "100"),
        ):
            self.check("mesh", ranks, extension, *more)

    def test_measure(self):
        told, _ = self.alone("measure", *HOLED, "-n", "50", "--json")
        self.assertEqual(self.over(3, "measure", *HOLED, "-n", "50", "--json"), (0, told, ""))


class Failures(MpiTest):
    def test_one_line_and_no_file(self):
        table = [
            (2, ["grid", *GEAR, "-o", "-"], "--output: '-' is no regular file, .*"),
            (1, ["grid", "none.sfm", "-o", "a.raw"], "none.sfm: No such file or directory"),
            (1, ["grid", *GEAR, "-o", "none/a.raw"], "none/a.raw: No such file or directory"),
            (3, ["grid", "-x", "l - X f9", "-b", "-1,-1,-1,1,1,1", "-o", "a.raw"], ".* no value at any point .*"),
        ]
        for status, arguments, line in table:
            code, out, error = self.over(3, *arguments)
            self.assertEqual((code, out), (status, ""), error)
            self.assertRegex(error, "^sfdag-mpi: " + line + "\n$")
            self.assertEqual(os.listdir(self.folder), [])

    def test_no_room(self):
        # What a full disk does, for one process: files must not grow beyond a limit.
        limit = lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (1 << 27, 1 << 27))
        status, _, error = self.over(3, "grid", *LATTICE, "-n", "400", "-o", "a.raw", preexec_fn=limit)
        self.assertEqual((status, error), (1, "sfdag-mpi: a.raw: File too large\n"))
        self.assertEqual(os.listdir(self.folder), [])

    def end_at_work(self, end, *flags):
        """Ends a job while it works, and gives what was said: nothing is left of it."""
        job = self.start(3, "grid", *LATTICE, "-n", "1500", "-o", "a.raw", flags=flags)
        self.addCleanup(job.kill)
        wait_for(lambda: any(name.startswith(".sf-") for name in os.listdir(self.folder)))
        listing = subprocess.run(["ps", "-o", "pid=", "--ppid", str(job.pid)], capture_output=True, text=True)
        processes = [int(line) for line in listing.stdout.split()]
        self.assertEqual(len(processes), 3)
        end(job, processes)
        _, error = job.communicate(timeout=60)
        self.assertNotEqual(job.returncode, 0)
        wait_for(lambda: not any(os.path.exists(f"/proc/{process}") for process in processes))
        self.assertEqual(os.listdir(self.folder), [])
        return error

    def test_interrupted(self):
        line = "sfdag-mpi: interrupted, the output is not written\n"
        error = self.end_at_work(lambda job, _: job.send_signal(signal.SIGINT), "-q")
        self.assertEqual(error, line)
        for victim in (0, 2):
            error = self.end_at_work(lambda _, processes: os.kill(processes[victim], signal.SIGKILL))
            self.assertRegex(error, "exited on signal 9")  # mpirun's own line; it may have no ear for another one
            self.assertIn(re.findall("sfdag-mpi: .*\n", error), ([], [line]))


class Balance(MpiTest):
    def test_uneven_parts(self):
        for verb, cells, out in (("grid", "600", "a.raw"), ("mesh", "400", "a.stl")):
            for attempts in (2, 1, 0):
                status, _, notes = self.over(4, verb, *LATTICE, "-n", cells, "-o", out, "-j", "1", "-v")
                self.assertEqual(status, 0, notes)
                above = re.search(r"in 4 processes, the slowest one ([\d.]+) % above the mean", notes)
                # Processes that other work keeps from the processors draw less than their part.
                if attempts == 0 or float(above[1]) < 15.0:
                    break
            self.assertLess(float(above[1]), 15.0, notes)


if __name__ == "__main__":
    MPIRUN, SFDAG_MPI, SFDAG = map(os.path.abspath, sys.argv[1:4])
    del sys.argv[1:4]
    unittest.main()
