#pragma once

#include "tape/SFTapeInvariants.h"
#include "tape/SFTapeList.h"

#include <span>
#include <vector>

namespace SF {

/// The slopes by which ranges are confined. Empty where there are none.
struct SFSlopeTable
{
  struct Entry
  {
    double bound = 0.0;
    double margin = 0.0; ///< for rounding: of the computed values at two points, and of the range
    double rootOfMargin = 0.0;
    bool isStated = false;
  };
  std::vector<Entry> entries; ///< by value
};

/// The slopes of the values of some steps that are worth it: those that choices compare, where ranges alone over-estimate.
/// Says in the steps which they are.
SFSlopeTable SlopesOnGrid(SFTapeInvariants const& iTape, std::span<SFTapeStep> ioSteps);

} // namespace SF
