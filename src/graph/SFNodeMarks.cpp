#include "graph/SFNodeMarks.h"

#include <atomic>

namespace SF {
namespace {

std::atomic<bool> taken{false};
std::uint64_t lastWalk = 0; ///< belongs to who has taken the marks, like the marks themselves

} // namespace

std::uint64_t SFNodeMarks::Take()
{
  if (taken.load(std::memory_order_relaxed) || taken.exchange(true, std::memory_order_acquire))
    return 0;
  constexpr std::uint64_t last = (std::uint64_t{1} << (64 - NumberBits)) - 1;
  // After the last one the marks stay taken: a number that is used again would meet its own old marks.
  return lastWalk == last ? 0 : ++lastWalk;
}

void SFNodeMarks::GiveBack() { taken.store(false, std::memory_order_release); }

} // namespace SF
