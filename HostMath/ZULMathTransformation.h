/// @file
/// An affine map of space.
#pragma once

#include "ZULMath3x3Matrix.h"
#include "ZULMathPoint.h"
#include "ZULResultCodes.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>

/// An affine transformation of space: a 4x4 matrix of 16 coefficients, row by row, that acts on points as
/// columns, p' = (c0 x + c1 y + c2 z + c3, c4 x + ... + c7, c8 x + ... + c11). A usable transformation has the
/// last row 0 0 0 1. Sums are evaluated from left to right.
class ZULMathTransformation
{
public:
  /// The identity.
  ZULMathTransformation() = default;

  /// `iCount` is 16, or 12 for the first three rows. With any other count, or without coefficients, all 16 are
  /// zero: such a transformation has no inverse.
  ZULMathTransformation(double const* iCoefficients, int iCount)
  {
    if (iCoefficients == nullptr || (iCount != 12 && iCount != 16)) {
      _coefficients.fill(0.0);
      return;
    }
    for (std::size_t i = 0; i < static_cast<std::size_t>(iCount); ++i)
      _coefficients[i] = iCoefficients[i];
  }

  /// Writes the first `iCount` coefficients, at most 16.
  void GetCoef(double* oCoefficients, int iCount) const
  {
    for (std::size_t i = 0; i < _coefficients.size() && static_cast<int>(i) < iCount; ++i)
      oCoefficients[i] = _coefficients[i];
  }

  /// The linear part.
  void GetMatrix(ZULMath3x3Matrix& oMatrix) const
  {
    auto const& c = _coefficients;
    oMatrix.SetCoef(c[0], c[1], c[2], c[4], c[5], c[6], c[8], c[9], c[10]);
  }

  /// Exact comparison of all 16 coefficients.
  bool IsIdentity() const { return _coefficients == IdentityCoefficients(); }

  /// E_FAIL, and `oInverse` unchanged, when the last row is not 0 0 0 1, when the linear part is singular, or
  /// when a coefficient of the inverse is not finite.
  ///
  /// Singular means that the determinant of the linear part is exactly zero or not finite after its rows, and
  /// then its columns, have been scaled by powers of two to a largest coefficient in [0.5, 1). Both scalings are
  /// applied at once and are exact; they keep the determinant of a regular matrix, however small or far apart
  /// its scales, from vanishing by underflow. There is no tolerance.
  HRESULT ComputeInverse(ZULMathTransformation& oInverse) const;

private:
  static constexpr std::array<double, 16> IdentityCoefficients()
  {
    return {1.0, 0.0, 0.0, 0.0, 0.0, 1.0, 0.0, 0.0, 0.0, 0.0, 1.0, 0.0, 0.0, 0.0, 0.0, 1.0};
  }
  /// The exponent e of a magnitude, which lies in [2^(e-1), 2^e). Far below any other for zero, and for what is
  /// not finite.
  static int ExponentOf(double iValue)
  {
    constexpr int none = -100000;
    if (iValue == 0.0 || !std::isfinite(iValue))
      return none;
    int exponent = 0;
    std::frexp(iValue, &exponent);
    return exponent;
  }

  std::array<double, 16> _coefficients = IdentityCoefficients();

  friend ZULMathPoint operator*(ZULMathTransformation const&, ZULMathPoint const&);
};

/// The image of a point; the last row is not looked at.
inline ZULMathPoint operator*(ZULMathTransformation const& iTransformation, ZULMathPoint const& iPoint)
{
  auto const& c = iTransformation._coefficients;
  return {c[0] * iPoint.x + c[1] * iPoint.y + c[2] * iPoint.z + c[3],
          c[4] * iPoint.x + c[5] * iPoint.y + c[6] * iPoint.z + c[7],
          c[8] * iPoint.x + c[9] * iPoint.y + c[10] * iPoint.z + c[11]};
}

inline HRESULT ZULMathTransformation::ComputeInverse(ZULMathTransformation& oInverse) const
{
  auto const& c = _coefficients;
  if (c[12] != 0.0 || c[13] != 0.0 || c[14] != 0.0 || c[15] != 1.0)
    return E_FAIL;

  double a[3][3];
  int rowExponent[3];
  int columnExponent[3];
  for (std::size_t i = 0; i < 3; ++i) {
    double const* const row = &c[4 * i];
    rowExponent[i] = std::max({ExponentOf(row[0]), ExponentOf(row[1]), ExponentOf(row[2])});
  }
  for (std::size_t j = 0; j < 3; ++j) {
    columnExponent[j] = std::max({ExponentOf(c[j]) - rowExponent[0], ExponentOf(c[4 + j]) - rowExponent[1],
                                  ExponentOf(c[8 + j]) - rowExponent[2]});
    for (std::size_t i = 0; i < 3; ++i)
      a[i][j] = std::ldexp(c[4 * i + j], -rowExponent[i] - columnExponent[j]);
  }

  double cofactor[3][3];
  for (std::size_t i = 0; i < 3; ++i)
    for (std::size_t j = 0; j < 3; ++j) {
      std::size_t const i1 = (i + 1) % 3;
      std::size_t const i2 = (i + 2) % 3;
      std::size_t const j1 = (j + 1) % 3;
      std::size_t const j2 = (j + 2) % 3;
      cofactor[i][j] = a[i1][j1] * a[i2][j2] - a[i1][j2] * a[i2][j1];
    }
  double const determinant = a[0][0] * cofactor[0][0] + a[0][1] * cofactor[0][1] + a[0][2] * cofactor[0][2];
  if (determinant == 0.0 || !std::isfinite(determinant))
    return E_FAIL;

  std::array<double, 16> inverse = IdentityCoefficients();
  for (std::size_t i = 0; i < 3; ++i) {
    double* const row = &inverse[4 * i];
    for (std::size_t j = 0; j < 3; ++j)
      row[j] = std::ldexp(cofactor[j][i] / determinant, -rowExponent[j] - columnExponent[i]);
    row[3] = 0.0 - (row[0] * c[3] + row[1] * c[7] + row[2] * c[11]);
  }
  if (!std::all_of(inverse.begin(), inverse.end(), [](double iValue) { return std::isfinite(iValue); }))
    return E_FAIL;
  oInverse._coefficients = inverse;
  return S_OK;
}
