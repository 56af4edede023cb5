#include "SFMeshTangles.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace SF {
namespace {

/// Lengths in voxels. Vertices that are nearer to each other are in one place.
constexpr double OnePlace = 0.01;
/// A sharp vertex so near to the line along an edge is on that edge; a triangle so near to a side is on that side.
constexpr double OnEdge = 0.1;
/// How far beyond the last vertex of an edge a place for another one is looked for.
constexpr double Beyond = 0.25;

} // namespace

/// Calls `iTake` with each quadrilateral around a vertex.
template <class Take>
void SFMeshTangles::ForEachQuad(Suspect const& iSuspect, Take const& iTake) const
{
  SFMeshCell const& cell = *_cellAt(iSuspect.cell).cell;
  SFDualCell const& parts = cell.GetParts();
  for (unsigned int edge = 0; edge < 12; ++edge) {
    if (parts.partOf[edge] != iSuspect.part)
      continue;
    SFMeshQuad quad;
    ForEachAround(iSuspect.cell, edge, cell.IsInside(LowCornerOf(edge)),
                  [&](SFLatticeIndex const& iAt, unsigned int iEdge, std::size_t iCorner) {
                    auto const [there, vertices] = _cellAt(iAt);
                    quad.vertices[iCorner] = &vertices[there->GetParts().partOf[iEdge]];
                  });
    iTake(quad);
  }
}

/// Triangles on a side have to face as that side does, others as their vertices.
double SFMeshTangles::AgreementOf(Suspect const& iSuspect, SFMeshQuad const& iQuad) const
{
  double agreement = 1.0;
  for (SFMeshQuad::Corners const& corners : SFMeshQuad::Cuts[iQuad.BetterCut()]) {
    double nearest = OnEdge * _voxel;
    SFTangentPlane const* side = nullptr;
    for (SFTangentPlane const& plane : iSuspect.sides) {
      double distance = 0.0;
      for (std::size_t const corner : corners)
        distance = std::max(distance, std::abs(Dot(plane.normal, iQuad.Position(corner)) - plane.offset));
      if (distance < nearest) {
        nearest = distance;
        side = &plane;
      }
    }
    agreement =
        std::min(agreement, side != nullptr ? iQuad.AgreementOf(corners, side->normal) : iQuad.AgreementOf(corners));
  }
  return agreement;
}

double SFMeshTangles::QualityOf(Suspect const& iSuspect) const
{
  SFMeshVertex const& vertex = _cellAt(iSuspect.cell).vertices[iSuspect.part];
  double quality = 1.0;
  ForEachQuad(iSuspect, [&](SFMeshQuad const& iQuad) {
    quality = std::min(quality, AgreementOf(iSuspect, iQuad));
    for (SFMeshVertex const* const other : iQuad.vertices)
      if (other != &vertex && Norm(other->position - vertex.position) <= OnePlace * _voxel)
        quality = Coincident;
  });
  return quality;
}

/// As distances from a vertex along an edge: the middles between its neighbours on the edge, the nearest first.
std::vector<double> SFMeshTangles::PlacesAlong(Suspect const& iSuspect, SFVector3 const& iFrom,
                                               SFVector3 const& iEdge) const
{
  SFMeshVertex const& vertex = _cellAt(iSuspect.cell).vertices[iSuspect.part];
  std::vector<double> taken;
  ForEachQuad(iSuspect, [&](SFMeshQuad const& iQuad) {
    for (SFMeshVertex const* const other : iQuad.vertices) {
      SFVector3 const way = other->position - iFrom;
      double const along = Dot(way, iEdge);
      if (other != &vertex && other->isSharp && Norm(way - along * iEdge) <= OnEdge * _voxel)
        taken.push_back(along);
    }
  });
  if (taken.empty())
    return {};
  std::sort(taken.begin(), taken.end());
  std::vector<double> places{taken.front() - Beyond * _voxel, taken.back() + Beyond * _voxel};
  for (std::size_t i = 0; i + 1 < taken.size(); ++i)
    if (taken[i + 1] - taken[i] > 2.0 * OnePlace * _voxel)
      places.push_back((taken[i] + taken[i + 1]) / 2.0);
  std::sort(places.begin(), places.end(), [](double iA, double iB) { return std::abs(iA) < std::abs(iB); });
  return places;
}

std::optional<SFVector3> SFMeshTangles::FindPlace(Suspect const& iSuspect, double iLeast, SFMeshVertex& ioVertex) const
{
  SFVector3 const from = ioVertex.position;
  std::optional<SFVector3> found;
  auto const& sides = iSuspect.sides;
  for (std::size_t k = 0; k < sides.size() && !found; ++k)
    for (std::size_t l = 0; l < k && !found; ++l) {
      SFVector3 const edge = Unit(Cross(sides[k].normal, sides[l].normal));
      for (double const along : PlacesAlong(iSuspect, from, edge)) {
        ioVertex.position = from + along * edge;
        if (QualityOf(iSuspect) >= iLeast) {
          found = ioVertex.position;
          break;
        }
        ioVertex.position = from;
      }
    }
  ioVertex.position = from;
  return found;
}

} // namespace SF
