#pragma once

#include "SFMeshBlock.h"

#include <array>
#include <cstdint>
#include <functional>
#include <vector>

namespace SF {

/// The distance of a point from a triangle.
double DistanceToTriangle(SFVector3 const& iPoint, std::array<SFVector3, 3> const& iTriangle);

/// The triangles that belong to a block.
struct SFBlockTriangles
{
  std::vector<std::array<std::uint32_t, 3>> triangles; ///< numbers of vertices of the mesh
  double surfaceDistance = 0.0;                        ///< the largest one of a crossing from its triangles
  /// The triangles that lie on a face of the box, and their centres.
  std::vector<std::uint32_t> onFaces;
  std::vector<SFVector3> centresOnFaces;
};

/// The triangles around the edges that begin at the lowest corners of a block's cells: a quadrilateral for each edge that
/// the surface crosses, of the vertices in the four cells around it, cut in two along the better diagonal.
/// `iBlockAt` finds the block itself and its neighbours towards lower cells, by the difference of their places, 0 or -1 along
/// each axis. The numbers of their vertices are known. `iBox` may be null; else triangles on its faces are noted.
SFBlockTriangles TrianglesOf(SFMeshLattice const& iLattice, SFMeshBlock const& iBlock, ZULMathBox const* iBox,
                             std::function<SFMeshBlock const*(std::array<int, 3> const&)> const& iBlockAt);

} // namespace SF
