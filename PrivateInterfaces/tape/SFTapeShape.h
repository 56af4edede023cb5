#pragma once

#include "tape/SFTape.h"

#include <array>
#include <cstddef>

namespace SF {

/// The layout of values that depend on some of the axes over a box: contiguous, x first.

constexpr bool Varies(SFAxes iAxes, std::size_t iAxis) { return (iAxes >> iAxis & 1U) != 0; }

/// Component by component: comparing the arrays is a call of the C library, which showed in profiles of small fields.
inline bool SameSize(std::array<unsigned int, 3> const& iA, std::array<unsigned int, 3> const& iB)
{
  return iA[0] == iB[0] && iA[1] == iB[1] && iA[2] == iB[2];
}

/// The extents of a value over a box, 1 along the axes that it does not depend on.
inline std::array<std::size_t, 3> ExtentsOf(SFAxes iAxes, std::array<unsigned int, 3> const& iCount)
{
  std::array<std::size_t, 3> extents{};
  for (std::size_t axis = 0; axis < 3; ++axis)
    extents[axis] = Varies(iAxes, axis) ? iCount[axis] : 1;
  return extents;
}

inline std::size_t VolumeOf(SFAxes iAxes, std::array<unsigned int, 3> const& iCount)
{
  auto const extents = ExtentsOf(iAxes, iCount);
  return extents[0] * extents[1] * extents[2];
}

/// The strides of a value stored contiguously over a box, 0 along the axes that it does not depend on.
inline std::array<std::ptrdiff_t, 3> StridesOf(SFAxes iAxes, std::array<unsigned int, 3> const& iCount)
{
  std::array<std::ptrdiff_t, 3> strides{};
  std::ptrdiff_t next = 1;
  for (std::size_t axis = 0; axis < 3; ++axis)
    if (Varies(iAxes, axis)) {
      strides[axis] = next;
      next *= static_cast<std::ptrdiff_t>(iCount[axis]);
    }
  return strides;
}

/// The layout of a value over a box.
struct SFTapeShape
{
  std::array<std::size_t, 3> extents{1, 1, 1};
  std::array<std::ptrdiff_t, 3> strides{};
  std::size_t volume = 1;
};

/// The shapes of all values over a box, by set of axes.
using SFTapeShapes = std::array<SFTapeShape, 8>;
inline SFTapeShapes ShapesOf(std::array<unsigned int, 3> const& iCount)
{
  SFTapeShapes shapes;
  for (SFAxes axes = 0; axes <= AllAxes; ++axes)
    shapes[axes] = {ExtentsOf(axes, iCount), StridesOf(axes, iCount), VolumeOf(axes, iCount)};
  return shapes;
}

} // namespace SF
