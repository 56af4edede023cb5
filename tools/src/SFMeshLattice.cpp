#include "SFMeshLattice.h"

#include "SFSampling.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>

namespace SF {
namespace {

/// How far below the box the lattice begins, in voxels. Boxes are often a multiple of the voxel long, and the planes of a
/// model at simple fractions of them: none of these fall on lattice points.
constexpr double Lead = 7.0 / 16.0;

/// Binary digits of the lattice's coordinates, two fewer than those of a double.
constexpr int Digits = 51;
/// The least that must be left for the voxel.
constexpr int VoxelDigits = 10;

} // namespace

SFMeshLattice::SFMeshLattice(ZULMathBox const& iBox, double iVoxel)
  : low{iBox.low.x, iBox.low.y, iBox.low.z}, high{iBox.high.x, iBox.high.y, iBox.high.z}
{
  FrameOver(iBox, iVoxel); // throws
  double largest = 0.0;
  for (std::size_t axis = 0; axis < 3; ++axis) {
    if (!(low[axis] < high[axis]))
      throw std::invalid_argument("bounds: the box has no volume");
    largest = std::max({largest, std::abs(low[axis]), std::abs(high[axis])});
  }
  double const unit = std::ldexp(1.0, std::ilogb(largest + 4.0 * iVoxel) + 1 - Digits);
  if (!(iVoxel >= std::ldexp(unit, VoxelDigits)))
    throw std::invalid_argument("voxel: too small beside the coordinates of the box");
  voxel = std::round(iVoxel / unit) * unit;
  for (std::size_t axis = 0; axis < 3; ++axis) {
    origin[axis] = std::floor((low[axis] - Lead * voxel) / unit) * unit;
    cells[axis] = static_cast<std::uint32_t>(std::floor((high[axis] - origin[axis]) / voxel)) + 1;
  }
}

ZULMathBox SFMeshLattice::BoxBetween(SFLatticeIndex const& iLow, SFLatticeIndex const& iHigh,
                                     std::int64_t iMargin) const
{
  SFVector3 const from = At({iLow[0] - iMargin, iLow[1] - iMargin, iLow[2] - iMargin});
  SFVector3 const to = At({iHigh[0] + iMargin, iHigh[1] + iMargin, iHigh[2] + iMargin});
  return {{from[0], from[1], from[2]}, {to[0], to[1], to[2]}};
}

} // namespace SF
