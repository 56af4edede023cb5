"""Grids, meshes and measures in pieces, on this machine's processors and on a cluster of which a worker is killed."""

import doctest
import faulthandler
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
ROD = sf.cylinder(0.5, 9)
CUBE = ((-5, -5, -5), (5, 5, 5))


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
        ("surface", lambda: sf.dask.mesh(sf.Field(1), ((0, 0, 0), (1, 1, 1)), 0.1).compute()),
        ("surface", lambda: sf.dask.measure(sf.Field(1), ((0, 0, 0), (1, 1, 1)), 0.1).compute()),
    ):
        with pytest.raises(ValueError, match=name):
            call()


@needs_dask
@pytest.mark.parametrize("options", [{}, {"capped": False}, {"sharp": False}])
def test_meshes_are_those_made_at_once(options):
    # The last one has two slabs.
    for field, bounds, voxel in ((PLATE, None, 0.1), (sf.gyroid(4, 0.5), CUT, 0.1), (ROD, CUBE, 10 / 350)):
        whole = field.mesh(voxel, bounds, **options)
        mesh = sf.dask.mesh(field, bounds, voxel, **options).compute()
        for name in ("vertices", "normals", "faces"):
            np.testing.assert_array_equal(getattr(mesh, name), getattr(whole, name))
        assert mesh.report == whole.report


@needs_dask
def test_measures_are_those_made_at_once():
    for field, voxel in ((PLATE, 0.1), (ROD, 10 / 350)):  # one slab, and two
        whole = field.measure(voxel, CUBE, wall=False)
        measures = sf.dask.measure(field, CUBE, voxel).compute()
        assert type(measures) is sf.MassMeasures
        for name, value in vars(measures).items():
            np.testing.assert_allclose(np.ravel(value), np.ravel(getattr(whole, name)), rtol=1e-9, atol=1e-9)


@needs_dask
def test_arrays_are_stored(tmp_path):
    zarr = pytest.importorskip("zarr", reason="needs the Debian package python3-zarr")
    PLATE.dask_array(voxel=0.25, chunks=(5, 8, -1)).to_zarr(str(tmp_path / "plate.zarr"))
    np.testing.assert_array_equal(zarr.open(str(tmp_path / "plate.zarr"), "r")[:], PLATE.grid(voxel=0.25))


class Limit:
    """Ends the tests with the stacks of all threads after a while, and says what became of the work before: a cluster that
    waits for what never comes would go on waiting."""

    seconds = 240.0

    def __init__(self):
        self.end = time.monotonic() + self.seconds

    def __enter__(self):
        faulthandler.dump_traceback_later(2 * self.seconds, exit=True)
        return self

    def __exit__(self, *_):
        faulthandler.cancel_dump_traceback_later()

    def result(self, client, future):
        distributed = pytest.importorskip("distributed")
        try:
            return future.result(timeout=max(self.end - time.monotonic(), 1))
        except (distributed.TimeoutError, TimeoutError):
            pytest.fail(f"the result is {future.status} after {self.seconds} s; tasks of workers: {client.processing()}; "
                        f"results: {client.has_what()}; calls: {client.call_stack()}")

    def wait(self, condition):
        while not (found := condition()):
            assert time.monotonic() < self.end, "workers did not come so far"
            time.sleep(0.01)
        return found


@needs_dask
def test_a_killed_worker_changes_nothing():
    distributed = pytest.importorskip("distributed", reason="needs the Debian package python3-distributed")

    def slow(points):
        time.sleep(1e-4 * len(points))  # 0.1 s a slice
        return points[:, 0] ** 2 - 1

    field = (PLATE | sf.resource(slow)) & sf.sphere(4)
    expected = np.asarray(field.grid(0.25))
    measures = sf.dask.measure(PLATE, None, 0.1)
    with Limit() as limit, distributed.LocalCluster(n_workers=2, threads_per_worker=1, dashboard_address=None) as cluster:
        with distributed.Client(cluster) as client:
            pids = client.run(os.getpid)
            future = client.compute(field.dask_array(None, 0.25, (1, -1, -1)))
            killed = limit.wait(lambda: [worker for worker, keys in client.has_what().items() if len(keys) > 3])[0]
            # It stays away: one that is being started again can keep the cluster from closing.
            next(nanny for nanny in cluster.workers.values() if nanny.worker_address == killed).close_gracefully()
            os.kill(pids[killed], signal.SIGKILL)
            assert not future.done()
            np.testing.assert_array_equal(limit.result(client, future), expected)
            assert killed not in client.scheduler_info()["workers"]
            assert limit.result(client, client.compute(measures)) == measures.compute(scheduler="synchronous")
