#pragma once

#include "SFVector3.h"
#include "ZULMathBox.h"

#include <array>
#include <cstdint>

namespace SF {

using SFLatticeIndex = std::array<std::int64_t, 3>;

/// The points that a field is sampled at for a mesh. The voxel and the origin are rounded to so few binary digits that every
/// point is an exact number: whoever computes a point, and from whatever corner of a part of the lattice, gets the same bits,
/// and so the same value. Blocks, slabs and processes therefore agree on what they share.
struct SFMeshLattice
{
  /// A lattice whose points enclose the box: the first and the last ones along each axis are outside of it. Its faces do not
  /// lie on lattice points, nor do planes that divide the box evenly. std::invalid_argument as FrameOver, and for a voxel
  /// that is too small beside the coordinates.
  SFMeshLattice(ZULMathBox const& iBox, double iVoxel);

  double At(std::size_t iAxis, std::int64_t iIndex) const
  {
    return origin[iAxis] + static_cast<double>(iIndex) * voxel;
  }
  SFVector3 At(SFLatticeIndex const& iIndex) const { return {At(0, iIndex[0]), At(1, iIndex[1]), At(2, iIndex[2])}; }
  /// The box from one point to another, moved outwards by a number of voxels.
  ZULMathBox BoxBetween(SFLatticeIndex const& iLow, SFLatticeIndex const& iHigh, std::int64_t iMargin = 0) const;

  SFVector3 low;  ///< of the box
  SFVector3 high; ///< of the box
  double voxel;
  SFVector3 origin;
  std::array<std::uint32_t, 3> cells{};
};

} // namespace SF
