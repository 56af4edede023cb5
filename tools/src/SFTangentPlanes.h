#pragma once

#include "SFVector3.h"

#include <array>
#include <cstddef>

namespace SF {

/// The plane in which a linear approximation of a field is 0: n x = offset, |n| = 1.
struct SFTangentPlane
{
  SFVector3 normal{}; ///< 0 where the field has none
  double offset = 0.0;

  bool IsKnown() const { return normal != SFVector3{}; }
};

/// From the value and the gradient at a point.
inline SFTangentPlane TangentPlaneOf(SFVector3 const& iPoint, double iValue, SFVector3 const& iGradient)
{
  double const length = Norm(iGradient);
  if (!(length > 0.0) || !std::isfinite(length) || !std::isfinite(iValue / length))
    return {};
  SFVector3 const normal = (1.0 / length) * iGradient;
  return {normal, Dot(normal, iPoint) - iValue / length};
}

/// The point nearest to planes in the sense of least squares, the quadratic error function. Directions in which the planes
/// say too little are left as in `iStart`: those whose eigenvalue is below `Cutoff` of the largest.
class SFPlaneFit
{
public:
  /// Planes that meet at less than about 6 degrees count as one.
  static constexpr double Cutoff = 0.0025;

  explicit SFPlaneFit(SFVector3 const& iStart) : _start(iStart) {}
  void Add(SFTangentPlane const& iPlane);
  SFVector3 Solve() const;

private:
  SFVector3 _start;
  std::array<double, 6> _matrix{}; ///< xx, xy, xz, yy, yz, zz
  SFVector3 _right{};
};

} // namespace SF
