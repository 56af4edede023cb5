#pragma once

#include <cstdint>
#include <vector>

namespace SFMpi {

/// Some slices of a grid.
struct Slab
{
  std::uint32_t begin = 0;
  std::uint32_t end = 0;
};

/// How the slices of a grid are shared out, in the order in which slabs are drawn: large ones first, which cost little beside
/// their work, then smaller and smaller ones, so that all processes end at about the same time. A slab has `iMost` slices at
/// most. (C. Polychronopoulos, D. Kuck, "Guided self-scheduling", 1987.)
std::vector<Slab> PlanSlabs(std::uint32_t iSlices, std::uint32_t iMost, std::uint32_t iProcesses);

} // namespace SFMpi
