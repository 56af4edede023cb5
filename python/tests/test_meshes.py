"""Meshes, their files and measures."""

import importlib.util
import struct
import sys
import types

import numpy as np
import pytest

import sf

PLATE = sf.box((8, 6, 2)).difference(sf.cylinder(1, 4))


def test_meshes_are_the_solid():
    mesh = PLATE.mesh(voxel=0.25)
    assert (mesh.vertices.dtype, mesh.faces.dtype, mesh.normals.dtype) == (np.float64, np.uint32, np.float32)
    assert mesh.vertices.shape == mesh.normals.shape and mesh.faces.max() < len(mesh.vertices)
    assert mesh.topology == sf.Topology(1, 0, 1, True, True, True) and mesh.topology.is_watertight
    assert mesh.volume == pytest.approx(96 - 2 * np.pi, rel=1e-3) and np.allclose(mesh.centre, 0, atol=1e-3)
    assert mesh.area == pytest.approx(2 * (48 + 16 + 12) - 2 * np.pi + 4 * np.pi, rel=1e-3)
    assert isinstance(mesh.report, sf.MeshReport) and mesh.report.sharp_vertices > 50
    assert np.abs(PLATE(mesh.vertices)).max() < 0.01 and "faces" in repr(mesh)
    assert len(PLATE.mesh(cells=32, adaptivity=0.05).faces) < len(mesh.faces) / 4
    assert not PLATE.mesh(voxel=0.25, bounds=((0, 0, -2), (9, 9, 2)), capped=False).topology.is_closed
    assert PLATE.mesh(voxel=0.25, sharp=False).report.sharp_vertices == 0


def test_measures_hold_their_errors():
    measures = PLATE.measure(voxel=0.25)
    assert isinstance(measures, sf.Measures) and isinstance(measures.volume, sf.Measure)
    assert abs(measures.volume.value - (96 - 2 * np.pi)) <= measures.volume.error
    assert measures.high[0].value == pytest.approx(4) and measures.low[2].value == pytest.approx(-1)
    assert isinstance(measures.wall, sf.Wall) and measures.wall.thickness.value == pytest.approx(2, abs=0.1)
    assert PLATE.measure(voxel=0.5, wall=False).wall is None


@pytest.mark.parametrize("ending", ["stl", "ply", "obj", "3mf", "glb"])
def test_meshes_are_saved(tmp_path, ending):
    mesh = sf.Mesh([(0, 0, 0), (1, 0, 0), (0, 1, 0), (0, 0, 1)], [(0, 2, 1), (0, 1, 3), (1, 2, 3), (2, 0, 3)])
    assert mesh.volume == pytest.approx(1 / 6)
    path = tmp_path / f"part.{ending}"
    mesh.save(path, unit="cm", name="corner")
    content = path.read_bytes()
    assert [item.name for item in tmp_path.iterdir()] == [path.name]
    if ending == "stl":
        assert struct.unpack_from("<I", content, 80) == (4,) and len(content) == 84 + 50 * 4
    elif ending == "obj":
        assert content.count(b"\nf ") == 4


def test_refusals(tmp_path):
    mesh = sf.Mesh([(0, 0, 0), (1, 0, 0), (0, 1, 0)], [(0, 1, 2)])
    for error, name, call in (
        (ValueError, "faces", lambda: sf.Mesh(mesh.vertices, [(0, 1, 3)])),
        (ValueError, "faces", lambda: sf.Mesh(mesh.vertices, [(0.5, 1, 2)])),
        (ValueError, "normals", lambda: sf.Mesh(mesh.vertices, mesh.faces, [(0, 0, 1)])),
        (ValueError, ".stl", lambda: mesh.save(tmp_path / "part.doc")),
        (ValueError, "mm", lambda: mesh.save(tmp_path / "part.stl", unit="mile")),
        (OSError, "nowhere", lambda: mesh.save(tmp_path / "nowhere" / "part.stl")),
        (ValueError, "", lambda: sf.Field(1.0).mesh(voxel=1, bounds=((0, 0, 0), (1, 1, 1)))),
        (ValueError, "bounds", lambda: sf.Field(1.0).mesh(voxel=1)),
    ):
        with pytest.raises(error, match=name):
            call()
    assert not list(tmp_path.iterdir())


class Trimesh:
    """Stands in for trimesh.Trimesh, of which Debian has no package: what a mesh is given as."""

    def __init__(self, vertices=None, faces=None, face_normals=None, vertex_normals=None, *, process=True):
        assert face_normals is None and not process  # merging vertices would renumber them
        self.vertices, self.faces, self.vertex_normals = vertices, faces, vertex_normals


class PolyData:
    """The same for pyvista.PolyData, which has one list of faces: the number of corners before the corners."""

    def __init__(self, var_inp=None, faces=None):
        counted = np.reshape(faces, (-1, 4))
        assert np.all(counted[:, 0] == 3)
        self.points, self.triangles, self.point_data = var_inp, counted[:, 1:], {}


def test_meshes_go_to_other_packages(monkeypatch):
    for mesh in (PLATE.mesh(voxel=1), sf.Mesh([(0, 0, 0), (1, 0, 0), (0, 1, 0)], [(0, 1, 2)])):
        for package, stand_in in (("trimesh", Trimesh), ("pyvista", PolyData)):
            if importlib.util.find_spec(package) is None:
                with pytest.raises(ImportError, match=package):
                    getattr(mesh, f"to_{package}")()
                module = types.ModuleType(package)
                setattr(module, stand_in.__name__, stand_in)
                monkeypatch.setitem(sys.modules, package, module)
        made, data = mesh.to_trimesh(), mesh.to_pyvista()
        triangles = data.triangles if isinstance(data, PolyData) else data.regular_faces
        for vertices, faces in ((made.vertices, made.faces), (data.points, triangles)):
            np.testing.assert_array_equal(vertices, mesh.vertices)
            np.testing.assert_array_equal(faces, mesh.faces)
            assert np.asarray(faces).dtype == np.int64
        if len(mesh.normals):
            np.testing.assert_array_equal(made.vertex_normals, mesh.normals)
            np.testing.assert_array_equal(data.point_data["Normals"], mesh.normals)
        monkeypatch.undo()
