#pragma once

#include "SFField.h"
#include "ZULMathTransformation.h"

#include <array>
#include <cstddef>

namespace SF {

/// c0 x + c1 y + c2 z + c3.
using SFAffineRow = std::array<double, 4>;
/// An affine mapping of points, one row for each coordinate of the image.
using SFAffineRows = std::array<SFAffineRow, 3>;

SFAffineRows RowsOf(ZULMathTransformation const& iTransformation);

/// The terms whose coefficient is not 0, from left to right.
SFField AffineForm(SFAffineRow const& iCoefficients, SFField3 const& iCoordinates);
SFField3 AffineImage(SFAffineRows const& iRows, SFField3 const& iCoordinates);
/// How many nodes AffineForm makes over coordinates that are no constants.
std::size_t AffineFormSize(SFAffineRow const& iCoefficients);

inline SFField3 Coordinates() { return {SFField::X(), SFField::Y(), SFField::Z()}; }

} // namespace SF
