"""Texts and files, and what the package says of itself: examples of the docstrings, stubs."""

import doctest
import importlib
import inspect
import os
import subprocess
import sys
from pathlib import Path

import numpy as np
import pytest

import sf

PACKAGE = Path(sf.__file__).parent
MODULES = ["sf", *(f"sf.{path.stem}" for path in sorted(PACKAGE.glob("_[a-z]*.py")))]


@pytest.mark.parametrize("name", MODULES)
def test_examples_of_docstrings(name):
    result = doctest.testmod(importlib.import_module(name), extraglobs={"sf": sf, "np": np})
    assert result.failed == 0


def test_texts_read_back():
    part = sf.smooth_union([sf.box((1, 2, 3)), sf.sphere(sf.parameter("r", 1))], radius=0.3).twist(0.1)
    assert sf.from_expression(part.to_expression()) == part
    assert sf.from_listing(part.to_listing()) == part
    points = np.random.default_rng(3).uniform(-2, 2, (100, 3))
    np.testing.assert_array_equal(sf.formula(part.to_formula())(points), part(points))
    assert sf.formula("param a = 2\nsphere(a)", {"a": 3})(0, 0, 0) == -3
    assert part.to_graphviz().startswith("strict digraph")


def test_references_read_back_while_the_function_lives():
    function = sf.resource(lambda points: points[:, 0], bounds=((0, 0, 0), (1, 1, 1)), distance=True)
    whole, placed = function | sf.sphere(1), function.twist(1)
    for field, read, text in (
        (whole, sf.from_expression, whole.to_expression()),
        (placed, sf.from_listing, placed.to_listing()),
        (placed, sf.formula, placed.to_formula()),
    ):
        again = read(text)
        assert again == field and again(1, 2, 3) == field(1, 2, 3)
    with pytest.raises(ValueError, match="reference"):
        sf.from_expression("#sf-" + 32 * "0")


def test_strict_reading_is_by_the_letter():
    text = "+ m[1;0;0;1;0;1;0;0;0;0;1;0;0;0;0;1] X m[1;0;0;2;0;1;0;0;0;0;1;0;0;0;0;1] X $"
    assert sf.from_expression(text)(0, 0, 0) == -3
    strict = sf.from_expression(text, strict=True)
    assert strict(0, 0, 0) == -2  # the second transform is taken for the first
    assert strict.gradient(0, 0, 0).tolist() == [2, 0, 0]


def test_problems_have_places():
    found = sf.check("+ X ü Y\n$", strict=False)
    assert all(isinstance(problem, sf.Problem) for problem in found)
    assert [(problem.position, problem.length, problem.line, problem.column) for problem in found] == [(4, 1, 1, 5)]
    assert sf.check("+ X Y $") == [] and sf.check("param a = 1\nbox([a, 2, 3])", "formula") == []
    assert sf.check("_0 var-x\n_1 nothing _0", "listing")[0].line == 2
    with pytest.raises(sf.TextError) as caught:
        sf.formula("ü = 1\nsphere(2")
    assert (caught.value.line, str(caught.value)[:6]) == (1, "line 1")
    for wrong in (lambda: sf.check("X", "prose"), lambda: sf.from_expression("")):
        with pytest.raises(ValueError):
            wrong()
    with pytest.raises(TypeError, match="text"):
        sf.from_expression(b"X")


def test_files(tmp_path):
    part = sf.sphere(2) | sf.box((1, 2, 3))
    for name in ("part.sf", "part.sfm", "part.vm"):
        sf.save(part, tmp_path / name)
        assert sf.load(str(tmp_path / name))(1, 1, 1) == part(1, 1, 1)
    assert sorted(os.listdir(tmp_path)) == ["part.sf", "part.sfm", "part.vm"]
    with pytest.raises(ValueError, match="strict"):
        sf.load(tmp_path / "part.vm", strict=True)
    with pytest.raises(OSError):
        sf.save(part, tmp_path / "nowhere" / "part.sf")


def test_the_stub_has_what_the_module_has():
    core = importlib.import_module("sf._core")
    stub = (PACKAGE / "_core.pyi").read_text(encoding="utf-8")
    declared = {line.split("(")[0][4:] for line in stub.splitlines() if line.startswith("def ")}
    assert declared == {name for name, value in inspect.getmembers(core, inspect.isroutine) if not name.startswith("_")}


def test_types(tmp_path):
    user = tmp_path / "user.py"
    user.write_text(
        "import numpy as np, sf\n"
        "x, y, z = sf.axes()\n"
        "part: sf.Field = 2 * sf.sphere(1) | (np.float64(1.0) - x) & ~y\n"
        "reveal_type(part.gradient([[0, 0, 0]]))\n"
        "part.translate('up')\n"
    )
    mypy = [sys.executable, "-m", "mypy", "--cache-dir", str(tmp_path / "cache")]
    # What finds faults in C++ is not for mypy.
    environment = {name: value for name, value in os.environ.items() if name not in ("LD_PRELOAD", "PYTHONMALLOC")}
    environment["MYPYPATH"] = str(PACKAGE.parent)
    command = [*mypy, "--strict", str(PACKAGE.resolve())]
    strict = subprocess.run(command, capture_output=True, text=True, env=environment, check=False)
    assert strict.returncode == 0, strict.stdout
    run = subprocess.run([*mypy, str(user)], capture_output=True, text=True, env=environment, check=False)
    assert 'numpy.ndarray[Any, numpy.dtype[numpy.floating[numpy._typing._64Bit]]]' in run.stdout, run.stdout
    assert "user.py:5: error" in run.stdout and run.stdout.count("error:") == 1, run.stdout
