#pragma once

#include "SFSlicePicture.h"
#include "SFStrokeFont.h"

#include <vector>

namespace SF {

/// The lines along which samples, interpolated, have a value: in samples from the first one, closed where the first point is
/// the last one, with points left out that are within `iTolerance` of the line without them.
std::vector<SFStroke> ContoursOf(SFPlaneSamples const& iSamples, double iLevel, double iTolerance);

} // namespace SF
