#include "SFAffineImage.h"

#include <optional>

namespace SF {

SFAffineRows RowsOf(ZULMathTransformation const& iTransformation)
{
  std::array<double, 12> coefficients{};
  iTransformation.GetCoef(coefficients.data(), 12);
  SFAffineRows rows{};
  for (std::size_t i = 0; i < 12; ++i)
    rows[i / 4][i % 4] = coefficients[i];
  return rows;
}

SFField AffineForm(SFAffineRow const& iCoefficients, SFField3 const& iCoordinates)
{
  std::optional<SFField> sum;
  for (std::size_t i = 0; i < 3; ++i) {
    if (iCoefficients[i] == 0.0)
      continue;
    SFField const term = iCoefficients[i] == 1.0 ? iCoordinates[i] : iCoefficients[i] * iCoordinates[i];
    sum = sum ? *sum + term : term;
  }
  double const shift = iCoefficients[3];
  if (!sum)
    return shift;
  if (shift == 0.0)
    return *sum;
  return shift < 0.0 ? *sum - -shift : *sum + shift;
}

SFField3 AffineImage(SFAffineRows const& iRows, SFField3 const& iCoordinates)
{
  return {AffineForm(iRows[0], iCoordinates), AffineForm(iRows[1], iCoordinates), AffineForm(iRows[2], iCoordinates)};
}

std::size_t AffineFormSize(SFAffineRow const& iCoefficients)
{
  std::size_t terms = 0;
  std::size_t products = 0;
  for (std::size_t i = 0; i < 3; ++i) {
    terms += iCoefficients[i] != 0.0 ? 1 : 0;
    products += iCoefficients[i] != 0.0 && iCoefficients[i] != 1.0 ? 1 : 0;
  }
  if (terms == 0)
    return 1;
  return 2 * products + (terms - 1) + (iCoefficients[3] != 0.0 ? 2 : 0);
}

} // namespace SF
