#pragma once

#include "Png.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace SFHost {

/// Samples of a field on a plane grid, x fastest, y upwards.
struct PlaneSamples
{
  std::uint32_t nx;
  std::uint32_t ny;
  std::vector<float> values;
};

/// Draws the level sets of a field: inside (below 0) and outside in two hues that deepen with the distance from
/// the zero line, iso-lines at multiples of one spacing, and the zero line strong above them. A sample becomes a
/// square of `iScale` x `iScale` pixels; values between samples are interpolated. The y axis points up. A NaN is
/// drawn as outside.
///
/// `iSpacing` is in units of the field; a round one that suits the picture is chosen where it is missing.
Image DrawLevelSets(PlaneSamples iSamples, std::uint32_t iScale, std::optional<double> iSpacing);

/// The bytes that DrawLevelSets and the encoding of its image take.
double PictureMemory(std::uint32_t iNx, std::uint32_t iNy, std::uint32_t iScale);

} // namespace SFHost
