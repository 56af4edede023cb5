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
  double length = Norm(iGradient);
  if (!(length > 1e-150 && length < 1e150)) // its square may not be a number
    length = std::hypot(iGradient[0], iGradient[1], iGradient[2]);
  if (!(length > 0.0) || !std::isfinite(length) || !std::isfinite(iValue / length))
    return {};
  SFVector3 const normal = (1.0 / length) * iGradient;
  return {normal, Dot(normal, iPoint) - iValue / length};
}

/// The point nearest to planes in the sense of least squares, the minimum of the quadratic error function, found from a
/// point to start at. It is reached by moves along up to three axes, in each of which the planes say how far; in directions
/// in which they say too little the point stays where it is.
class SFPlaneMeeting
{
public:
  SFPlaneMeeting(SFVector3 const& iStart, std::array<double, 6> const& iMatrix, SFVector3 const& iRight);

  /// 1 for planes that are nearly the same, 2 for an edge, 3 for a corner.
  std::size_t GetRank() const { return _rank; }
  /// The meeting by the first axes only.
  SFVector3 Point(std::size_t iRank) const;
  /// Along which planes of rank 2 meet.
  SFVector3 const& EdgeDirection() const { return _axes[2]; }

private:
  SFVector3 _start;
  std::array<SFVector3, 3> _axes{}; ///< of length 1, by falling eigenvalues
  SFVector3 _moves{};               ///< along the axes
  std::size_t _rank = 0;
};

/// Gathers planes.
class SFPlaneFit
{
public:
  /// Axes whose eigenvalue is below this part of the largest count for nothing: planes that differ by less than about 6
  /// degrees are one.
  static constexpr double Cutoff = 0.0025;

  explicit SFPlaneFit(SFVector3 const& iStart) : _start(iStart) {}
  void Add(SFTangentPlane const& iPlane);
  SFPlaneMeeting Solve() const { return {_start, _matrix, _right}; }

private:
  SFVector3 _start;
  std::array<double, 6> _matrix{}; ///< xx, xy, xz, yy, yz, zz
  SFVector3 _right{};
};

} // namespace SF
