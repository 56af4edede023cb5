#pragma once

#include "tape/SFGrid.h"
#include "tape/SFTape.h"

#include <array>
#include <cstddef>

namespace SF {

/// A strided view of a value: element (i, j, k) is data[i s0 + j s1 + k s2], counted from the first point of the grid
/// or of a tile. The strides along axes that the value does not depend on are 0.
struct SFValueView
{
  double const* data = nullptr;
  std::array<std::ptrdiff_t, 3> strides{};
  SFAxes axes = 0;

  /// Of a view of the grid: the address of a tile's first point.
  double const* At(SFTile const& iTile) const
  {
    return data + strides[0] * static_cast<std::ptrdiff_t>(iTile.begin[0]) +
           strides[1] * static_cast<std::ptrdiff_t>(iTile.begin[1]) +
           strides[2] * static_cast<std::ptrdiff_t>(iTile.begin[2]);
  }
};

} // namespace SF
