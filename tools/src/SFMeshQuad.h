#pragma once

#include "SFMeshBlock.h"

#include <array>
#include <cstdint>

namespace SF {

/// The vertices in the four cells around a crossed edge of the lattice, counter-clockwise from outside.
struct SFMeshQuad
{
  using Corners = std::array<std::size_t, 3>;
  /// The two ways to cut a quadrilateral into triangles.
  static constexpr std::array<std::array<Corners, 2>, 2> Cuts{{{{{0, 1, 2}, {0, 2, 3}}}, {{{0, 1, 3}, {1, 2, 3}}}}};

  std::array<SFMeshVertex const*, 4> vertices{};
  std::array<std::uint32_t, 4> numbers{};

  SFVector3 const& Position(std::size_t iCorner) const { return vertices[iCorner]->position; }
  /// The cut whose triangles face as the surface does at their vertices.
  std::size_t BetterCut() const;
  /// How well a triangle faces the way that the surface does at its vertices, or as a normal does: the smallest cosine, below
  /// 0 when it is turned over, and 1 for one without height.
  double AgreementOf(Corners const& iCorners) const;
  double AgreementOf(Corners const& iCorners, SFVector3 const& iNormal) const;
};

/// Calls `iTake` with the places of the four cells around an edge of a cell, the number of the edge in each, and the corner
/// of the quadrilateral.
template <class Take>
void ForEachAround(SFLatticeIndex const& iCell, unsigned int iEdge, bool iIsOutwards, Take const& iTake)
{
  unsigned int const axis = iEdge / 4;
  unsigned int const lowCorner = LowCornerOf(iEdge);
  std::size_t const u = (axis + 1) % 3;
  std::size_t const v = (axis + 2) % 3;
  SFLatticeIndex const low{iCell[0] + (lowCorner & 1), iCell[1] + (lowCorner >> 1 & 1), iCell[2] + (lowCorner >> 2)};
  // Counter-clockwise from the upper end of the edge; the other way round when that is inside.
  constexpr std::array<std::array<unsigned int, 2>, 4> around{{{0, 0}, {1, 0}, {1, 1}, {0, 1}}};
  for (std::size_t k = 0; k < 4; ++k) {
    SFLatticeIndex cell = low;
    cell[u] -= around[k][0];
    cell[v] -= around[k][1];
    iTake(cell, 4 * axis + around[k][0] + 2 * around[k][1], iIsOutwards ? k : 3 - k);
  }
}

} // namespace SF
