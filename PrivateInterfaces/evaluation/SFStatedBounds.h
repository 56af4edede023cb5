#pragma once

#include "SFCompiledFieldOptions.h"
#include "tape/SFTape.h"

namespace SF {

/// Tries the bounds that are stated of values of a tape at pairs of points. False, after a line, when one of them cannot be
/// true.
bool HoldStatedBounds(SFTape const& iTape, SFLipschitzCheck const& iCheck);

} // namespace SF
