/// @file
/// A linear map of space.
#pragma once

#include "ZULMathVector.h"

#include <array>
#include <cstddef>

/// A 3x3 matrix, stored and passed row by row.
class ZULMath3x3Matrix
{
public:
  /// The identity.
  ZULMath3x3Matrix() = default;

  /// The nine coefficients, row by row.
  void SetCoef(double i11, double i12, double i13, double i21, double i22, double i23, double i31, double i32,
               double i33)
  {
    _coefficients = {i11, i12, i13, i21, i22, i23, i31, i32, i33};
  }
  /// Reads nine doubles, row by row.
  void SetCoef(double const* iCoefficients)
  {
    for (std::size_t i = 0; i < _coefficients.size(); ++i)
      _coefficients[i] = iCoefficients[i];
  }
  /// Writes nine doubles, row by row.
  void GetCoef(double* oCoefficients) const
  {
    for (std::size_t i = 0; i < _coefficients.size(); ++i)
      oCoefficients[i] = _coefficients[i];
  }

  /// The three vectors become the rows.
  void SetMatrix(ZULMathVector const& iRow0, ZULMathVector const& iRow1, ZULMathVector const& iRow2)
  {
    SetCoef(iRow0.x, iRow0.y, iRow0.z, iRow1.x, iRow1.y, iRow1.z, iRow2.x, iRow2.y, iRow2.z);
  }

  /// The sum of the diagonal, from the first row on.
  double Trace() const { return _coefficients[0] + _coefficients[4] + _coefficients[8]; }

  /// Row and column count from 0.
  double operator()(std::size_t iRow, std::size_t iColumn) const { return _coefficients[3 * iRow + iColumn]; }

private:
  std::array<double, 9> _coefficients{1.0, 0.0, 0.0, 0.0, 1.0, 0.0, 0.0, 0.0, 1.0};
};

/// The image of a vector.
inline ZULMathVector operator*(ZULMath3x3Matrix const& iMatrix, ZULMathVector const& iVector)
{
  return {iMatrix(0, 0) * iVector.x + iMatrix(0, 1) * iVector.y + iMatrix(0, 2) * iVector.z,
          iMatrix(1, 0) * iVector.x + iMatrix(1, 1) * iVector.y + iMatrix(1, 2) * iVector.z,
          iMatrix(2, 0) * iVector.x + iMatrix(2, 1) * iVector.y + iMatrix(2, 2) * iVector.z};
}
