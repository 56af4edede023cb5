/// @file
/// A point of space.
#pragma once

/// A point of space in the host's length unit; the coordinates are read and written directly.
struct ZULMathPoint
{
  constexpr ZULMathPoint() = default;
  /// From its coordinates.
  constexpr ZULMathPoint(double iX, double iY, double iZ) : x(iX), y(iY), z(iZ) {}

  double x = 0.0; ///< coordinate along the first axis
  double y = 0.0; ///< coordinate along the second axis
  double z = 0.0; ///< coordinate along the third axis
};
