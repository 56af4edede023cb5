#pragma once

#include "SFField.h"
#include "ZULMathPoint.h"
#include "ZULMathVector.h"
#include "ZULPI.h"

#include <array>
#include <initializer_list>
#include <span>

namespace SF {

/// @file
/// Shapes. They are centred at the origin, and the axis of a solid of revolution, of a prism or of a gear is the z
/// axis.
///
/// A dimension is a field that is the same everywhere: a number, or an expression of parameters, which stay alive:
/// Sphere(SFField::Parameter("bore", 4.0)). std::invalid_argument, with the name of the dimension, when it is NaN,
/// infinite, negative (lengths may be 0) or depends on x, y or z. With checks the new value in the same way and moves
/// the bounds.
///
/// An exact distance is the signed Euclidean distance from the surface. A bound is no larger in magnitude than the
/// distance times the stated Lipschitz bound. What a shape is, it says; LipschitzBound and Bounds know it too.

/// The ball about the origin. Exact distance.
SF_MODELLING_EXPORT SFField Sphere(SFField const& iRadius);

/// The block of three edge lengths, parallel to the axes. Exact distance. (I. Quilez, "Distance functions", 2008.)
SF_MODELLING_EXPORT SFField Box(SFField3 const& iSize);

/// The block with its edges and corners rounded, of the same outer size. Exact distance. std::invalid_argument when
/// twice the radius is more than an edge.
SF_MODELLING_EXPORT SFField RoundedBox(SFField3 const& iSize, SFField const& iRadius);

/// From z = -height / 2 to height / 2. Exact distance.
SF_MODELLING_EXPORT SFField Cylinder(SFField const& iRadius, SFField const& iHeight);

/// All points within `iRadius` of the segment between two points. Exact distance.
SF_MODELLING_EXPORT SFField Capsule(SFField3 const& iFrom, SFField3 const& iTo, SFField const& iRadius);

/// The frustum with `iRadius` at its lower end, z = -height / 2, and `iTopRadius` at its upper one. Height > 0. Exact
/// distance: inside the largest one from a face, outside the smallest one from the three segments of the profile.
SF_MODELLING_EXPORT SFField Cone(SFField const& iRadius, SFField const& iHeight, SFField const& iTopRadius = 0.0);

/// `iRadius` from the z axis to the centre of the tube, `iTubeRadius` of the tube, which is not larger. Exact distance.
SF_MODELLING_EXPORT SFField Torus(SFField const& iRadius, SFField const& iTubeRadius);

/// The ellipsoid with three semi-axes > 0: (|(x/a, y/b, z/c)| - 1) min(a, b, c). A bound, exact along the shortest
/// axis; Lipschitz bound 1.
SF_MODELLING_EXPORT SFField Ellipsoid(SFField3 const& iRadii);

/// n p <= offset, for a direction `iNormal` that points outwards and need not be of unit length. Exact distance.
SF_MODELLING_EXPORT SFField HalfSpace(ZULMathVector const& iNormal, SFField const& iOffset = 0.0);

/// A point of the plane z = 0.
using SFPoint2 = std::array<double, 2>;

/// The prism over a polygon, which may be concave; where edges cross, the even-odd rule says what is inside. The
/// polygon closes itself and may turn either way. Exact distance, in 16 to 21 operations an edge that do not depend on
/// z. (Distances from the segments; sign by the crossings of a ray, the half-open rule of M. Shimrat, "Algorithm 112:
/// position of point relative to polygon", 1962.) std::invalid_argument for fewer than three corners that differ, and
/// for coordinates that are NaN or infinite.
SF_MODELLING_EXPORT SFField Prism(std::span<SFPoint2 const> iPolygon, SFField const& iHeight);
/// The same of corners in braces.
inline SFField Prism(std::initializer_list<SFPoint2> iPolygon, SFField const& iHeight)
{
  return Prism(std::span<SFPoint2 const>(iPolygon.begin(), iPolygon.size()), iHeight);
}

/// A spur gear with a tooth on the x axis: pitch diameter module x teeth, involute flanks, addendum 1 module, dedendum
/// 1.25 modules, no backlash; below the base circle the flanks are radial, an undercut is not cut. A bound: exact over
/// the flanks outside of the base circle, where the distance along a tangent of that circle is sqrt(r^2 - rb^2) - rb
/// acos(rb / r) + rb (|theta| - theta0), and over tips, roots and faces. Lipschitz bound sqrt(1 + (pi / teeth)^2) or
/// less. (L. Euler's involute, as in ISO 53 and ISO 21771.) Teeth: a whole number of at least 3. The pressure angle is
/// in radians, above 0 and below pi / 4.
SF_MODELLING_EXPORT SFField Gear(SFField const& iModule, SFField const& iTeeth, SFField const& iHeight,
                                 SFField const& iPressureAngle = ZULPI / 9.0);

/// The triply periodic surfaces, by the leading terms of their Fourier series. (H. G. von Schnering and R. Nesper,
/// "Nodal surfaces of Fourier series", 1991; Lidinoid: S. Lidin and S. Larsson, "Bonnet transformation of infinite
/// periodic minimal surfaces with hexagonal symmetry", 1990, in the usual trigonometric form.)
enum class SFPeriodicSurface
{
  Gyroid,
  SchwarzP,
  SchwarzD,
  Lidinoid,
  Neovius,
  IWP
};

/// The wall of a thickness, half on each side of a periodic surface, through all space; `iCell` > 0 is the period. The
/// series g of the surface is divided by k G, with k = 2 pi / cell and G the harmonic mean of |grad g| over the surface
/// for k = 1. The thickness is therefore that of the wall on average; at a place it is, to first order, G / |grad g|
/// times that. A bound with the Lipschitz bound max |grad g| / G:
///
/// | Surface  | G     | thickness, of the given one | Lipschitz bound |
/// |---|---|---|---|
/// | Gyroid   | 1.529 | 0.88 to 1.08                | 1.133 |
/// | SchwarzP | 1.312 | 0.76 to 1.31                | 1.320 |
/// | SchwarzD | 1.493 | 0.86 to 1.06                | 1.161 |
/// | Lidinoid | 1.267 | 0.50 to 2.57                | 2.052 |
/// | Neovius  | 2.584 | 0.50 to 2.58                | 2.710 |
/// | IWP      | 4.301 | 0.88 to 1.27                | 1.209 |
SF_MODELLING_EXPORT SFField PeriodicSheet(SFPeriodicSurface iSurface, SFField const& iCell, SFField const& iThickness);

/// The labyrinth on one side of a periodic surface, g < 0, with its surface moved outwards by `iOffset`, scaled as
/// above.
SF_MODELLING_EXPORT SFField PeriodicNetwork(SFPeriodicSurface iSurface, SFField const& iCell,
                                            SFField const& iOffset = 0.0);

/// The ends of a strut.
struct SFStrut
{
  ZULMathPoint from; ///< the middle of one end
  ZULMathPoint to;   ///< the middle of the other; may be the same
};

/// The union of capsules of one radius. Exact distance outside and up to the axes; where struts overlap, inside, the
/// distance from the nearest axis less the radius. Struts on one line that touch are one, coordinates that agree to 13
/// digits are, and the parts that parallel struts have in common occur once. std::invalid_argument for an empty list.
SF_MODELLING_EXPORT SFField Struts(std::span<SFStrut const> iStruts, SFField const& iRadius);
/// The same of struts in braces.
inline SFField Struts(std::initializer_list<SFStrut> iStruts, SFField const& iRadius)
{
  return Struts(std::span<SFStrut const>(iStruts.begin(), iStruts.size()), iRadius);
}

/// Struts from each point to the next one. std::invalid_argument for fewer than two points.
SF_MODELLING_EXPORT SFField Chain(std::span<ZULMathPoint const> iPoints, SFField const& iRadius);
/// The same of points in braces.
inline SFField Chain(std::initializer_list<ZULMathPoint> iPoints, SFField const& iRadius)
{
  return Chain(std::span<ZULMathPoint const>(iPoints.begin(), iPoints.size()), iRadius);
}

/// What the struts of a cell join.
enum class SFLattice
{
  Cubic, ///< corners along the edges
  Bcc,   ///< the centre and the corners
  Fcc,   ///< the centres of the faces and the corners
  Octet, ///< as Fcc, and the centres of faces that meet
  Kelvin ///< the corners of truncated octahedra that fill space
};

/// Struts over a box of nx x ny x nz cells, centred at the origin, `iCell` the edge lengths of a cell, each > 0. Struts
/// that cells share occur once. std::invalid_argument for a count of 0, std::length_error beyond SFField::MaxNodes
/// struts.
SF_MODELLING_EXPORT SFField Lattice(SFLattice iLattice, std::array<unsigned int, 3> const& iCounts,
                                    ZULMathVector const& iCell, SFField const& iRadius);

} // namespace SF
