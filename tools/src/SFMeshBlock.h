#pragma once

#include "SFDualCells.h"
#include "SFMeshLattice.h"

#include <array>
#include <cstdint>
#include <vector>

namespace SF {

/// Which part of a mesh is in a cell.
struct SFMeshCell
{
  std::uint16_t firstVertex = 0; ///< among those of the block
  std::uint8_t inside = 0;       ///< a bit for each corner
  bool isTurned = false;

  bool HasSurface() const { return inside != 0 && inside != 255; }
  bool IsInside(unsigned int iCorner) const { return (inside >> iCorner & 1U) != 0; }
  SFDualCell const& GetParts() const { return DualCellOf(inside, isTurned); }
};

/// A vertex with what the choice of triangles needs to know of it.
struct SFMeshVertex
{
  SFVector3 position{};
  std::array<float, 3> normal{}; ///< of length 1, or 0
  bool isSharp = false;
};

/// The vertices of a cube of cells through which the surface passes. Depends on the lattice and the field alone.
struct SFMeshBlock
{
  static constexpr std::uint32_t Side = 16; ///< cells
  static constexpr std::uint32_t Volume = Side * Side * Side;

  static std::uint32_t CellAt(std::uint32_t iX, std::uint32_t iY, std::uint32_t iZ)
  {
    return (iZ * Side + iY) * Side + iX;
  }

  SFLatticeIndex low{}; ///< the first cell, and its lowest corner
  std::array<SFMeshCell, Volume> cells{};
  std::vector<SFMeshVertex> vertices;
  /// Where the surface crosses the edges from the lowest corner of each cell, between 0 and 1: cell after cell, axis after
  /// axis, those that are crossed.
  std::vector<float> crossings;
  std::uint32_t firstVertex = 0; ///< of the mesh

  double vertexDistance = 0.0;
  double sharpVertexDistance = 0.0;
  std::uint32_t sharpVertices = 0;
  std::uint32_t unplacedVertices = 0;
};

} // namespace SF
