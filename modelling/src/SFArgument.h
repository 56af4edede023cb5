#pragma once

#include "ZULMathPoint.h"
#include "ZULMathVector.h"

#include <cmath>
#include <stdexcept>
#include <string>
#include <string_view>

namespace SF::Argument {

[[noreturn]] inline void Refuse(std::string_view iName, std::string_view iWhy)
{
  throw std::invalid_argument(std::string(iName).append(": ").append(iWhy));
}

inline double Finite(std::string_view iName, double iValue)
{
  if (!std::isfinite(iValue))
    Refuse(iName, "not a finite number");
  return iValue;
}

inline double Positive(std::string_view iName, double iValue)
{
  if (!(Finite(iName, iValue) > 0.0))
    Refuse(iName, "not above 0");
  return iValue;
}

inline double NotNegative(std::string_view iName, double iValue)
{
  if (!(Finite(iName, iValue) >= 0.0))
    Refuse(iName, "below 0");
  return iValue;
}

template <class Vector>
Vector const& FiniteVector(std::string_view iName, Vector const& iVector)
{
  for (double const component : {iVector.x, iVector.y, iVector.z})
    Finite(iName, component);
  return iVector;
}

/// A vector scaled to unit length, safe for any finite one but zero.
inline ZULMathVector Direction(std::string_view iName, ZULMathVector const& iVector)
{
  FiniteVector(iName, iVector);
  double const largest = std::fmax(std::fmax(std::abs(iVector.x), std::abs(iVector.y)), std::abs(iVector.z));
  if (largest == 0.0)
    Refuse(iName, "has no direction");
  double const x = iVector.x / largest;
  double const y = iVector.y / largest;
  double const z = iVector.z / largest;
  double const length = std::sqrt(x * x + y * y + z * z);
  return {x / length, y / length, z / length};
}

} // namespace SF::Argument
