"""Fields as values: every public name, what it means, and what it refuses."""

import copy
import pickle
from concurrent.futures import ProcessPoolExecutor
from multiprocessing import get_context
from pathlib import Path

import numpy as np
import pytest

import sf

x, y, z = sf.axes()
POINTS = np.random.default_rng(1).uniform(-3, 3, (500, 3))
X, Y, Z = POINTS.T
R = np.sqrt(X * X + Y * Y + Z * Z)
CUBE = ((0, 0), (2, 0), (2, 2), (0, 2))


def box_distance(size, at=POINTS):
    q = np.abs(at) - np.asarray(size) / 2
    return np.linalg.norm(np.maximum(q, 0), axis=1) + np.minimum(q.max(axis=1), 0)


# A field and the values that NumPy gives for it.
MEANINGS = {
    "arithmetic": (3 - x * 2 + y / 4 - 1 / (z * z + 1) + -x + 2, 3 - X * 2 + Y / 4 - 1 / (Z * Z + 1) - X + 2),
    "powers": ((x * x + 1) ** 1.5 + 2**y + abs(z) ** 2, (X * X + 1) ** 1.5 + 2**Y + Z**2),
    "scalars of NumPy": (np.float64(2) * x + np.int32(3) - np.array(1.0), 2 * X + 3 - 1),
    "ufuncs": (
        x.sin() + np.cos(y) * np.tan(z / 3) - np.exp(x / 3) + np.log(y * y + 1) + np.sqrt(np.square(x)) + np.abs(z),
        np.sin(X) + np.cos(Y) * np.tan(Z / 3) - np.exp(X / 3) + np.log(Y * Y + 1) + np.abs(X) + np.abs(Z),
    ),
    "arcs": ((x / 4).asin() + np.arccos(y / 4) + np.arctan(z), np.arcsin(X / 4) + np.arccos(Y / 4) + np.arctan(Z)),
    "more ufuncs": (
        np.hypot(x, y) + np.arctan2(y, x) + np.tanh(z) + np.sinh(x) + np.cosh(y) + np.log2(z * z + 1),
        np.hypot(X, Y) + np.arctan2(Y, X) + np.tanh(Z) + np.sinh(X) + np.cosh(Y) + np.log2(Z * Z + 1),
    ),
    "selections": (np.minimum(x, y) + np.maximum(z, 0.5) + x.sign() + x.clip(-1, 1),
                   np.minimum(X, Y) + np.maximum(Z, 0.5) + np.sign(X) + np.clip(X, -1, 1)),
    "sets": ((x | y) - (x & z) + y.complement(), np.minimum(X, Y) - np.maximum(X, Z) - Y),
    "differences": (x.difference(y, z) + x.symmetric_difference(y),
                    np.maximum(X, -np.minimum(Y, Z)) + np.maximum(np.minimum(X, Y), -np.maximum(X, Y))),
    "lists": (sf.union(x, y, z) + sf.intersection([x, y]) + sf.length(x, z),
              POINTS.min(axis=1) + np.maximum(X, Y) + np.hypot(X, Z)),
    "smooth": (x.smooth_union(y, 1) + sf.smooth_union([x, y], radius=1),
               2 * (np.minimum(X, Y) - np.maximum(0, 1 - np.abs(X - Y)) ** 2 / 4)),
    "smooth others": (x.smooth_intersection(y, 1) + x.smooth_difference(-y, 1),
                      2 * (np.maximum(X, Y) + np.maximum(0, 1 - np.abs(X - Y)) ** 2 / 4)),
    "angle": (sf.angle(y, x), np.arctan2(Y, X) % (2 * np.pi)),
    "sphere": (sf.sphere(2), R - 2),
    "box": (sf.box((1, 2, 3)), box_distance((1, 2, 3))),
    "rounded box": (sf.rounded_box((2, 2, 3), 0.5), box_distance((1, 1, 2)) - 0.5),
    "cylinder": (sf.cylinder(1, 40).shell(0.25), np.maximum(np.hypot(X, Y) - 1, 0.75 - np.hypot(X, Y))),
    "capsule": (sf.capsule((0, 0, -9), (0, 0, 9), 1), np.hypot(X, Y) - 1),
    "struts": (sf.struts([[(0, 0, -9), (0, 0, 9)]], 1) - sf.chain([(0, 0, -9), (0, 0, 9)], 2), np.full(500, 1.0)),
    "torus": (sf.torus(2, 0.5), np.hypot(np.hypot(X, Y) - 2, Z) - 0.5),
    "half-space": (sf.half_space((0, 0, 2), offset=1), Z - 1),
    "prism": (sf.prism(CUBE, 2).translate((-1, -1, 0)), box_distance((2, 2, 2))),
    "gyroid": (sf.gyroid(2 * np.pi, 0) * 1.529,
               np.abs(np.sin(X) * np.cos(Y) + np.sin(Y) * np.cos(Z) + np.sin(Z) * np.cos(X))),
    "translate": (x.translate((1, 2, 3)), X - 1),
    "rotate": (x.rotate((0, 0, 1), np.pi / 2) + x.rotate((0, 0, 3), np.pi, through=(1, 0, 0)), Y + (2 - X)),
    "affine": (x.affine([[0, 1, 0, 5], [1, 0, 0, 0], [0, 0, 1, 0]]), Y),
    "scale": (sf.sphere(1).scale(2) + sf.sphere(1).scale(2, about=(1, 0, 0)),
              R - 2 + np.linalg.norm(POINTS + (1, 0, 0), axis=1) - 2),
    "stretch": ((x + y).stretch((2, 4, 2)), (X / 2 + Y / 4) * 2),
    "mirror": (x.mirror((1, 0, 0)) + x.mirror((1, 0, 0), through=(1, 0, 0)), -X + 2 - X),
    "twist": (z.twist(1) + (x * x + y * y).twist(1), Z + X * X + Y * Y),
    "revolve": (x.revolve(), np.hypot(X, Y)),
    "extrude": (x.extrude(2), np.maximum(X, np.abs(Z - 1) - 1)),
    "cylindrical": (x.to_cylindrical() + y.to_cylindrical(), np.hypot(X, Y) + np.arctan2(Y, X) % (2 * np.pi)),
    "array": (sf.sphere(1).array((2, 1, 1), (4, 0, 0)), np.minimum(R, np.linalg.norm(POINTS - (4, 0, 0), axis=1)) - 1),
    "polar array": (sf.sphere(1).translate((2, 0, 0)).polar_array(2),
                    np.minimum(np.linalg.norm(POINTS - (2, 0, 0), axis=1), np.linalg.norm(POINTS + (2, 0, 0), axis=1)) - 1),
    "remap": ((x * y).remap(y, z, 0) + (x * y)(y, z, 0), 2 * Y * Z),
    "offset": (sf.sphere(1).offset(sf.parameter("d", 0.5)), R - 1.5),
    "derivatives": ((x * y * z).derivatives()[1], X * Z),
    "parameters": (sf.sphere(sf.parameter("r", 1)).with_parameters({"r": 2}), R - 2),
    "cone": (sf.cone(1, 100, 1), np.hypot(X, Y) - 1),
}


@pytest.mark.parametrize("name", MEANINGS)
def test_values_are_those_of_numpy(name):
    field, expected = MEANINGS[name]
    np.testing.assert_allclose(field(POINTS), expected, rtol=1e-12, atol=1e-12)
    restored = pickle.loads(pickle.dumps(field))
    assert restored == field and hash(restored) == hash(field)
    np.testing.assert_array_equal(restored(POINTS), field(POINTS))


def test_every_public_name_has_a_meaning_above_or_a_test():
    sources = "".join(path.read_text(encoding="utf-8") for path in TESTS)
    for owner, names in ((sf, sf.__all__), (sf.Field, vars(sf.Field))):
        for name in names:
            if not name.startswith("_"):
                assert getattr(owner, name).__doc__, name
                assert name in sources or f"arc{name[1:]}" in sources, name  # NumPy's name of asin is arcsin


def test_values_are_immutable_and_compare_by_structure():
    first = sf.sphere(2) & x
    assert first == sf.sphere(2) & x and hash(first) == hash(sf.sphere(2) & x)
    assert first != sf.sphere(3) & x and first != "sphere"
    assert len({first, sf.sphere(2) & x, copy.copy(first), copy.deepcopy(first)}) == 1
    with pytest.raises(AttributeError):
        first.colour = "red"
    first |= y
    assert first != sf.sphere(2) & x


def test_facts():
    ball = sf.sphere(sf.parameter("r", 2, 1, 3))
    assert ball.parameters == (sf.Parameter("r", 2, 1, 3),)
    np.testing.assert_allclose(ball.with_parameters(r=3).bounds, [[-3] * 3, [3] * 3])
    assert x.bounds is None and x.lipschitz_bound == pytest.approx(1) and (x * x).lipschitz_bound == np.inf
    assert (x + 1).node_count == 3 and repr(x + 1) == "<sf.Field + X f1>"
    assert "nodes; r" in repr(ball.array((9, 1, 1), (1, 0, 0)))
    assert repr(sf.sphere(2) & sf.box((1, 1, 1))).startswith("<sf.Field of ")
    assert "<svg" in (x + 1)._repr_svg_() and sf.lattice("bcc", (9, 9, 9), 1, 0.1)._repr_svg_() is None


def test_surfaces_and_lattices_have_their_shapes():
    for name in ("gyroid", "schwarz_p", "schwarz_d", "lidinoid", "neovius", "iwp"):
        sheet = sf.periodic_sheet(name, cell=5, thickness=0.5)
        sides = sf.periodic_network(name, 5)
        np.testing.assert_allclose(sheet(POINTS), np.abs(sides(POINTS)) - 0.25, atol=1e-12)
    on_struts = {"cubic": (0, 2.5, 2.5), "bcc": (1, 1, 1), "fcc": (0, 2.5, 0), "octet": (1.25, 1.25, 0),
                 "kelvin": (2.5, 0, 1.25)}
    for kind, strut in on_struts.items():
        inside = sf.lattice(kind, (1, 1, 1), 5, 0.1)
        assert abs(inside(*strut) + 0.1) < 1e-9, kind
    assert sf.gear(1, 20, 5)(9, 0, 0) < 0 < sf.gear(1, 20, 5)(0, 0, 3)
    assert sf.ellipsoid((1, 2, 3))(0, 2, 0) == 0


# What is refused, and the parameter that the message names.
REFUSED = [
    (ValueError, "radius", lambda: sf.sphere(-1)),
    (ValueError, "radius", lambda: sf.sphere(np.nan)),
    (ValueError, "radius", lambda: sf.sphere(x)),
    (TypeError, "radius", lambda: sf.sphere("2")),
    (TypeError, "radius", lambda: sf.sphere(1j)),
    (ValueError, "size", lambda: sf.box((1, 2))),
    (ValueError, "polygon", lambda: sf.prism([(0, 0), (1, 1)], 2)),
    (ValueError, "polygon", lambda: sf.prism(np.zeros((4, 3)), 2)),
    (ValueError, "ends", lambda: sf.struts(np.zeros((5, 3)), 1)),
    (ValueError, "surface", lambda: sf.periodic_sheet("plane", 1, 1)),
    (ValueError, "counts", lambda: sf.lattice("bcc", (2, 2), 1, 1)),
    (ValueError, "counts", lambda: sf.lattice("bcc", (5000, 5000, 5000), 1, 1)),
    (ValueError, "count", lambda: x.polar_array(-1)),
    (ValueError, "by", lambda: x.translate((1, 2))),
    (ValueError, "axis", lambda: x.rotate((0, 0, 0), 1)),
    (TypeError, "angle", lambda: x.rotate((0, 0, 1), "90")),
    (ValueError, "factor", lambda: x.scale(0)),
    (ValueError, "matrix", lambda: x.affine(np.eye(3))),
    (ValueError, "thickness", lambda: x.shell(0)),
    (ValueError, "fields", lambda: sf.union([])),
    (ValueError, "name", lambda: sf.parameter("", 1)),
    (ValueError, "bore", lambda: x.with_parameters(bore=1)),
    (ValueError, "voxel", lambda: sf.sphere(1).grid()),
    (ValueError, "voxel", lambda: sf.sphere(1).grid(voxel=0)),
    (ValueError, "bounds", lambda: x.grid(voxel=1)),
    (ValueError, "bounds", lambda: x.grid(1, ((0, 0, 0), (1, np.inf, 1)))),
    (MemoryError, "grid", lambda: sf.sphere(1).grid(voxel=1e-5)),
    (TypeError, "operand", lambda: x + "1"),
    (TypeError, "add", lambda: x + np.zeros(3)),
    (TypeError, "floor", lambda: np.floor(x)),
]


@pytest.mark.parametrize("case", range(len(REFUSED)))
def test_refusals_name_the_parameter(case):
    error, name, call = REFUSED[case]
    with pytest.raises(error, match=name):
        call()


def test_pickles_through_a_pool_of_processes():
    part = sf.union([sf.sphere(1).translate((i, 0, 0)) for i in range(20)])
    with ProcessPoolExecutor(2, mp_context=get_context("spawn")) as pool:
        for values in pool.map(part, [POINTS, POINTS]):
            np.testing.assert_array_equal(values, part(POINTS))


TESTS = sorted(Path(__file__).parent.glob("test_*.py"))
