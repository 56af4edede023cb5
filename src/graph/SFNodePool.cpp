#include "graph/SFNodePool.h"

#include "tape/SFLargePages.h"

#include <atomic>
#include <cstdint>
#include <new>

namespace SF {

/// The head of a large page; the places follow.
struct SFNodePool::Chunk
{
  /// More than there are places, so that the count of a chunk in use never comes down to none. What of it was not
  /// taken is given back at once when the chunk is retired.
  static constexpr std::size_t Reserved = SFLargePage;

  std::atomic<std::size_t> places{Reserved}; ///< taken, or yet to be

  static Chunk* Make() { return new (SFPageStore::Take()) Chunk; }

  void GiveBack(std::size_t iPlaces) noexcept
  {
    if (places.fetch_sub(iPlaces, std::memory_order_acq_rel) == iPlaces) {
      this->~Chunk();
      SFPageStore::GiveBack(this);
    }
  }
};

thread_local SFNodePool* SFNodePool::Current = nullptr;

void* SFNodePool::Take(std::size_t iSize)
{
  constexpr std::size_t alignment = alignof(std::max_align_t);
  constexpr std::size_t head = (sizeof(Chunk) + alignment - 1) & ~(alignment - 1);
  std::size_t const size = (iSize + alignment - 1) & ~(alignment - 1);
  if (_chunk == nullptr || size > SFLargePage - _used) {
    Retire();
    _chunk = Chunk::Make();
    _used = head;
  }
  void* const place = reinterpret_cast<char*>(_chunk) + _used;
  _used += size;
  ++_inChunk;
  return place;
}

void SFNodePool::GiveBack(void* iPlace) noexcept
{
  auto const address = reinterpret_cast<std::uintptr_t>(iPlace);
  reinterpret_cast<Chunk*>(address & ~(std::uintptr_t{SFLargePage} - 1))->GiveBack(1);
}

void SFNodePool::Retire() noexcept
{
  if (_chunk != nullptr)
    std::exchange(_chunk, nullptr)->GiveBack(Chunk::Reserved - _inChunk);
  _inChunk = 0;
}

} // namespace SF
