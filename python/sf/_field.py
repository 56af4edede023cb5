"""Fields: values that compose."""

from __future__ import annotations

import re
import shutil
import subprocess
from collections.abc import Callable, Mapping, Sequence
from typing import Any, NamedTuple, Optional, Union

import numpy as np
import numpy.typing as npt

from . import _core
from ._arguments import Floats, Result, Vector, coordinates, count, counts, number, one_of, vector
from ._grid import Grid, frame, sampled
from ._mesh import Measure, Measures, Mesh, MeshReport, Topology, Wall, mass_measures
from ._picture import Picture
from ._progress import Progress, reporting

FieldLike = Union["Field", float, int, "np.floating[Any]", "np.integer[Any]"]
_NodeOperator = Callable[[_core.Node, _core.Node], _core.Node]
_Operator = Callable[["Field", FieldLike], "Field"]


class Parameter(NamedTuple):
    """A number in a field that can be replaced, with the range that sliders should offer."""

    name: str
    value: float
    low: float
    high: float


class Curvature(NamedTuple):
    """Curvatures of level surfaces, per unit of length; negative where the solid is convex."""

    largest: Floats
    smallest: Floats
    mean: Floats
    gaussian: Floats


def core(name: str, value: Any) -> _core.Node:
    """What C++ knows a field or a number by."""
    return value._core if isinstance(value, Field) else _core.Node(number(name, value))


def _operand(value: Any) -> Any:
    """As core, for operators: NotImplemented for what is neither a field nor a number."""
    if isinstance(value, Field):
        return value._core
    try:
        return _core.Node(number("", value))
    except TypeError:
        return NotImplemented


def _binary(function: _NodeOperator, a: Any, b: Any) -> Field:
    first, second = _operand(a), _operand(b)
    if first is NotImplemented or second is NotImplemented:
        return NotImplemented
    return made(function(first, second))


def _operators(name: str) -> tuple[_Operator, _Operator]:
    """The method of an operator of C++, and that of its right-hand operand."""
    function: _NodeOperator = getattr(_core, name)

    def forward(self: Field, other: FieldLike) -> Field:
        return _binary(function, self, other)

    def backward(self: Field, other: FieldLike) -> Field:
        return _binary(function, other, self)

    return forward, backward


class Field:
    """A scalar field over space, negative inside the solid that it describes.

    Fields are immutable values. They are made by shapes (:func:`sf.sphere`), from the axes (:func:`sf.axes`), from text and
    from Python functions (:func:`sf.resource`), and compose: ``+ - * / **`` and NumPy's functions are arithmetic, always;
    ``|``, ``&`` and ``~`` are union, intersection and complement of solids. ``==`` compares structure.

    >>> ball = sf.sphere(2)
    >>> cut = ball & (sf.axes()[2] - 1)
    >>> cut([[0, 0, 0], [0, 0, 1.5]])
    array([-1. ,  0.5])
    """

    __slots__ = ("_core", "_stated_bounds")
    _core: _core.Node
    _stated_bounds: Any

    def __init__(self, value: FieldLike = 0.0) -> None:
        """The field that has one value everywhere, or a copy of a field.

        >>> sf.Field(3)(0, 0, 0)
        3.0
        """
        self._core = core("value", value)
        self._stated_bounds = None

    # ---- arithmetic ---------------------------------------------------------------------------------------------

    __add__, __radd__ = _operators("add")
    __sub__, __rsub__ = _operators("sub")
    __mul__, __rmul__ = _operators("mul")
    __truediv__, __rtruediv__ = _operators("div")
    __pow__, __rpow__ = _operators("pow")

    def __neg__(self) -> Field:
        return made(_core.neg(self._core))

    def __pos__(self) -> Field:
        return self

    def __abs__(self) -> Field:
        return self.abs()

    def square(self) -> Field:
        """The square; ``np.square`` gives the same."""
        return made(_core.square(self._core))

    def sqrt(self) -> Field:
        """The square root; NaN where the field is negative."""
        return made(_core.sqrt(self._core))

    def abs(self) -> Field:
        """The magnitude."""
        return made(_core.abs(self._core))

    def sin(self) -> Field:
        """The sine, of radians."""
        return made(_core.sin(self._core))

    def cos(self) -> Field:
        """The cosine, of radians."""
        return made(_core.cos(self._core))

    def tan(self) -> Field:
        """The tangent, of radians."""
        return made(_core.tan(self._core))

    def asin(self) -> Field:
        """The angle whose sine this is, in radians."""
        return made(_core.asin(self._core))

    def acos(self) -> Field:
        """The angle whose cosine this is, in radians."""
        return made(_core.acos(self._core))

    def atan(self) -> Field:
        """The angle whose tangent this is, in radians."""
        return made(_core.atan(self._core))

    def exp(self) -> Field:
        """e to the power of the field."""
        return made(_core.exp(self._core))

    def log(self) -> Field:
        """The natural logarithm."""
        return made(_core.log(self._core))

    def sign(self) -> Field:
        """1 where the field is positive, -1 elsewhere: at 0, too."""
        return made(_core.sign(self._core))

    def minimum(self, other: FieldLike) -> Field:
        """The smaller value of two fields."""
        return made(_core.minimum(self._core, core("other", other)))

    def maximum(self, other: FieldLike) -> Field:
        """The larger value of two fields."""
        return made(_core.maximum(self._core, core("other", other)))

    def clip(self, low: FieldLike, high: FieldLike) -> Field:
        """The field limited to a range.

        >>> (sf.axes()[0] * 10).clip(-1, 1)(5, 0, 0)
        1.0
        """
        return self.maximum(low).minimum(high)

    # ---- set operations -----------------------------------------------------------------------------------------

    __or__, __ror__ = _operators("union")
    __and__, __rand__ = _operators("intersection")

    def __invert__(self) -> Field:
        return self.complement()

    def union(self, *others: FieldLike) -> Field:
        """The union with other solids.

        >>> two = sf.sphere(1).union(sf.sphere(1).translate((5, 0, 0)))
        >>> two([[0, 0, 0], [5, 0, 0]])
        array([-1., -1.])
        """
        return union(self, *others)

    def intersection(self, *others: FieldLike) -> Field:
        """What is common to this and other solids."""
        return intersection(self, *others)

    def difference(self, *others: FieldLike) -> Field:
        """This solid without others.

        >>> ring = sf.cylinder(5, 1).difference(sf.cylinder(3, 20))
        >>> ring(0, 0, 0)
        3.0
        """
        if not others:
            return self
        return made(_core.difference(self._core, union(*others)._core))

    def symmetric_difference(self, other: FieldLike) -> Field:
        """What is in one of two solids but not in both."""
        return made(_core.symmetric_difference(self._core, core("other", other)))

    def complement(self) -> Field:
        """All space outside of the solid; ``~`` gives the same."""
        return made(_core.complement(self._core))

    def smooth_union(self, other: FieldLike, radius: float) -> Field:
        """The union with a fillet: it differs from the union where the fields differ by less than ``radius``, by
        ``radius / 4`` at most.

        >>> sf.sphere(1).smooth_union(sf.sphere(1), radius=0.4)(1, 0, 0)
        -0.1
        """
        return made(_core.smooth_union(self._core, core("other", other), number("radius", radius)))

    def smooth_intersection(self, other: FieldLike, radius: float) -> Field:
        """The intersection with rounded edges, as :meth:`smooth_union`."""
        return made(_core.smooth_intersection(self._core, core("other", other), number("radius", radius)))

    def smooth_difference(self, other: FieldLike, radius: float) -> Field:
        """This solid without another, with rounded edges, as :meth:`smooth_union`."""
        return made(_core.smooth_difference(self._core, core("other", other), number("radius", radius)))

    # ---- offsets ------------------------------------------------------------------------------------------------

    def offset(self, distance: FieldLike) -> Field:
        """The solid with its surface moved outwards by a distance, inwards where that is negative.

        Exact where the field is a distance, of first order elsewhere. The distance is a number or an expression of
        parameters.

        >>> sf.box((2, 2, 2)).offset(0.5)(1.25, 0, 0)
        -0.25
        """
        return made(_core.offset(self._core, core("distance", distance)))

    def shell(self, thickness: float) -> Field:
        """A wall along the surface, inwards of it, outwards where the thickness is negative.

        >>> sf.sphere(10).shell(1)([[0, 0, 0], [9.5, 0, 0]])
        array([ 9. , -0.5])
        """
        return made(_core.shell(self._core, number("thickness", thickness)))

    def derivatives(self) -> tuple[Field, Field, Field]:
        """The three partial derivatives as fields, by the rules of calculus.

        >>> x, y, z = sf.axes()
        >>> (x * y).derivatives()[0] == y
        True
        """
        x, y, z = _core.derivatives(self._core)
        return made(x), made(y), made(z)

    # ---- transforms ---------------------------------------------------------------------------------------------

    def remap(self, x: FieldLike, y: FieldLike, z: FieldLike) -> Field:
        """The field with its coordinates replaced by other fields."""
        return made(_core.remap(self._core, core("x", x), core("y", y), core("z", z)))

    def affine(self, matrix: npt.ArrayLike) -> Field:
        """The solid moved by a matrix of shape (4, 4) or (3, 4), which acts on columns. The values are not scaled.

        >>> sf.sphere(1).affine(np.eye(4)) == sf.sphere(1)
        True
        """
        rows = np.asarray(matrix, dtype=np.float64)
        if rows.shape == (3, 4):
            rows = np.vstack([rows, (0.0, 0.0, 0.0, 1.0)])
        if rows.shape != (4, 4):
            raise ValueError(f"matrix: expected shape (4, 4) or (3, 4), got {rows.shape}")
        return made(_core.affine(self._core, rows.ravel()))

    def translate(self, by: Vector) -> Field:
        """The solid moved by a vector.

        >>> sf.sphere(1).translate((0, 0, 5))(0, 0, 5)
        -1.0
        """
        return made(_core.translate(self._core, vector("by", by)))

    def rotate(self, axis: Vector, angle: float, through: Vector = (0.0, 0.0, 0.0)) -> Field:
        """The solid turned about an axis through a point, by radians, counter-clockwise seen from the end of the axis.

        >>> turned = sf.box((4, 2, 2)).rotate(axis=(0, 0, 1), angle=np.pi / 2)
        >>> bool(turned(0, 1.9, 0) < 0)
        True
        """
        return made(_core.rotate(self._core, vector("axis", axis), number("angle", angle), vector("through", through)))

    def scale(self, factor: float, about: Vector = (0.0, 0.0, 0.0)) -> Field:
        """The solid enlarged by a factor about a point; the values are enlarged too, so that distances stay distances."""
        return made(_core.scale(self._core, number("factor", factor), vector("about", about)))

    def stretch(self, factors: Vector) -> Field:
        """The solid stretched along the axes by factors above 0; a distance becomes a lower bound of one."""
        return made(_core.stretch(self._core, vector("factors", factors)))

    def mirror(self, normal: Vector, through: Vector = (0.0, 0.0, 0.0)) -> Field:
        """The mirror image in the plane through a point with a normal."""
        return made(_core.mirror(self._core, vector("normal", normal), vector("through", through)))

    def twist(self, rate: float) -> Field:
        """The solid turned about the z axis by an angle that grows with z, in radians per unit of length."""
        return made(_core.twist(self._core, number("rate", rate)))

    def revolve(self) -> Field:
        """The solid of revolution about the z axis of the profile in the plane y = 0, x >= 0."""
        return made(_core.revolve(self._core))

    def extrude(self, height: float) -> Field:
        """The part between z = 0 and a height of the cylinder over the profile in the plane z = 0."""
        return made(_core.extrude(self._core, number("height", height)))

    def to_cylindrical(self) -> Field:
        """The field drawn in cylindrical coordinates: its x is the radius, its y the angle in (0, 2 pi]."""
        return made(_core.to_cylindrical(self._core))

    def array(self, counts: Any, spacing: Vector) -> Field:
        """Copies at all (i dx, j dy, k dz), united.

        >>> row = sf.sphere(1).array((3, 1, 1), (5, 0, 0))
        >>> row(10, 0, 0)
        -1.0
        """
        return made(_core.array(self._core, _counts("counts", counts), vector("spacing", spacing)))

    def polar_array(self, count: int) -> Field:
        """Copies turned about the z axis by equal angles that fill the circle, united."""
        return made(_core.polar_array(self._core, _count("count", count)))

    # ---- parameters ---------------------------------------------------------------------------------------------

    @property
    def parameters(self) -> tuple[Parameter, ...]:
        """The parameters of the field, by name.

        >>> sf.sphere(sf.parameter("bore", 4, 1, 9)).parameters
        (Parameter(name='bore', value=4.0, low=1.0, high=9.0),)
        """
        return tuple(Parameter(*row) for row in _core.parameters(self._core))

    def with_parameters(self, values: Optional[Mapping[str, float]] = None, **named: float) -> Field:
        """The field with other values of parameters.

        >>> sf.sphere(sf.parameter("bore", 4)).with_parameters(bore=5)(0, 0, 0)
        -5.0
        """
        changed = self._core
        for name, value in {**(values or {}), **named}.items():
            changed = _core.with_parameter(changed, name, number(name, value))
        return made(changed)

    # ---- facts --------------------------------------------------------------------------------------------------

    @property
    def bounds(self) -> Optional[Floats]:
        """A box outside of which the field is provably positive, as an array [low, high] of shape (2, 3); None when no
        such box is known. It holds the solid and is not always the smallest one.

        >>> sf.box((2, 4, 6)).bounds
        array([[-1., -2., -3.],
               [ 1.,  2.,  3.]])
        """
        found = _core.bounds(self._core)
        if found is None:
            found = self._stated_bounds
        return None if found is None else np.array(found)

    @property
    def lipschitz_bound(self) -> float:
        """A number L with ``|f(p) - f(q)| <= L |p - q|``; infinity when none is known."""
        return _core.lipschitz_bound(self._core)

    @property
    def node_count(self) -> int:
        """How many nodes the field has."""
        return _core.node_count(self._core)

    def __eq__(self, other: object) -> bool:
        return isinstance(other, Field) and self._core == other._core

    def __hash__(self) -> int:
        return hash(self._core)

    # ---- values -------------------------------------------------------------------------------------------------

    def __call__(
        self, *points: Any, out: Optional[Floats] = None, threads: int = 0, progress: Progress = None
    ) -> Any:
        """The values at points: an array of shape (..., 3), or x, y and z, which broadcast against each other. The result
        has the shape of the points without the last axis, or of the broadcast; a single point gives a float.

        Args:
            out: an array of float64 of that shape that takes the values
            threads: how many may be used; 0 for all
            progress: True for a bar, or a function that is called with the fraction that is done

        Where x, y or z is a field the result is the field with its coordinates replaced.

        >>> ball = sf.sphere(1)
        >>> ball([[0, 0, 0], [0, 3, 4]])
        array([-1.,  4.])
        >>> ball(np.linspace(0, 2, 3)[:, None], [0, 1], 0).shape
        (3, 2)
        """
        if any(isinstance(item, Field) for item in points):
            return self.remap(*points)
        at = coordinates(points)
        result = Result(out, at[0].shape, at)
        with reporting(progress, "values") as report:
            _core.evaluate(self._core, at, [result.array], count("threads", threads), report)
        return result.done()

    def gradient(
        self, *points: Any, out: Optional[Floats] = None, threads: int = 0, progress: Progress = None
    ) -> Floats:
        """The gradients at points, of shape (..., 3). At a kink they are those of one side. Arguments as for values.

        >>> sf.sphere(1).gradient([[0, 0, 2]])
        array([[0., 0., 1.]])
        """
        at = coordinates(points)
        result = Result(out, (*at[0].shape, 3), at)
        with reporting(progress, "gradients") as report:
            _core.gradient(self._core, at, [result.array], count("threads", threads), report)
        gradients: Floats = result.done()
        return gradients

    def value_and_gradient(
        self, *points: Any, threads: int = 0, progress: Progress = None
    ) -> tuple[Any, Floats]:
        """The values and the gradients at points, computed together.

        >>> value, gradient = sf.sphere(1).value_and_gradient(0, 0, 2)
        >>> value, gradient
        (1.0, array([0., 0., 1.]))
        """
        at = coordinates(points)
        values = Result(None, at[0].shape, at)
        gradients = np.empty((*at[0].shape, 3))
        with reporting(progress, "gradients") as report:
            _core.gradient(self._core, at, [gradients, values.array], count("threads", threads), report)
        return values.done(), gradients

    def hessian(self, *points: Any, threads: int = 0, progress: Progress = None) -> Floats:
        """The matrices of second derivatives at points, of shape (..., 3, 3).

        >>> x, y, z = sf.axes()
        >>> (x * x + y * z).hessian(1, 2, 3)
        array([[2., 0., 0.],
               [0., 0., 1.],
               [0., 1., 0.]])
        """
        at = coordinates(points)
        second = np.empty((*at[0].shape, 6))
        with reporting(progress, "second derivatives") as report:
            _core.hessian(self._core, at, [second], count("threads", threads), report)
        full: Floats = second[..., [[0, 1, 2], [1, 3, 4], [2, 4, 5]]]
        return full

    def curvature(self, *points: Any, threads: int = 0, progress: Progress = None) -> Curvature:
        """Curvatures of the level surface through each point; negative where the solid is convex.

        >>> sf.sphere(2).curvature([[2, 0, 0]]).mean
        array([-0.5])
        """
        at = coordinates(points)
        four = np.empty((*at[0].shape, 4))
        with reporting(progress, "curvatures") as report:
            _core.curvature(self._core, at, [four], count("threads", threads), report)
        return Curvature(*np.moveaxis(four, -1, 0))

    def interval(self, low: Vector, high: Vector) -> tuple[float, float, bool]:
        """Bounds of all values in a box, and whether some may be NaN: a proof, not a sample.

        >>> low, high, may_be_nan = sf.sphere(1).interval((2, 0, 0), (3, 1, 1))
        >>> low > 0, may_be_nan
        (True, False)
        """
        corners = vector("low", low), vector("high", high)
        if not all(a <= b for a, b in zip(*corners)):
            raise ValueError("low: not below high")
        return _core.interval(self._core, *corners)

    def grid(
        self,
        voxel: Optional[float] = None,
        bounds: Any = None,
        *,
        cells: Optional[int] = None,
        threads: int = 0,
        progress: Progress = None,
    ) -> Grid:
        """The values on a grid, as float32, limited to the diagonal of the grid.

        Args:
            voxel: the distance between points
            bounds: the box ``(low, high)`` that the points cover; the field's own by default
            cells: instead of a voxel, how many the longest side is cut into

        >>> grid = sf.box((2, 2, 1)).grid(voxel=0.5)
        >>> grid.shape, grid.origin, grid.spacing
        ((3, 5, 5), array([-1. , -1. , -0.5]), 0.5)
        """
        return sampled(self, voxel, bounds, cells, threads, progress)

    def dask_array(
        self,
        bounds: Any = None,
        voxel: Optional[float] = None,
        chunks: Any = "auto",
        *,
        cells: Optional[int] = None,
        threads: int = 1,
    ) -> Any:
        """The values of :meth:`grid` as a lazy array of Dask, of which each chunk is rendered where it is needed; see
        :func:`sf.dask.array`."""
        from . import dask

        return dask.array(self, bounds, voxel, chunks, cells=cells, threads=threads)

    def __dask_tokenize__(self) -> Any:
        return self.to_listing()

    def mesh(
        self,
        voxel: Optional[float] = None,
        bounds: Any = None,
        *,
        cells: Optional[int] = None,
        adaptivity: float = 0.0,
        sharp: bool = True,
        capped: bool = True,
        threads: int = 0,
        progress: Progress = None,
    ) -> Mesh:
        """The surface as triangles: closed, manifold, with sharp edges.

        Args:
            voxel: the edge of the cells that it is found with; thinner features may be missed
            bounds: the box ``(low, high)`` to look in; the field's own by default
            cells: instead of a voxel, how many the longest side is cut into
            adaptivity: triangles are removed where that moves the surface by no more than this length
            sharp: whether vertices are placed on edges and corners of the solid
            capped: whether the mesh is closed where the solid leaves the box

        >>> cube = sf.box((10, 10, 10)).mesh(voxel=1)
        >>> round(cube.volume, 9), cube.topology.is_watertight
        (1000.0, True)
        """
        (low, high), edge = frame(self, voxel, cells, bounds)
        moved = number("adaptivity", adaptivity)
        with reporting(progress, "mesh") as report:
            vertices, faces, normals, found = _core.mesh(
                self._core, low, high, edge, moved, sharp, capped, count("threads", threads), report
            )
        return Mesh(vertices, faces, normals, MeshReport(*found))

    def measure(
        self,
        voxel: Optional[float] = None,
        bounds: Any = None,
        *,
        cells: Optional[int] = None,
        wall: bool = True,
        threads: int = 0,
        progress: Progress = None,
    ) -> Measures:
        """Volume, area, centre, extent, smallest wall and topology of the solid, each number with its error. Arguments as
        for :meth:`mesh`; ``wall`` says whether to look for the thinnest place.

        >>> measures = sf.sphere(10).measure(voxel=1)
        >>> bool(abs(measures.volume.value - 4 / 3 * np.pi * 1000) <= measures.volume.error)
        True
        """
        (low, high), edge = frame(self, voxel, cells, bounds)
        with reporting(progress, "measures") as report:
            masses, thin, topology = _core.measure(
                self._core, low, high, edge, wall, count("threads", threads), report
            )
        thinnest = None if thin is None else Wall(Measure(*thin[0]), np.array(thin[1]))
        return Measures(*mass_measures(masses), thinnest, Topology(*topology))

    def picture(
        self,
        size: tuple[int, int] = (1024, 768),
        view: str = "iso",
        bounds: Any = None,
        *,
        mode: str = "shaded",
        cuts: Sequence[tuple[Vector, float]] = (),
        samples: int = 2,
        colour: Vector = (0.62, 0.69, 0.76),
        background: Optional[Vector] = None,
        transparent: bool = False,
        ground: bool = True,
        eye: Optional[tuple[Vector, Vector]] = None,
        field_of_view: float = 0.0,
        threads: int = 0,
        progress: Progress = None,
    ) -> Picture:
        """The part in three dimensions.

        Args:
            size: width and height in pixels
            view: iso, top, bottom, front, back, left or right
            bounds: the box ``(low, high)`` that is shown; the field's own by default
            mode: shaded, normals, depth or curvature
            cuts: planes ``(normal, offset)``; what lies beyond, ``normal . p > offset``, is cut away
            samples: along each side of a pixel
            colour, background: red, green and blue from 0 to 1
            eye: instead of a view, where the eye is and what it looks at
            field_of_view: over the height of the picture, in radians; 0 for a parallel projection

        >>> sf.torus(10, 3).picture(size=(40, 30), view="top")
        <sf.Picture of 40 x 30>
        """
        corners, _ = frame(self, 1.0, None, bounds)
        width, height = size
        options = {
            "width": count("size", width),
            "height": count("size", height),
            "samples": count("samples", samples),
            "view": one_of("view", _VIEWS, view),
            "mode": one_of("mode", _MODES, mode),
            "cuts": [(vector("cuts", normal), number("cuts", offset)) for normal, offset in cuts],
            "colour": vector("colour", colour),
            "background": None if background is None else vector("background", background),
            "transparent": bool(transparent),
            "ground": bool(ground),
            "eye": None if eye is None else (vector("eye", eye[0]), vector("eye", eye[1])),
            "field_of_view": number("field_of_view", field_of_view),
        }
        with reporting(progress, "picture") as report:
            return Picture(_core.render(self._core, *corners, options, count("threads", threads), report))

    # ---- texts --------------------------------------------------------------------------------------------------

    def to_expression(self) -> str:
        """The text in prefix notation, which :func:`sf.from_expression` reads back to an equal field.

        >>> (sf.axes()[0] + 2).to_expression()
        '+ X f2 $'
        """
        return _core.to_expression(self._core)

    def to_formula(self) -> str:
        """A formula, which :func:`sf.formula` reads back to the same values."""
        return _core.to_formula(self._core)

    def to_listing(self) -> str:
        """The nodes one a line, shared parts once, which :func:`sf.from_listing` reads back to an equal field."""
        return _core.to_listing(self._core)

    def to_graphviz(self) -> str:
        """A drawing of the graph in the language of GraphViz."""
        return _core.to_graphviz(self._core)

    # ---- Python -------------------------------------------------------------------------------------------------

    def __repr__(self) -> str:
        nodes = self.node_count
        if nodes <= 12:
            return f"<sf.Field {self._short_text()}>"
        names = ", ".join(parameter.name for parameter in self.parameters)
        return f"<sf.Field of {nodes} nodes{'; ' + names if names else ''}>"

    def _short_text(self) -> str:
        try:
            return self.to_expression().removesuffix(" $")
        except ValueError:
            return f"of {self.node_count} nodes"

    def __reduce__(self) -> tuple[Any, ...]:
        listing = self.to_listing()
        states = {name: _core.resource_state(name) for name in set(_RESOURCE.findall(listing))}
        bounds = _core.bounds(self._core) if states else None
        return _restored, (listing, states, bounds or self._stated_bounds)

    def _repr_svg_(self) -> Optional[str]:
        """The graph, for notebooks, where GraphViz is installed and the graph is not too large to be looked at."""
        if shutil.which("dot") is None or self.node_count > 400:
            return None
        drawn = subprocess.run(["dot", "-Tsvg"], input=self.to_graphviz(), capture_output=True, text=True, check=False)
        return drawn.stdout if drawn.returncode == 0 else None

    def _repr_png_(self) -> Optional[bytes]:
        """A picture, for notebooks, where the part is bounded and not too large to be drawn at once."""
        if self.node_count > 20_000:
            return None
        try:
            return self.picture(size=(480, 360))._repr_png_()
        except ValueError:
            return None

    def __array_ufunc__(self, ufunc: np.ufunc, method: str, *inputs: Any, **options: Any) -> Any:
        rule = _UFUNCS.get(ufunc.__name__)
        if rule is None or method != "__call__" or options:
            return NotImplemented
        if any(not isinstance(item, Field) and np.ndim(item) for item in inputs):
            return NotImplemented
        return rule(*(item if isinstance(item, Field) else Field(item) for item in inputs))


_count, _counts = count, counts
_VIEWS = ["iso", "top", "bottom", "front", "back", "left", "right"]
_MODES = ["shaded", "normals", "depth", "curvature"]
_RESOURCE = re.compile(r"#sf-[0-9a-f]{32}")


def made(node: _core.Node) -> Field:
    """The field of what C++ has made."""
    field = object.__new__(Field)
    field._core = node
    field._stated_bounds = None
    return field


def _restored(listing: str, states: dict[str, Any], bounds: Any) -> Field:
    """A field that has been pickled, with the resources that this process has already."""
    resources = {}
    for name, state in states.items():
        known = _core.find_resource(name)
        if known is None:
            make, arguments = state
            known = make(name, *arguments)
        resources[name] = known
    field = made(_core.read_listing(listing, resources))
    field._stated_bounds = bounds
    return field


def _fields(fields: tuple[Any, ...]) -> list[_core.Node]:
    if len(fields) == 1 and not isinstance(fields[0], Field):
        fields = tuple(fields[0])
    return [core("fields", field) for field in fields]


def union(*fields: Any) -> Field:
    """The union of solids, given one by one or as one sequence; balanced, so that many are no deeper than need be.

    >>> sf.union([sf.sphere(1).translate((i, 0, 0)) for i in range(100)])(99, 0, 0)
    -1.0
    """
    return made(_core.union_of(_fields(fields)))


def intersection(*fields: Any) -> Field:
    """What is common to solids, given one by one or as one sequence.

    >>> sf.intersection(sf.sphere(2), sf.sphere(2).translate((1, 0, 0)))(0, 0, 0)
    -1.0
    """
    return made(_core.intersection_of(_fields(fields)))


def smooth_union(*fields: Any, radius: float) -> Field:
    """The union of solids with fillets.

    >>> sf.smooth_union([sf.sphere(1), sf.sphere(1)], radius=0.4)(1, 0, 0)
    -0.1
    """
    return made(_core.smooth_union_of(_fields(fields), number("radius", radius)))


def length(*fields: Any) -> Field:
    """sqrt(a^2 + b^2 + ...), summed from left to right.

    >>> sf.length(*sf.axes())(0, 3, 4)
    5.0
    """
    return made(_core.length(_fields(fields)))


def angle(y: FieldLike, x: FieldLike) -> Field:
    """The angle of (x, y) in (0, 2 pi]; on the axis it is pi.

    >>> x, y, z = sf.axes()
    >>> bool(sf.angle(y, x)(0, 1, 0) == np.pi / 2)
    True
    """
    return made(_core.angle(core("y", y), core("x", x)))


def axes() -> tuple[Field, Field, Field]:
    """The coordinates as fields.

    >>> x, y, z = sf.axes()
    >>> (x + 2 * y)(1, 1, 0)
    3.0
    """
    return made(_core.x()), made(_core.y()), made(_core.z())


def parameter(name: str, value: float, low: float = -np.inf, high: float = np.inf) -> Field:
    """A named number that :meth:`Field.with_parameters` replaces, with the range that sliders should offer.

    >>> sf.sphere(sf.parameter("r", 2)).with_parameters(r=3)(0, 0, 0)
    -3.0
    """
    return made(_core.parameter(name, number("value", value), number("low", low), number("high", high)))


def _arctan2(y: Field, x: Field) -> Field:
    """In (-pi, pi]; on the axis it is pi."""
    turned = angle(y, x)
    return turned - np.pi * ((turned - np.pi).sign() + 1)


_UFUNCS: dict[str, Any] = {
    "add": lambda a, b: a + b,
    "subtract": lambda a, b: a - b,
    "multiply": lambda a, b: a * b,
    "divide": lambda a, b: a / b,
    "power": lambda a, b: a**b,
    "float_power": lambda a, b: a**b,
    "negative": lambda a: -a,
    "positive": lambda a: a,
    "reciprocal": lambda a: 1 / a,
    "square": Field.square,
    "sqrt": Field.sqrt,
    "absolute": Field.abs,
    "fabs": Field.abs,
    "sign": Field.sign,
    "minimum": Field.minimum,
    "maximum": Field.maximum,
    "sin": Field.sin,
    "cos": Field.cos,
    "tan": Field.tan,
    "arcsin": Field.asin,
    "arccos": Field.acos,
    "arctan": Field.atan,
    "arctan2": _arctan2,
    "hypot": lambda a, b: length(a, b),
    "exp": Field.exp,
    "exp2": lambda a: 2**a,
    "log": Field.log,
    "log2": lambda a: a.log() / np.log(2),
    "log10": lambda a: a.log() / np.log(10),
    "sinh": lambda a: (a.exp() - (-a).exp()) / 2,
    "cosh": lambda a: (a.exp() + (-a).exp()) / 2,
    "tanh": lambda a: 1 - 2 / ((2 * a).exp() + 1),
    "deg2rad": lambda a: a * (np.pi / 180),
    "radians": lambda a: a * (np.pi / 180),
    "rad2deg": lambda a: a * (180 / np.pi),
    "degrees": lambda a: a * (180 / np.pi),
}
