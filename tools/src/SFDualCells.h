#pragma once

#include <array>
#include <cstdint>

namespace SF {

// Cells of a lattice by the signs at their corners. Corner c is at (c & 1, c >> 1 & 1, c >> 2 & 1). Edge 4 a + u + 2 v runs
// along axis a and lies at (u, v) along the axes that follow a in cyclic order. Face 2 a + s is at s along axis a.

/// The lowest corner of an edge.
constexpr unsigned int LowCornerOf(unsigned int iEdge)
{
  unsigned int const axis = iEdge / 4;
  return (iEdge & 1U) << (axis + 1) % 3 | (iEdge >> 1U & 1U) << (axis + 2) % 3;
}

/// The parts of the surface in a cell: closed chains of crossed edges, each of which gets a vertex.
struct SFDualCell
{
  static constexpr std::uint8_t None = 255;

  std::uint8_t count = 0;                ///< parts
  std::array<std::uint8_t, 12> partOf{}; ///< of each edge; None where it is not crossed
  std::uint8_t pinchedFace = None;       ///< a face whose two chords belong to one part
};

/// The cell with the corners of `iInside`, a bit for each. On a face with four crossings the chords cut off its inside
/// corners. When two neighbours are both pinched at their common face, their vertices would share an edge between four
/// polygons: such a face is turned, its chords cut off the outside corners, and each cell falls into one part more.
/// (R. Wenger, "Isosurfaces: Geometry, Topology, and Algorithms", 2013, section 3.3.5.)
SFDualCell const& DualCellOf(std::uint8_t iInside, bool iIsTurned);

} // namespace SF
