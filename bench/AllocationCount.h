#pragma once

#include <cstddef>

namespace SFBench {

/// Counts the bytes of the heap blocks that this process takes through `new` while it lives, with the allocator's
/// rounding. One at a time.
class AllocationCount
{
public:
  AllocationCount();
  AllocationCount(AllocationCount const&) = delete;
  AllocationCount& operator=(AllocationCount const&) = delete;
  ~AllocationCount();

  /// Taken and not yet given back.
  std::size_t Live() const;
  /// The most that were live at once.
  std::size_t Peak() const;
};

} // namespace SFBench
