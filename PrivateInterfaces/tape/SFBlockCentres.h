#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <vector>

namespace SF {

/// The centres of the blocks of positions along an axis that boxes have as their extents. They follow the positions of the
/// grid, as if they were further ones: hoisted values are computed there too.
struct SFBlockCentres
{
  static constexpr std::size_t Most = std::size_t{1} << 30; ///< of positions that have centres

  /// Appends the centres of all blocks of `iShortest` positions, of twice as many and so on to the coordinates of an axis,
  /// until one block is the whole axis: always those of the shortest ones, whose length is a power of 2.
  static void Append(std::vector<double>& ioCoordinates, std::size_t iShortest)
  {
    std::size_t const count = ioCoordinates.size();
    if (count > Most)
      return;
    for (std::size_t length = iShortest; length == iShortest || length / 2 < count; length *= 2)
      for (std::size_t begin = 0; begin < count; begin += length) {
        double const first = ioCoordinates[begin];
        double const last = ioCoordinates[std::min(count, begin + length) - 1];
        ioCoordinates.push_back(first + (last - first) / 2.0);
      }
  }

  /// The position of the centre of `iCount` positions from `iBegin` on, of the `iAll` that an axis has; where these are no
  /// block, a position of the grid near it.
  static std::size_t PositionOf(std::size_t iBegin, std::size_t iCount, std::size_t iAll, std::size_t iShortest)
  {
    std::size_t const length = std::max(iShortest, std::bit_ceil(iCount));
    if (iBegin % length != 0 || std::min(iAll, iBegin + length) != iBegin + iCount || iAll > Most)
      return iBegin + iCount / 2;
    std::size_t position = iAll;
    for (std::size_t shorter = iShortest; shorter < length; shorter *= 2)
      position += (iAll + shorter - 1) / shorter;
    return position + iBegin / length;
  }
};

} // namespace SF
