#pragma once

#include "SFFieldNode.h"

#include <array>
#include <vector>

/// Affine functions of the point, and the lengths of vectors of them.
namespace SF::AffineForms {

using Form = std::array<double, 4>; ///< coefficients of x, y, z, and the constant

constexpr double Tolerance = 1e-13;    ///< of what counts as orthogonal and of unit length
constexpr double Margin = 1.0 + 1e-12; ///< for the rounding of coefficients

/// iA + iFactor iB
Form Sum(Form const& iA, double iFactor, Form const& iB);

/// The operands of the squares that a node is a sum of; false when it is no such sum, or a very long one.
bool CollectSquares(SFFieldNode const& iNode, std::vector<SFFieldNode const*>& oTerms);

/// What is known of sqrt(a1^2 + a2^2 + ...).
SFFieldFacts NormFacts(std::vector<Form> const& iForms);

} // namespace SF::AffineForms
