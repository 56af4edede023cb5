"""Pictures and volumes."""

import numpy as np
import pytest

import sf

PLATE = sf.box((8, 6, 2)).difference(sf.cylinder(1, 4))


def test_pictures_show_the_part(tmp_path):
    white = {"background": (1, 1, 1), "ground": False, "samples": 1}
    picture = PLATE.picture(size=(64, 48), view="top", **white)
    assert isinstance(picture, sf.Picture) and np.asarray(picture).dtype == np.uint8
    shown = np.any(picture.pixels != 255, axis=2)
    assert shown[24, 8:20].all() and not shown[24, 30:34].any() and not shown[0].any()  # the hole is in the middle
    cut = PLATE.picture(size=(64, 48), view="top", cuts=[((1, 0, 0), 0)], **white)
    assert 0.4 < np.any(cut.pixels != 255, axis=2).sum() / shown.sum() < 0.6
    eye = PLATE.picture(size=(64, 48), eye=((0, 0, 40), (0, 0, 0)), field_of_view=0.5, transparent=True, mode="normals")
    assert eye.pixels.shape == (48, 64, 4) and set(np.unique(eye.pixels[..., 3])) >= {0, 255}
    picture.save(tmp_path / "part.png")
    assert (tmp_path / "part.png").read_bytes() == picture._repr_png_() and picture._repr_png_()[:4] == b"\x89PNG"
    assert PLATE._repr_png_()[:4] == b"\x89PNG" and sf.axes()[0]._repr_png_() is None


@pytest.mark.parametrize("ending", ["vdb", "vti", "nrrd", "npy", "raw"])
def test_volumes_are_saved(tmp_path, ending):
    grid = PLATE.grid(voxel=0.5)
    path = tmp_path / f"part.{ending}"
    grid.save(path, unit="cm")
    assert [item.name for item in tmp_path.iterdir()] == [path.name]
    if ending == "npy":
        np.testing.assert_array_equal(np.load(path), grid)
    elif ending == "raw":
        np.testing.assert_array_equal(np.fromfile(path, "<f4"), np.ravel(grid))
    elif ending == "nrrd":
        assert b"sizes: 17 13 5\n" in path.read_bytes()


def test_refusals(tmp_path):
    for error, name, call in (
        (ValueError, "view", lambda: PLATE.picture(view="inside")),
        (ValueError, "bounds", lambda: sf.axes()[0].picture()),
        (ValueError, "path", lambda: PLATE.picture(size=(8, 8)).save(tmp_path / "part.jpg")),
        (ValueError, ".vdb", lambda: PLATE.grid(voxel=1).save(tmp_path / "part.doc")),
        (ValueError, "pixels", lambda: sf.Picture(np.zeros((4, 4)))),
        (OSError, "nowhere", lambda: PLATE.grid(voxel=1).save(tmp_path / "nowhere" / "part.npy")),
    ):
        with pytest.raises(error, match=name):
            call()
    assert not list(tmp_path.iterdir())
