#include "AllocationCount.h"

#include <atomic>
#include <cstdlib>
#include <malloc.h>
#include <new>

namespace {

std::atomic<bool> counting{false};
std::atomic<std::size_t> live{0};
std::atomic<std::size_t> peak{0};

void Taken(std::size_t iBytes)
{
  std::size_t const now = live += iBytes;
  std::size_t most = peak;
  while (now > most && !peak.compare_exchange_weak(most, now)) {
  }
}

} // namespace

// The executable's operators stand in for those of the standard library, in shared libraries too. All forms are here
// but those that nobody uses, which are the aligned ones that do not throw, because a sanitizer's own must not be mixed
// with these.

void* operator new(std::size_t iSize)
{
  void* const block = std::malloc(iSize != 0 ? iSize : 1);
  if (block == nullptr)
    throw std::bad_alloc();
  if (counting.load(std::memory_order_relaxed))
    Taken(malloc_usable_size(block));
  return block;
}

void operator delete(void* iBlock) noexcept
{
  // A block from before the count would take it below zero; the counts are made of fresh blocks only.
  if (iBlock != nullptr && counting.load(std::memory_order_relaxed))
    live -= malloc_usable_size(iBlock);
  std::free(iBlock);
}

void* operator new(std::size_t iSize, std::nothrow_t const&) noexcept
{
  try {
    return operator new(iSize);
  } catch (std::bad_alloc const&) {
    return nullptr;
  }
}

void* operator new[](std::size_t iSize) { return operator new(iSize); }
void* operator new[](std::size_t iSize, std::nothrow_t const& iTag) noexcept { return operator new(iSize, iTag); }
void operator delete(void* iBlock, std::size_t) noexcept { operator delete(iBlock); }
void operator delete(void* iBlock, std::nothrow_t const&) noexcept { operator delete(iBlock); }
void operator delete[](void* iBlock) noexcept { operator delete(iBlock); }
void operator delete[](void* iBlock, std::size_t) noexcept { operator delete(iBlock); }
void operator delete[](void* iBlock, std::nothrow_t const&) noexcept { operator delete(iBlock); }

void* operator new(std::size_t iSize, std::align_val_t iAlignment)
{
  auto const alignment = static_cast<std::size_t>(iAlignment);
  void* const block = std::aligned_alloc(alignment, (iSize + alignment - 1) / alignment * alignment);
  if (block == nullptr)
    throw std::bad_alloc();
  if (counting.load(std::memory_order_relaxed))
    Taken(malloc_usable_size(block));
  return block;
}

void operator delete(void* iBlock, std::align_val_t) noexcept { operator delete(iBlock); }
void operator delete(void* iBlock, std::size_t, std::align_val_t) noexcept { operator delete(iBlock); }

namespace SFBench {

AllocationCount::AllocationCount()
{
  live = 0;
  peak = 0;
  counting = true;
}

AllocationCount::~AllocationCount() { counting = false; }

std::size_t AllocationCount::Live() const { return live; }
std::size_t AllocationCount::Peak() const { return peak; }

} // namespace SFBench
