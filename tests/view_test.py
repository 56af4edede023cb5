"""Talks to the server of the page as browsers, other sites and hostile clients do: view_test.py SFDAG [unittest arguments]."""

import json
import os
import re
import shlex
import signal
import socket
import struct
import subprocess
import sys
import tempfile
import time
import unittest
from pathlib import Path

# A shell ignores it in what it starts in the background, and so would the servers that are started here.
signal.signal(signal.SIGINT, signal.default_int_handler)

SFDAG = ""
ROOT = Path(__file__).resolve().parent.parent

PLATE = "param bore = 2 (1 .. 3)\ndifference(box([8, 6, 2]), cylinder(radius = bore, height = 4))\n"


class View:
    """A running server on a free port."""

    def __init__(self, *arguments, **options):
        self.process = subprocess.Popen([SFDAG, "view", "--json", *arguments], stdout=subprocess.PIPE,
                                        stderr=subprocess.PIPE, text=True, **options)
        lines = []
        while not lines or lines[-1] not in ("}\n", ""):
            lines.append(self.process.stdout.readline())
            if lines[-1].startswith("{") and lines[-1].endswith("}\n"):
                break
        self.port = json.loads("".join(lines))["port"]
        self.host = f"127.0.0.1:{self.port}"

    def end(self):
        self.process.send_signal(signal.SIGINT)
        return self.process.wait(10), self.process.communicate()[1]

    def connect(self):
        return socket.create_connection(("127.0.0.1", self.port), 20)

    def raw(self, request):
        """The status of the answer, and its body."""
        with self.connect() as connection:
            try:
                connection.sendall(request)
            except OSError:  # cut off half way
                pass
            answer = b""
            try:
                while part := connection.recv(1 << 20):
                    answer += part
            except OSError:
                pass
        head, _, body = answer.partition(b"\r\n\r\n")
        status = re.match(rb"HTTP/1\.1 (\d+)", head)
        return int(status[1]) if status else None, body

    def ask(self, method, path, body=b"", **headers):
        lines = {"Host": self.host, **{name.replace("_", "-"): value for name, value in headers.items()}}
        if method == "POST":
            lines = {"Content-Type": "application/json", "Content-Length": str(len(body)), **lines}
        head = "".join(f"{name}: {value}\r\n" for name, value in lines.items() if value is not None)
        return self.raw(f"{method} {path} HTTP/1.1\r\n{head}\r\n".encode() + body)

    def post(self, path, **query):
        return self.ask("POST", path, json.dumps({"page": "test", **query}).encode())


class ViewTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.file = os.path.join(folder.name, "plate.sfm")
        self.put(PLATE)

    def put(self, text, path=None):
        with open(path or self.file, "w") as file:
            file.write(text)

    def view(self, *arguments, **options):
        view = View(*(arguments or (self.file,)), **options)
        self.addCleanup(view.process.communicate)
        self.addCleanup(view.process.kill)
        return view

    def head_of(self, answer):
        status, body = answer
        self.assertEqual(status, 200, body[:200])
        (length,) = struct.unpack_from("<I", body)
        head = json.loads(body[4:4 + length])
        size = 4 + length + 24 * head["vertices"] + 12 * head["triangles"] + (4 * head["vertices"] if head["curvature"] else 0)
        self.assertEqual(len(body), size)
        corners = struct.unpack_from(f"<{3 * head['triangles']}I", body, 4 + length + 24 * head["vertices"])
        self.assertLess(max(corners), head["vertices"])
        return head

    def volume(self, view, **query):
        return self.head_of(view.post("/mesh", cells=24, measured=True, **query))["measures"]["volume"]

    def problem_of(self, answer):
        self.assertEqual(answer[0], 422)
        return json.loads(answer[1])["problems"][0]

    def test_meshes_follow_values_and_texts(self):
        view = self.view()
        plate = 8 * 6 * 2
        self.assertAlmostEqual(self.volume(view), plate - 2 * 3.1416 * 4, delta=0.5)
        self.assertAlmostEqual(self.volume(view, values={"bore": 1, "other": 5}), plate - 2 * 3.1416, delta=0.5)
        self.assertAlmostEqual(self.volume(view, text="box([1, 2, 3])"), 6, delta=0.01)
        head = self.head_of(view.post("/mesh", cells=24, curvature=True))
        self.assertEqual(head["parameters"], [{"name": "bore", "value": 2, "low": 1, "high": 3}])
        longer = json.loads(view.post("/measure", cells=32)[1])
        self.assertAlmostEqual(longer["wall"]["value"], 1, delta=0.1)

    def test_problems_have_their_place(self):
        view = self.view()
        for text, place in [("sphere(1) +", 11), ("# ü\nbox([1, 2, huge])", 16)]:
            self.assertEqual(self.problem_of(view.post("/mesh", text=text))["offset"], place, text)
        for text in ["x", "1", "sphere(-1)", "resource(\"#a\")"]:  # unbounded, empty, refused
            self.assertIn("sentence", self.problem_of(view.post("/mesh", text=text)))
        listing = self.view("-x", "- + X 3 Y f0.5", "--bounds", "-1", "-1", "-1", "1", "1", "1")
        self.assertEqual(self.head_of(listing.post("/mesh", cells=8))["problems"][0]["severity"], "warning")

    def test_follows_the_file(self):
        view = self.view(self.file, "--watch")
        version = json.loads(view.ask("GET", "/version")[1])["version"]
        self.put("box([1, 1, 1])")
        self.assertNotEqual(json.loads(view.ask("GET", "/version")[1])["version"], version)
        self.assertAlmostEqual(self.volume(view), 1, delta=0.01)
        os.remove(self.file)
        self.assertEqual(json.loads(view.ask("GET", "/model")[1])["text"], "box([1, 1, 1])")
        fixed = self.view("-e", "sphere(2)", "--set", "r=1")
        self.assertEqual(json.loads(fixed.ask("GET", "/model")[1])["values"], {"r": 1})

    def test_scripts_print_formulae(self):
        script = os.path.join(os.path.dirname(self.file), "part.py")
        self.put("import sys\nsize = 2\nprint(f'box([{size}, 1, 1])')\n", script)
        view = self.view(script, "--watch")
        self.assertAlmostEqual(self.volume(view, text="sphere(9)"), 2, delta=0.01)  # a page gives no programs
        self.put("size = 3\nprint(siz)\n", script)
        problem = self.problem_of(view.post("/mesh"))
        self.assertEqual(problem["offset"], len("size = 3\n"))
        self.assertIn("NameError", problem["sentence"])

    def test_scripts_of_fields(self):
        """A script with the Python package, where that is: what it prints keeps its parameters."""
        package = {**os.environ, "PATH": f"/usr/bin{os.pathsep}{os.environ['PATH']}"}
        if subprocess.run(["/usr/bin/python3", "-c", "import sf"], env=package, capture_output=True).returncode != 0:
            self.skipTest("no Python package")
        script = os.path.join(os.path.dirname(self.file), "part.py")
        self.put("import sf\nprint(sf.sphere(sf.parameter('r', 2, 1, 5)).to_formula())\n", script)
        view = self.view(script, "--watch", env=package)
        head = self.head_of(view.post("/mesh", cells=24))
        self.assertEqual(head["parameters"], [{"name": "r", "value": 2, "low": 1, "high": 5}])
        self.assertAlmostEqual(self.volume(view, values={"r": 3}), 4.1888 * 27, delta=1)
        self.put("import sf\npart = sf.box((1, 2, 3))\nprint(part.offset(1, 2, 3).to_formula())\n", script)
        problem = self.problem_of(view.post("/mesh"))
        self.assertIn("TypeError", problem["sentence"])
        self.assertEqual(problem["offset"], len("import sf\npart = sf.box((1, 2, 3))\n"))

    def test_guide(self):
        """What the guide shows can be opened."""
        folder = os.path.dirname(self.file)
        self.put(PLATE, os.path.join(folder, "part.sfm"))
        os.symlink(ROOT / "examples", os.path.join(folder, "examples"))
        guide = (ROOT / "docs" / "view.md").read_text()
        script, _ = re.findall(r"^```python\n(.*?)^```", guide, re.MULTILINE | re.DOTALL)
        self.put(script, os.path.join(folder, "part.py"))
        commands = re.findall(r"^sfdag view (.*)$", guide, re.MULTILINE)
        self.assertEqual(len(commands), 3)
        for command in [*commands, "part.py"]:
            self.assertGreater(self.volume(self.view(*shlex.split(command, comments=True), cwd=folder)), 0, command)

    def test_refuses_other_sites(self):
        view = self.view()
        ours = f"http://{view.host}"
        for status, headers in [
            (200, {}), (200, {"Host": f"localhost:{view.port}"}), (200, {"Origin": ours}),
            (403, {"Host": "evil.example"}), (403, {"Host": f"evil.example:{view.port}"}), (403, {"Host": "127.0.0.1"}),
            (403, {"Host": None}), (403, {"Host": f"{view.host}\r\nHost: {view.host}"}),
            (403, {"Origin": "http://evil.example"}), (403, {"Origin": "null"}), (403, {"Origin": ours + ".evil.example"}),
            (403, {"Origin": "http://127.0.0.1:1"}), (403, {"Origin": f"https://{view.host}"}),
            (403, {"Sec_Fetch_Site": "cross-site"}), (403, {"Sec_Fetch_Site": "same-site"}),
            (200, {"Sec_Fetch_Site": "same-origin"}),
        ]:
            self.assertEqual(view.ask("GET", "/model", **headers)[0], status, headers)
            self.assertEqual(view.ask("POST", "/mesh", b'{"page":"a","cells":8}', **headers)[0], status, headers)
        opened = {"Sec_Fetch_Site": "cross-site", "Sec_Fetch_Mode": "navigate"}
        self.assertEqual([view.ask("GET", path, **opened)[0] for path in ("/", "/model")], [200, 403])
        with self.assertRaises(OSError):  # not on other interfaces
            socket.create_connection((socket.gethostbyname(socket.gethostname()), view.port), 2).close()
            if socket.gethostbyname(socket.gethostname()).startswith("127.0.0.1"):
                raise OSError

    def test_serves_its_own_files_only(self):
        view = self.view()
        for path in ["/", "/index.html", "/app.js", "/three/build/three.module.js"]:
            self.assertEqual(view.ask("GET", path)[0], 200, path)
        for path in ["/../../../../etc/passwd", "/%2e%2e/%2e%2e/etc/passwd", "/three/../../../sfdag", "//etc/passwd",
                     "/app.js/", "/app.js%00", "/plate.sfm", self.file, "/three", "/..%5c..%5cetc"]:
            self.assertEqual(view.ask("GET", path)[0], 404, path)

    def test_refuses_what_is_too_large_or_odd(self):
        view = self.view()
        large = b'{"page":"a","text":"' + b"#" * (17 << 20) + b'"}'
        self.assertIn(view.ask("POST", "/mesh", large)[0], (413, None))
        self.assertIn(view.ask("POST", "/mesh", large, Content_Length=None, Transfer_Encoding="chunked")[0], (415, None))
        self.assertEqual(view.ask("POST", "/mesh", b"x", Content_Encoding="gzip")[0], 415)
        self.assertEqual(view.ask("POST", "/mesh", b"{}", Content_Type="text/plain")[0], 415)
        self.assertIn(view.raw(b"GET / HTTP/1.1\r\n" + b"A: b\r\n" * (4 << 20))[0], (400, 403, None))
        self.assertIn(view.ask("GET", "/" + "a" * 100000)[0], (404, 414, None))
        for body in [b"", b"[]", b"{}", b'{"page":1}', b"\xff\x00", b"[" * 1000000, b'{"page":"a","values":{"bore":"x"}}',
                     b'{"page":"a","cells":"x"}']:
            self.assertEqual(view.ask("POST", "/mesh", body)[0], 400, body[:20])
        self.assertEqual(self.head_of(view.post("/mesh", cells=-5, text="sphere(1)"))["cells"], 4)
        self.assertEqual(self.problem_of(view.post("/mesh", text="(" * 1000000))["severity"], "error")
        self.assertEqual(view.ask("DELETE", "/model")[0], 404)
        self.assertEqual(view.ask("GET", "/model")[0], 200)

    def test_slow_clients_are_cut_off(self):
        view = self.view()
        slow = [view.connect() for _ in range(40)]  # more than there are threads
        for connection in slow:
            self.addCleanup(connection.close)
            connection.sendall(b"GET / HT")
        cut = set()
        begin = time.monotonic()
        while len(cut) < 20:
            self.assertLess(time.monotonic() - begin, 30)
            for connection in slow:
                try:
                    connection.sendall(b"T")  # a byte now and then does not help
                except OSError:
                    cut.add(connection)
            time.sleep(0.2)
        self.assertEqual(view.ask("GET", "/version")[0], 200)

    def test_newer_work_ends_older_work(self):
        view = self.view("-e", "intersection(gyroid(0.5, 0.1), box([20, 20, 20]))")
        body = json.dumps({"page": "test", "cells": 384}).encode()
        with view.connect() as older:
            older.sendall((f"POST /mesh HTTP/1.1\r\nHost: {view.host}\r\nContent-Type: application/json\r\n"
                           f"Content-Length: {len(body)}\r\n\r\n").encode() + body)
            time.sleep(0.5)
            self.head_of(view.post("/mesh", cells=16, text="sphere(1)"))
            self.assertEqual(older.recv(12), b"HTTP/1.1 409")

    def test_ends(self):
        view = self.view()
        self.assertEqual(view.end(), (130, "sfdag: interrupted\n"))
        with self.assertRaises(OSError):
            view.connect()
        busy = socket.create_server(("127.0.0.1", 0))
        self.addCleanup(busy.close)
        for status, arguments in [(1, ["nothing.sfm"]), (2, [self.file, "--strict"]), (2, []),
                                  (1, [self.file, "--port", str(busy.getsockname()[1])])]:
            done = subprocess.run([SFDAG, "view", *arguments], capture_output=True, timeout=30)
            self.assertEqual(done.returncode, status, done)
            self.assertEqual(done.stderr.count(b"\n"), 1, done)


if __name__ == "__main__":
    SFDAG = os.path.abspath(sys.argv.pop(1))
    unittest.main()
