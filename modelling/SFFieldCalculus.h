#pragma once

#include "SFField.h"

namespace SF {

/// The three partial derivatives by the rules of calculus, symbolically. At a kink they are those of one side, as
/// SFCompiledField::EvaluateGradient says: the left operand of MIN, MAX and WITHOUT on ties, the minimum's for SYMDIFF,
/// -1 for ABS at 0. Where a root has no derivative, the result is 0 if its argument has a minimum there, so that the
/// gradient of a distance is 0 at its centre instead of NaN. A resource answers with its GetGradient.
/// std::domain_error for the derivative of a component of a resource's gradient.
SF_MODELLING_EXPORT SFField3 Gradient(SFField const& iField);

/// The solid with its surface moved outwards by `iDistance`, inwards where it is negative.
///
/// Leaves of the set operations (MIN, MAX, WITHOUT, SYMDIFF, NOT) become f - d |grad f|, so that all parts of a union
/// move, and the result is a solid again. That is exact where |grad f| = 1 between the two surfaces (planes, and every
/// distance; there the gradient is not computed at all), and else of first order: the error of the surface's place is
/// O(d^2) times the second derivatives along the normal. Edges and corners of set operations stay sharp: an outwards
/// offset of a convex edge is the edge of the moved faces, not rounded. Parameters stay alive, nothing is rounded, and
/// the field is not changed. std::invalid_argument for a distance that is not finite.
SF_MODELLING_EXPORT SFField Offset(SFField const& iField, double iDistance);
/// The same by a distance that may hold parameters. std::invalid_argument when it depends on x, y or z.
SF_MODELLING_EXPORT SFField Offset(SFField const& iField, SFField const& iDistance);

/// A wall of a thickness along the surface of a solid: inwards of it, outwards where the thickness is negative.
/// std::invalid_argument for a thickness of 0 or one that is not finite.
SF_MODELLING_EXPORT SFField Shell(SFField const& iField, double iThickness);

} // namespace SF
