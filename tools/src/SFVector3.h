#pragma once

#include <array>
#include <cmath>
#include <cstddef>

namespace SF {

/// A point or a vector, by its coordinates.
using SFVector3 = std::array<double, 3>;

inline SFVector3 operator+(SFVector3 const& iA, SFVector3 const& iB)
{
  return {iA[0] + iB[0], iA[1] + iB[1], iA[2] + iB[2]};
}
inline SFVector3 operator-(SFVector3 const& iA, SFVector3 const& iB)
{
  return {iA[0] - iB[0], iA[1] - iB[1], iA[2] - iB[2]};
}
inline SFVector3 operator*(double iFactor, SFVector3 const& iA)
{
  return {iFactor * iA[0], iFactor * iA[1], iFactor * iA[2]};
}
inline double Dot(SFVector3 const& iA, SFVector3 const& iB) { return iA[0] * iB[0] + iA[1] * iB[1] + iA[2] * iB[2]; }
inline SFVector3 Cross(SFVector3 const& iA, SFVector3 const& iB)
{
  return {iA[1] * iB[2] - iA[2] * iB[1], iA[2] * iB[0] - iA[0] * iB[2], iA[0] * iB[1] - iA[1] * iB[0]};
}
inline double Norm(SFVector3 const& iA) { return std::sqrt(Dot(iA, iA)); }
/// Of length 1; 0 for what has no direction.
inline SFVector3 Unit(SFVector3 const& iA)
{
  double const length = Norm(iA);
  return length > 0.0 && std::isfinite(length) ? (1.0 / length) * iA : SFVector3{};
}
inline std::array<float, 3> AsFloats(SFVector3 const& iA)
{
  return {static_cast<float>(iA[0]), static_cast<float>(iA[1]), static_cast<float>(iA[2])};
}
inline SFVector3 AsDoubles(std::array<float, 3> const& iA) { return {iA[0], iA[1], iA[2]}; }

} // namespace SF
