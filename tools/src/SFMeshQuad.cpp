#include "SFMeshQuad.h"

#include <algorithm>
#include <cmath>

namespace SF {
namespace {

/// Diagonals whose triangles agree with the normals to within this are equally good.
constexpr double EqualAgreement = 0.01;
/// A triangle whose height is below this, as a part of its sides, has no direction.
constexpr double Flat = 1e-6;

/// 0 without height.
SFVector3 NormalOf(SFMeshQuad const& iQuad, SFMeshQuad::Corners const& iCorners)
{
  SFVector3 const one = iQuad.Position(iCorners[1]) - iQuad.Position(iCorners[0]);
  SFVector3 const other = iQuad.Position(iCorners[2]) - iQuad.Position(iCorners[0]);
  SFVector3 const across = Cross(one, other);
  return Norm(across) <= Flat * (Dot(one, one) + Dot(other, other)) ? SFVector3{} : Unit(across);
}

/// Sharp vertices face several ways and only tell what is turned over.
double Agreement(SFMeshQuad const& iQuad, SFMeshQuad::Corners const& iCorners, double iFlat)
{
  SFVector3 const normal = NormalOf(iQuad, iCorners);
  if (normal == SFVector3{})
    return iFlat; // three vertices on one edge
  double agreement = 1.0;
  for (std::size_t const corner : iCorners) {
    double const cosine = Dot(normal, AsDoubles(iQuad.vertices[corner]->normal));
    if (!iQuad.vertices[corner]->isSharp || cosine < 0.0)
      agreement = std::min(agreement, cosine);
  }
  return agreement;
}

} // namespace

std::size_t SFMeshQuad::BetterCut() const
{
  std::array<double, 2> agreement{};
  std::array<int, 2> sharp{};
  std::array<double, 2> length{};
  for (std::size_t cut = 0; cut < 2; ++cut) {
    agreement[cut] = std::min(Agreement(*this, Cuts[cut][0], -1.0), Agreement(*this, Cuts[cut][1], -1.0));
    sharp[cut] = int{vertices[cut]->isSharp} + int{vertices[cut + 2]->isSharp};
    length[cut] = Norm(Position(cut + 2) - Position(cut));
  }
  if (std::abs(agreement[0] - agreement[1]) > EqualAgreement)
    return agreement[0] > agreement[1] ? 0 : 1;
  if (sharp[0] != sharp[1])
    return sharp[0] > sharp[1] ? 0 : 1;
  return length[0] <= length[1] ? 0 : 1;
}

double SFMeshQuad::AgreementOf(Corners const& iCorners) const { return Agreement(*this, iCorners, 1.0); }

double SFMeshQuad::AgreementOf(Corners const& iCorners, SFVector3 const& iNormal) const
{
  SFVector3 const normal = NormalOf(*this, iCorners);
  return normal == SFVector3{} ? 1.0 : Dot(normal, iNormal);
}

} // namespace SF
