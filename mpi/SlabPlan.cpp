#include "SlabPlan.h"

#include <algorithm>

namespace SFMpi {

std::vector<Slab> PlanSlabs(std::uint32_t iSlices, std::uint32_t iMost, std::uint32_t iProcesses)
{
  // A slab is a part of what is left, this many for each process: what a dear slab costs, others can catch up.
  constexpr std::uint64_t perProcess = 8;
  std::vector<Slab> slabs;
  for (std::uint32_t begin = 0; begin < iSlices;) {
    std::uint64_t const share = (iSlices - begin) / (perProcess * iProcesses);
    auto const slices = static_cast<std::uint32_t>(std::clamp<std::uint64_t>(share, 1, std::max(1U, iMost)));
    slabs.push_back({begin, begin + slices});
    begin += slices;
  }
  return slabs;
}

} // namespace SFMpi
