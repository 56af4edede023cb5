"""Interrupts sfdag grid --resume: sfdag_resume_test.py SFDAG [unittest arguments]."""

import os
import signal
import subprocess
import sys
import tempfile
import time
import unittest

SFDAG = ""
MODEL = ["-e", "intersection(rotate(gyroid(0.7, 0.08), [1, 2, 3], 0.7), sphere(10))"]


class Resume(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = folder.name

    def start(self, *arguments):
        return subprocess.Popen([SFDAG, "grid", *arguments], cwd=self.folder, stderr=subprocess.PIPE, text=True)

    def run_tool(self, *arguments):
        process = self.start(*arguments)
        _, error = process.communicate(timeout=200)
        return process.returncode, error

    def size(self, name):
        path = os.path.join(self.folder, name)
        return os.path.getsize(path) if os.path.exists(path) else 0

    def wait_for_slabs(self, process, journal):
        """Waits until a run has written of slabs, which it does once a second: pauses let a fast run reach that."""
        least = self.size(journal)
        until = time.monotonic() + 0.1
        while process.poll() is None:
            size = self.size(journal)
            if least and size > least:
                return
            least = least or size  # of the header
            if time.monotonic() > until:
                process.send_signal(signal.SIGSTOP)
                time.sleep(1.1)
                process.send_signal(signal.SIGCONT)
                until = time.monotonic() + 0.1
            time.sleep(0.002)

    def interrupt(self, by, out, *arguments):
        """Ends a run as soon as its journal has grown; one that was faster is run again."""
        for _ in range(5):
            process = self.start(*arguments, "-o", out, "--resume")
            self.wait_for_slabs(process, out + ".journal")
            process.send_signal(by)
            _, error = process.communicate()
            if process.returncode != 0:
                return error
            os.remove(os.path.join(self.folder, out))
        self.fail("the runs were too short")

    def get(self, name):
        with open(os.path.join(self.folder, name), "rb") as file:
            return file.read()

    def test_goes_on(self):
        for extension, *more in ((".vti", "-j", "1"), (".vdb", "-j", "1", "--band", "2")):
            grid = [*MODEL, "-n", "400", *more]
            self.assertEqual(self.run_tool(*grid, "-o", "whole" + extension), (0, ""))
            out = "part" + extension
            error = self.interrupt(signal.SIGINT, out, *grid)
            self.assertEqual(error, "sfdag: interrupted; the same command goes on from here\n")
            self.interrupt(signal.SIGKILL, out, *grid)
            with open(os.path.join(self.folder, out + ".journal"), "ab") as journal:
                journal.write(b"a record that was cut off")
            status, error = self.run_tool(*MODEL, "-n", "399", *more, "-o", out, "--resume")
            self.assertEqual((status, error[:40]), (1, f"sfdag: {out}.journal: is of a run that differs in its points"[:40]))
            self.assertEqual(self.run_tool(*grid, "-o", out, "--resume"), (0, ""))
            self.assertTrue(self.get(out) == self.get("whole" + extension), extension)
            self.assertFalse([name for name in os.listdir(self.folder) if "journal" in name or "partial" in name])


if __name__ == "__main__":
    SFDAG = os.path.abspath(sys.argv[1])
    del sys.argv[1]
    unittest.main()
