/// @file
/// A vector, and products of two.
#pragma once

#include "ZULMathPoint.h"

#include <cmath>

/// A direction or displacement in space. Every sum below is evaluated from left to right, so that results are
/// the same bits wherever they are computed.
struct ZULMathVector
{
  constexpr ZULMathVector() = default;
  /// From its components.
  constexpr ZULMathVector(double iX, double iY, double iZ) : x(iX), y(iY), z(iZ) {}

  /// Overflows where a square does.
  double Length() const { return std::sqrt(x * x + y * y + z * z); }

  /// Divides the components by the length. A vector of length zero stays as it is.
  void Normalize()
  {
    double const length = Length();
    if (length == 0.0)
      return;
    x /= length;
    y /= length;
    z /= length;
  }

  double x = 0.0; ///< component along the first axis
  double y = 0.0; ///< component along the second axis
  double z = 0.0; ///< component along the third axis
};

/// The scalar product.
constexpr double Dot(ZULMathVector const& iA, ZULMathVector const& iB)
{
  return iA.x * iB.x + iA.y * iB.y + iA.z * iB.z;
}

/// The vector product, right-handed.
constexpr ZULMathVector Cross(ZULMathVector const& iA, ZULMathVector const& iB)
{
  return {iA.y * iB.z - iA.z * iB.y, iA.z * iB.x - iA.x * iB.z, iA.x * iB.y - iA.y * iB.x};
}

/// The way from one point to another.
constexpr ZULMathVector operator-(ZULMathPoint const& iTo, ZULMathPoint const& iFrom)
{
  return {iTo.x - iFrom.x, iTo.y - iFrom.y, iTo.z - iFrom.z};
}
