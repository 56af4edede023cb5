#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <vector>

namespace SF {

/// The sizes of the boxes that lists are pruned for, by how many axes the grid has.

/// The number of axes with too few positions to be cut.
inline std::ptrdiff_t FlatAxes(std::array<unsigned int, 3> const& iDims)
{
  return std::count_if(iDims.begin(), iDims.end(), [](unsigned int iN) { return iN < 8; });
}

/// From the regions down to a tile. A long list is shortened for large boxes first: each pass over all of it takes as long
/// as a region.
inline std::vector<std::array<unsigned int, 3>> PruningLevels(std::array<unsigned int, 3> const& iDims, bool iIsLong)
{
  bool const isSolid = FlatAxes(iDims) == 0;
  if (isSolid && iIsLong)
    return {{128, 128, 128}, {64, 64, 64}, {32, 32, 32}, {16, 16, 16}, {16, 8, 8}, {8, 4, 4}};
  if (isSolid)
    return {{64, 64, 64}, {32, 32, 32}, {16, 16, 16}, {16, 8, 8}, {8, 4, 4}};
  if (iDims[2] < 8)
    return {{256, 256, 8}, {128, 64, 8}, {64, 32, 8}};
  return {{256, 64, 64}, {64, 32, 32}, {16, 16, 16}};
}

/// The shortest side, along an axis that is cut, of the boxes of a grid or of any slices of it.
inline unsigned int ShortestSide(std::array<unsigned int, 3> const& iDims)
{
  if (FlatAxes(iDims) == 0)
    return 4;
  return iDims[2] < 8 ? 32 : 16;
}

} // namespace SF
