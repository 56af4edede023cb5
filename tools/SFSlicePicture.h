#pragma once

#include "SFField.h"
#include "SFImage.h"
#include "SFSampling.h"
#include "SFToolsExport.h"
#include "SFWorkOptions.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace SF {

/// Samples of a field on a plane grid, x fastest, y upwards.
struct SFPlaneSamples
{
  std::uint32_t nx;          ///< samples along x
  std::uint32_t ny;          ///< samples along y
  std::vector<float> values; ///< nx ny; sample (i, j) at [j nx + i]
};

/// Draws the level sets of a field: inside (below 0) and outside in two hues that deepen with the distance from
/// the zero line, iso-lines at multiples of one spacing, and the zero line strong above them. A sample becomes a
/// square of `iScale` x `iScale` pixels; values between samples are interpolated. The y axis points up. A NaN is
/// drawn as outside.
///
/// `iSpacing` is in units of the field; a round one that suits the picture is chosen where it is missing.
SF_TOOLS_EXPORT SFImage DrawLevelSets(SFPlaneSamples iSamples, std::uint32_t iScale, std::optional<double> iSpacing);

/// The bytes that DrawLevelSets and the encoding of its image take.
SF_TOOLS_EXPORT double LevelSetsMemory(std::uint32_t iNx, std::uint32_t iNy, std::uint32_t iScale);

/// Pixels, or lines and text.
enum class SFPictureFormat
{
  Png,
  Svg
};

/// A plane section of a field, to be drawn as a figure.
struct SFSliceOptions
{
  std::size_t axis = 2;                         ///< normal of the plane: 0, 1 or 2 for x, y or z
  double position = 0.0;                        ///< of the plane on that axis
  std::uint32_t pixels = 900;                   ///< along the longer side of the section, beside which the scales stand
  std::optional<double> spacing;                ///< of the iso-lines; a round one that suits where missing
  SFLengthUnit unit = SFLengthUnit::Millimetre; ///< shown beside the axes; changes no number
};

/// A figure.
struct SFSlicePicture
{
  std::string bytes;                    ///< of the file
  double spacing = 0.0;                 ///< of its iso-lines, in units of the field; 0 for none
  std::uint64_t points = 0;             ///< where the field was sampled
  std::uint64_t pointsWithoutValue = 0; ///< where it is NaN, drawn as outside
};

/// Draws the section of a field by a plane, within a box: its level sets as DrawLevelSets does, sampled at each pixel,
/// axes with ticks and numbers, a scale bar, and a line with the place of the plane and the spacing of the iso-lines.
/// Along x, y points to the right and z up; along y, x and z; along z, x and y. In SVG the lines and the text are drawn
/// as such. std::invalid_argument with the name of the option; SFModelError; SFMemoryLimit; SFCancelled.
SF_TOOLS_EXPORT SFSlicePicture DrawSlice(SFField const& iField, ZULMathBox const& iBox, SFSliceOptions const& iOptions,
                                         SFPictureFormat iFormat, SFWorkOptions const& iWork);

} // namespace SF
