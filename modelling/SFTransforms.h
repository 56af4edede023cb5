#pragma once

#include "SFField.h"
#include "ZULMathPoint.h"
#include "ZULMathTransformation.h"
#include "ZULMathVector.h"

namespace SF {

/// @file
/// Transforms of space. Each gives a plain field over the mapped coordinates: the operand is copied as far as it
/// depends on them, and no node of a result knows of a transform. Lengths are the host's unit, angles are radians,
/// counter-clockwise when seen from the end of the axis. std::invalid_argument, with the name of the parameter, for
/// numbers that are NaN or infinite; std::length_error when the result would have more than SFField::MaxNodes nodes.

/// f(x', y', z'): the coordinates of a field replaced by other fields.
SF_MODELLING_EXPORT SFField Remap(SFField const& iField, SFField const& iX, SFField const& iY, SFField const& iZ);

/// The solid moved by a transformation: f at the inverse image of the point. The values are not scaled: a distance
/// stays one only under a motion. std::invalid_argument for a transformation without an inverse.
SF_MODELLING_EXPORT SFField Affine(SFField const& iField, ZULMathTransformation const& iTransformation);
/// Moved by a displacement.
SF_MODELLING_EXPORT SFField Translate(SFField const& iField, ZULMathVector const& iBy);
/// Turned about an axis through a point. The axis need not be of unit length; zero is an std::invalid_argument.
SF_MODELLING_EXPORT SFField Rotate(SFField const& iField, ZULMathVector const& iAxis, double iAngle,
                                   ZULMathPoint const& iThrough = {});
/// Enlarged by a factor > 0 about a point. The values are enlarged too, so that distances stay distances.
SF_MODELLING_EXPORT SFField Scale(SFField const& iField, double iFactor, ZULMathPoint const& iAbout = {});
/// Stretched along the axes by factors > 0; the values are multiplied by the smallest, so that a distance becomes a
/// lower bound of one.
SF_MODELLING_EXPORT SFField Stretch(SFField const& iField, ZULMathVector const& iFactors);
/// The mirror image in the plane through a point with a normal, which need not be of unit length.
SF_MODELLING_EXPORT SFField Mirror(SFField const& iField, ZULMathVector const& iNormal,
                                   ZULMathPoint const& iThrough = {});

/// Turned about the z axis by an angle that grows with z: `iRate` radians per unit of length. Values are not distances
/// afterwards.
SF_MODELLING_EXPORT SFField Twist(SFField const& iField, double iRate);
/// The solid of revolution about the z axis of a profile in the plane y = 0, x >= 0: f(r, 0, z).
SF_MODELLING_EXPORT SFField Revolve(SFField const& iProfile);
/// The part between z = 0 and `iHeight` > 0 of the cylinder over the profile in the plane z = 0.
SF_MODELLING_EXPORT SFField Extrude(SFField const& iProfile, double iHeight);
/// f(r, theta, z) with theta in (0, 2 pi]: draws in cylindrical coordinates about the z axis.
SF_MODELLING_EXPORT SFField ToCylindrical(SFField const& iField);

/// Copies at all points (i dx, j dy, k dz), 0 <= i < nx and so on, united. The distances may be 0 where the count is 1.
SF_MODELLING_EXPORT SFField Array(SFField const& iField, std::array<unsigned int, 3> const& iCounts,
                                  ZULMathVector const& iSpacing);
/// `iCount` copies turned about the z axis by equal angles that fill the circle, united.
SF_MODELLING_EXPORT SFField PolarArray(SFField const& iField, unsigned int iCount);

} // namespace SF
