#pragma once

#include "SFSlicePicture.h"

#include <cstdint>
#include <optional>

namespace SF {

/// How level sets are drawn; widths in pixels, the rest in units of the field.
struct SFLevelSetStyle
{
  double isoWidth = 1.0;
  double zeroWidth = 1.0;
  double spacing = 0.0;     ///< of the iso-lines; 0 for none
  double insideReach = 0.0; ///< the depth at which a hue has nearly reached its far end
  double outsideReach = 0.0;

  double Radius() const { return 0.5 * zeroWidth + 0.5; }
};

/// The level sets of a field on a plane, ready to be drawn.
class SFLevelSets
{
public:
  /// As DrawLevelSets.
  SFLevelSets(SFPlaneSamples iSamples, std::uint32_t iScale, std::optional<double> iSpacing);

  SFLevelSetStyle const& Style() const { return _style; }
  SFPlaneSamples const& Samples() const { return _samples; }
  /// The hues, and the lines over them when they are wanted.
  SFImage Draw(bool iHasLines) const;

private:
  SFPlaneSamples _samples;
  std::uint32_t _scale;
  SFLevelSetStyle _style;
};

} // namespace SF
