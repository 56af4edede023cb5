#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <type_traits>

namespace SF {

/// What a node keeps its slots in; of no use to hosts. A vector of a trivial type whose first element lies in the list
/// itself: nearly every node has no more than one slot, and a block of the heap for it would cost more than all the
/// rest of writing a node. As in a vector, making room moves the elements, and clearing keeps the room.
template <class Slot>
class SFSlotList
{
  static_assert(std::is_trivially_copyable_v<Slot> && std::is_trivially_destructible_v<Slot>);

public:
  SFSlotList() noexcept : _own() {}
  SFSlotList(SFSlotList const&) = delete;
  SFSlotList& operator=(SFSlotList const&) = delete;
  ~SFSlotList()
  {
    if (_room > 1)
      delete[] _many;
  }

  std::size_t Size() const { return _size; }
  Slot& operator[](std::size_t iIndex) { return Data()[iIndex]; }
  void Clear() { _size = 0; }

  void Resize(std::size_t iSize)
  {
    if (iSize > _room)
      Grow(iSize);
    if (iSize > _size)
      std::fill(Data() + _size, Data() + iSize, Slot());
    _size = static_cast<std::uint32_t>(iSize);
  }

private:
  Slot* Data() { return _room > 1 ? _many : &_own; }

  void Grow(std::size_t iSize)
  {
    constexpr std::size_t most = UINT32_MAX;
    if (iSize > most)
      throw std::length_error("too many slots");
    std::size_t const room = std::min(std::max(iSize, 2 * std::size_t{_room}), most);
    std::unique_ptr<Slot[]> many(new Slot[room]);
    std::copy(Data(), Data() + _size, many.get());
    if (_room > 1)
      delete[] _many;
    _many = many.release();
    _room = static_cast<std::uint32_t>(room);
  }

  union {
    Slot _own;   ///< with room for one
    Slot* _many; ///< with room for more
  };
  std::uint32_t _size = 0;
  std::uint32_t _room = 1;
};

} // namespace SF
