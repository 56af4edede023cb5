#pragma once

#include "tape/SFSlopeTable.h"
#include "tape/SFTape.h"

namespace SF {

/// The tape without what no point of a box can choose. At points of the box, given by the ranges of its coordinates, its
/// results are the same bits. Drops as SFTapePruner does: by strict comparisons of ranges, where nothing may be NaN.
/// Cylinder limits count as 0, as they are outside of grids. `iSlopes` must hold in the box; the new tape has those of what
/// is left of it, but where there are cylinder limits, which grids have of their own.
SFTape Restricted(SFTape const& iTape, SFPointBox const& iBox, SFSlopeTable const& iSlopes = {});

} // namespace SF
