"""The scripts of examples/python make their parts, coarsely."""

import runpy
from pathlib import Path

import pytest

SCRIPTS = sorted((Path(__file__).parents[2] / "examples" / "python").glob("*.py"))


@pytest.mark.parametrize("script", SCRIPTS, ids=lambda script: script.stem)
def test_examples_run(script, tmp_path, capsys):
    runpy.run_path(str(script))["main"](tmp_path, 1.5, 32)
    made = sorted(path.suffix for path in tmp_path.iterdir())
    assert len(made) == 2 and ".png" in made and made != [".png", ".png"]
    printed = capsys.readouterr().out
    assert "cm3" in printed or "% open" in printed
    if script.stem == "heat_exchanger":
        assert "channels: 0.9" in printed  # the wall that keeps the two apart
