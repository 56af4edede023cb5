#pragma once

#include "operators/SFInterval.h"
#include "tape/SFTape.h"

#include <array>

namespace SF {

/// The tape without what no point of a box can choose. At points of the box, given by the ranges of its coordinates, its
/// results are the same bits. Drops as SFTapePruner does: by strict comparisons of ranges, where nothing may be NaN.
/// Cylinder limits count as 0, as they are outside of grids.
SFTape Restricted(SFTape const& iTape, std::array<SFInterval, 3> const& iBox);

} // namespace SF
