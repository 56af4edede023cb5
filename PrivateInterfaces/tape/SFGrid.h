#pragma once

#include "SFTypes.h"
#include "ZULMathPoint.h"

#include <array>
#include <cmath>
#include <cstddef>

namespace SF {

/// A box of grid points.
struct SFTile
{
  std::array<unsigned int, 3> begin{};
  std::array<unsigned int, 3> count{};
};

/// A regular voxel grid: nx x ny x nz points `voxelSize` apart, x fastest in memory; or some slices of one, which
/// keep the coordinates, the domain size and the diagonal of the whole grid.
struct SFGrid
{
  /// `iDims` may be null, which makes an invalid grid; a null origin is (0, 0, 0).
  SFGrid(unsigned int const* iDims, double iVoxelSize, double const* iOrigin) : valid(iDims != nullptr), h(iVoxelSize)
  {
    for (std::size_t axis = 0; axis < 3; ++axis) {
      dims[axis] = whole[axis] = valid ? iDims[axis] : 0;
      origin[axis] = iOrigin != nullptr ? iOrigin[axis] : 0.0;
    }
  }

  /// The slices [iBegin, iEnd), counted from 0 from here on.
  SFGrid Slices(unsigned int iBegin, unsigned int iEnd) const
  {
    SFGrid slices = *this;
    slices.dims[2] = iEnd - iBegin;
    slices.firstSlice += iBegin;
    return slices;
  }

  double Coordinate(std::size_t iAxis, unsigned int iIndex) const
  {
    return origin[iAxis] + (iAxis == 2 ? firstSlice + iIndex : iIndex) * h;
  }
  ZULMathPoint Point(unsigned int iI, unsigned int iJ, unsigned int iK) const
  {
    return {Coordinate(0, iI), Coordinate(1, iJ), Coordinate(2, iK)};
  }
  std::size_t Index(unsigned int iI, unsigned int iJ, unsigned int iK) const
  {
    return (static_cast<std::size_t>(iK) * dims[1] + iJ) * dims[0] + iI;
  }

  /// Whether nx ny nz times `iPerVoxel` values fit into an array of `iSize`.
  bool FitsInto(std::size_t iSize, std::size_t iPerVoxel) const
  {
    if (dims[0] == 0 || dims[1] == 0 || dims[2] == 0)
      return true;
    return iSize / iPerVoxel / dims[0] / dims[1] >= dims[2];
  }

  /// The extent along each axis, from the first point to the last.
  std::array<double, 3> DomainSize() const
  {
    std::array<double, 3> size{};
    for (std::size_t axis = 0; axis < 3; ++axis)
      size[axis] = (static_cast<double>(whole[axis]) - 1.0) * h;
    return size;
  }
  /// Whether every coordinate is finite and no larger than `iBound` in magnitude.
  bool IsWithin(double iBound) const
  {
    for (std::size_t axis = 0; axis < 3; ++axis)
      if (!(std::abs(origin[axis]) <= iBound) || !(std::abs(whole[axis] * h) <= iBound))
        return false;
    return true;
  }
  double Diagonal() const
  {
    auto const [x, y, z] = DomainSize();
    return std::sqrt(x * x + y * y + z * z);
  }

  bool valid;
  std::array<unsigned int, 3> dims{};
  std::array<unsigned int, 3> whole{}; ///< of the grid that the slices belong to
  unsigned int firstSlice = 0;
  double h;
  std::array<double, 3> origin{};
};

} // namespace SF
