"""A wheel is built without network, installed into a fresh environment, and used from there."""

import os
import subprocess
import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]


def run(*command, **options):
    done = subprocess.run(list(map(str, command)), capture_output=True, text=True, check=False, **options)
    assert done.returncode == 0, done.stdout + done.stderr
    return done.stdout


def test_a_wheel_works_in_a_fresh_environment(tmp_path):
    # In a copy of the folder, as setuptools leaves its traces; the sources stay where CMake finds them.
    folder = tmp_path / "python"
    run("cp", "-r", ROOT / "python", folder)
    for name in os.listdir(ROOT):
        if name not in ("python", "build"):
            (tmp_path / name).symlink_to(ROOT / name)
    run(sys.executable, "-m", "venv", "--system-site-packages", tmp_path / "env")
    python = tmp_path / "env" / "bin" / "python"
    environment = {name: value for name, value in os.environ.items() if name != "PYTHONPATH"}
    run(python, "-m", "pip", "install", "--no-build-isolation", "--no-index", folder, env=environment)
    place = run(python, "-c", "import sf; print(sf.__file__)", cwd=tmp_path / "env", env=environment)
    assert str(tmp_path / "env") in place
    package = Path(place.strip()).parent
    assert (package / "py.typed").exists() and (package / "_core.pyi").exists()
    linked = run("ldd", next(package.glob("_core*.so")))
    places = [line for line in linked.splitlines() if "libSF" in line]
    assert places and all(f"=> {package}/" in line for line in places)
    run(python, ROOT / "tests" / "check_documents.py", "python", "README.md", "docs/python.md", env=environment)
