#pragma once

#include "SFField.h"
#include "SFToolsExport.h"
#include "ZULMathBox.h"

#include <array>
#include <cstdint>
#include <span>
#include <string_view>

namespace SF {

/// A regular grid of points, in the model's length unit: point (i, j, k) is at origin + (i, j, k) voxel, x fastest.
struct SFGridFrame
{
  std::array<std::uint32_t, 3> dims{}; ///< points along each axis
  double voxel = 1.0;                  ///< distance between points
  std::array<double, 3> origin{};      ///< the first point

  /// nx ny nz.
  std::uint64_t PointCount() const { return std::uint64_t{dims[0]} * dims[1] * dims[2]; }
  /// A point by its number, from 0 to PointCount() - 1, x fastest.
  std::array<double, 3> PointAt(std::uint64_t iNumber) const
  {
    std::uint64_t const row = iNumber / dims[0];
    return {origin[0] + static_cast<double>(iNumber % dims[0]) * voxel,
            origin[1] + static_cast<double>(row % dims[1]) * voxel,
            origin[2] + static_cast<double>(row / dims[1]) * voxel};
  }
};

/// The field's own box. SFModelError when no bounded box is known outside of which it is positive: nothing is guessed;
/// and when the field is positive everywhere.
SF_TOOLS_EXPORT ZULMathBox RequireBounds(SFField const& iField);

/// The edge of a cell when the longest side of a box is cut into `iCells`, at least 1.
SF_TOOLS_EXPORT double VoxelFor(ZULMathBox const& iBox, std::uint32_t iCells);

/// The largest number of cells along one axis.
inline constexpr std::uint32_t SFMaxCells = 1U << 20;

/// The points of a box from its low corner on, `iVoxel` apart, so that the last ones reach the high corner or just pass
/// it. std::invalid_argument for a box that is not finite or has a side below 0, a voxel that is not positive and
/// finite, and beyond SFMaxCells cells along an axis.
SF_TOOLS_EXPORT SFGridFrame FrameOver(ZULMathBox const& iBox, double iVoxel);

/// How many points of slices have no value (NaN): `iValues` are those that SFCompiledField::RenderSlices has stored without
/// a band, from slice `iFirst` of the frame on. SFModelError; SFCancelled.
SF_TOOLS_EXPORT std::uint64_t CountNans(SFCompiledField const& iField, SFGridFrame const& iFrame, std::uint32_t iFirst,
                                        std::span<float const> iValues);

/// Units of length.
enum class SFLengthUnit
{
  Micrometre,
  Millimetre,
  Centimetre,
  Metre,
  Inch
};

/// "um", "mm", "cm", "m", "in".
SF_TOOLS_EXPORT std::string_view SymbolOf(SFLengthUnit iUnit);
/// How many metres one is.
SF_TOOLS_EXPORT double MetresOf(SFLengthUnit iUnit);
/// std::invalid_argument, naming the units, for another symbol.
SF_TOOLS_EXPORT SFLengthUnit UnitOf(std::string_view iSymbol);

} // namespace SF
