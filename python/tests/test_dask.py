"""Grids, meshes and measures in pieces, on this machine's processors and on a cluster of which a worker is killed."""

import doctest
import importlib
import os
import pickle
import signal
import sys
import time

import numpy as np
import pytest

import sf

try:
    import dask
except ImportError:
    dask = None

needs_dask = pytest.mark.skipif(dask is None, reason="needs the Debian package python3-dask")
PLATE = sf.box((8, 6, 2)).difference(sf.cylinder(1, 4)).rotate((1, 2, 3), 0.4)
CUT = ((-3, -4, -2), (3.1, 2, 4))


def test_without_dask_the_package_is_named(monkeypatch):
    monkeypatch.setitem(sys.modules, "dask", None)
    monkeypatch.delitem(sys.modules, "sf.dask", raising=False)
    monkeypatch.delitem(vars(sf), "dask", raising=False)
    for call in (lambda: importlib.import_module("sf.dask"), lambda: sf.dask, lambda: PLATE.dask_array(voxel=1)):
        with pytest.raises(ImportError, match="python3-dask"):
            call()


@needs_dask
def test_examples_of_docstrings():
    assert doctest.testmod(sf.dask, extraglobs={"sf": sf}).failed == 0


@needs_dask
@pytest.mark.parametrize("chunks", ["auto", 7, (3, -1, -1), ((10, 4, -1), 9, 5), (-1, 20, -1)])
def test_arrays_have_the_bits_of_grids(chunks):
    for field, bounds in ((PLATE, None), (sf.gyroid(2, 0.3), CUT)):
        grid = np.asarray(field.grid(0.25, bounds))
        if isinstance(chunks, tuple) and isinstance(chunks[0], tuple):
            chunks = ((10, 4, grid.shape[0] - 14), *chunks[1:])
        values = field.dask_array(bounds, 0.25, chunks)
        assert values.shape == grid.shape and values.dtype == np.float32
        assert values.chunks == dask.array.core.normalize_chunks(
            (chunks, -1, -1) if chunks == "auto" else chunks, grid.shape, dtype=np.dtype(np.float32))
        np.testing.assert_array_equal(values.compute(), grid)
        np.testing.assert_array_equal(values[3:9, ::2, 5].compute(), grid[3:9, ::2, 5])
        assert (values < 0).sum().compute() == (grid < 0).sum()
        assert len(pickle.dumps(values)) < 20_000


@needs_dask
def test_refusals():
    for name, call in (
        ("bounds", lambda: sf.axes()[0].dask_array(voxel=1)),
        ("voxel", lambda: PLATE.dask_array(voxel=0)),
        ("layers", lambda: sf.dask.mesh(PLATE, voxel=1, layers=0)),
        ("surface", lambda: sf.dask.mesh(sf.Field(1), ((0, 0, 0), (1, 1, 1)), 0.1).compute()),
        ("surface", lambda: sf.dask.measure(sf.Field(1), ((0, 0, 0), (1, 1, 1)), 0.1).compute()),
    ):
        with pytest.raises(ValueError, match=name):
            call()


@needs_dask
@pytest.mark.parametrize("layers", [1, 2, 3, None])
@pytest.mark.parametrize("options", [{}, {"capped": False}, {"sharp": False}])
def test_meshes_are_those_made_at_once(layers, options):
    for field, bounds in ((PLATE, None), (sf.gyroid(4, 0.5), CUT)):
        whole = field.mesh(0.1, bounds, **options)
        mesh = sf.dask.mesh(field, bounds, 0.1, layers=layers, **options).compute()
        np.testing.assert_array_equal(mesh.vertices, whole.vertices)
        np.testing.assert_array_equal(mesh.normals, whole.normals)
        assert mesh.report == whole.report and mesh.topology == whole.topology
        assert mesh.topology.is_watertight or "capped" in options
        assert np.mean(np.any(mesh.faces != whole.faces, axis=1)) < 1e-3


@needs_dask
def test_measures_are_those_made_at_once():
    whole = PLATE.measure(0.1, wall=False)
    found = [sf.dask.measure(PLATE, None, 0.1, layers=layers).compute() for layers in (1, 2, None)]
    for measures in found:
        assert isinstance(measures, sf.dask.Measures)
        np.testing.assert_allclose(np.ravel([*measures[:2], *measures[2], *measures[3], *measures[4]]),
                                   np.ravel([*whole[:2], *whole[2], *whole[3], *whole[4]]), rtol=1e-9, atol=1e-9)
    assert found[0] == sf.dask.measure(PLATE, None, 0.1, layers=1).compute(scheduler="synchronous")


@needs_dask
def test_arrays_are_stored(tmp_path):
    zarr = pytest.importorskip("zarr", reason="needs the Debian package python3-zarr")
    PLATE.dask_array(voxel=0.25, chunks=(5, 8, -1)).to_zarr(str(tmp_path / "plate.zarr"))
    np.testing.assert_array_equal(zarr.open(str(tmp_path / "plate.zarr"), "r")[:], PLATE.grid(voxel=0.25))


@needs_dask
def test_a_killed_worker_changes_nothing():
    distributed = pytest.importorskip("distributed", reason="needs the Debian package python3-distributed")

    def slow(points):
        time.sleep(1e-4 * len(points))  # 0.1 s a slice
        return points[:, 0] ** 2 - 1

    field = (PLATE | sf.resource(slow)) & sf.sphere(4)
    expected = np.asarray(field.grid(0.25))
    with distributed.LocalCluster(n_workers=2, threads_per_worker=1, dashboard_address=None) as cluster:
        with distributed.Client(cluster) as client:
            pids = client.run(os.getpid)
            future = client.compute(field.dask_array(None, 0.25, (1, -1, -1)))

            def rich():
                """A worker that has some slices."""
                return [address for address, keys in client.has_what().items() if len(keys) > 3]

            while not rich():
                time.sleep(0.01)
            killed = rich()[0]
            os.kill(pids[killed], signal.SIGKILL)
            assert not future.done()
            np.testing.assert_array_equal(future.result(), expected)
            assert killed not in client.scheduler_info()["workers"]
            measures = sf.dask.measure(PLATE, None, 0.1, layers=1)
            assert client.compute(measures).result() == measures.compute(scheduler="synchronous")
