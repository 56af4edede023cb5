#pragma once

#include "graph/SFPageStore.h"

#include <cstddef>
#include <memory>
#include <utility>

namespace SF {

/// Makes the many nodes of one graph, close together and on large pages: over a large graph the addresses of small
/// pages take a third of the time of reading, writing and releasing it.
///
/// The first nodes are blocks of the heap, so that a small graph takes no more than it needs. The others share chunks
/// of one large page. A chunk counts its nodes and goes when the last of them does, on whatever thread that is and
/// whether the pool still lives or not; until then the places of those that have gone stay empty.
///
/// A pool serves one thread at a time.
class SFNodePool
{
public:
  static constexpr std::size_t OnHeap = std::size_t{1} << 15; ///< nodes, 3 MB or so

  SFNodePool() = default;
  SFNodePool(SFNodePool const&) = delete;
  SFNodePool& operator=(SFNodePool const&) = delete;
  ~SFNodePool() { Retire(); }

  /// As std::make_shared.
  template <class Node, class... Arguments>
  std::shared_ptr<Node> Make(Arguments&&... iArguments)
  {
    if (!PutsOnPages || _made < OnHeap) {
      ++_made;
      return std::make_shared<Node>(std::forward<Arguments>(iArguments)...);
    }
    Current = this;
    return std::allocate_shared<Node>(Places<Node>(), std::forward<Arguments>(iArguments)...);
  }

private:
  // Address sanitizer tells the use of a node that has gone only where nodes are blocks of the heap.
  static constexpr bool PutsOnPages = !SFHasAddressSanitizer;

  struct Chunk;

  /// The allocator. It has no state, for the nodes would keep that: it takes from the pool that this thread makes a
  /// node with, and a place tells its chunk.
  template <class T>
  struct Places
  {
    using value_type = T;

    Places() = default;
    template <class Other>
    Places(Places<Other> const&) noexcept
    {
    }
    T* allocate(std::size_t iCount)
    {
      static_assert(alignof(T) <= alignof(std::max_align_t));
      return static_cast<T*>(Current->Take(iCount * sizeof(T)));
    }
    void deallocate(T* iPlace, std::size_t) noexcept { GiveBack(iPlace); }

    bool operator==(Places const&) const = default;
  };

  void* Take(std::size_t iSize);
  static void GiveBack(void* iPlace) noexcept;
  void Retire() noexcept;

  static thread_local SFNodePool* Current;

  std::size_t _made = 0;
  Chunk* _chunk = nullptr;  ///< where places are taken from
  std::size_t _used = 0;    ///< bytes of it
  std::size_t _inChunk = 0; ///< places taken from it
};

} // namespace SF
