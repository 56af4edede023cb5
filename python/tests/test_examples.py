"""The scripts of examples/python make their parts, coarsely."""

import runpy
from pathlib import Path

import pytest

SCRIPTS = sorted((Path(__file__).parents[2] / "examples" / "python").glob("*.py"))
# What they print, as far as it is known.
FACTS = {
    "gear_pair": ["the gap is 0.100 to 0.101 mm", "18.0 cm3"],  # the same at every angle: the flanks are involutes
    "heat_exchanger": ["channels: 0.9", "2 separate bodies of fluid"],  # the wall keeps them apart
    "lattice_implant": ["3960 struts, 77 % open"],
    "phone_stand": ["65.2 cm3", "77.0 cm3"],
    "text_plate": ["3099 nodes, 288 strokes, 1 part"],
}


@pytest.mark.parametrize("script", SCRIPTS, ids=lambda script: script.stem)
def test_examples_run(script, tmp_path, capsys):
    runpy.run_path(str(script))["main"](tmp_path, 1.5, 32)
    made = sorted(path.suffix for path in tmp_path.iterdir())
    assert len(made) == 2 and ".png" in made and made != [".png", ".png"]
    printed = capsys.readouterr().out
    assert [fact for fact in FACTS[script.stem] if fact not in printed] == []
