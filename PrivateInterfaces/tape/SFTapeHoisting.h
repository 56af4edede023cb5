#pragma once

#include "tape/SFTapeList.h"

#include <array>
#include <cstddef>
#include <vector>

namespace SF {

/// Whether a value is hoisted out of the tiles, that is, computed for the whole grid before any of them.
enum class SFHoisting : char
{
  No,
  Transient, ///< computed on the way to a value that is stored, then forgotten
  Stored
};

/// The division of a tape's work between the grid and its tiles.
struct SFHoistingPlan
{
  std::vector<SFHoisting> hoisting;    ///< by value; values without axes are Stored
  std::array<SFTapeList, 8> axesLists; ///< by set of axes: the steps of the hoisted values
  SFTapeList tileList;                 ///< the steps left for the tiles
};

/// Hoists the values of one and two axes that a value of more axes, or a result, reads, while they fit into `iBudget`
/// bytes. Everything else is left to the tiles.
SFHoistingPlan PlanHoisting(SFTape const& iTape, std::array<unsigned int, 3> const& iDims, std::size_t iBudget);

} // namespace SF
