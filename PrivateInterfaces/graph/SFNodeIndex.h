#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace SF {

class SFDagNode;

/// Numbers nodes by identity in the order in which they are met. A flat table with linear probing: a walk over a
/// graph of a million nodes asks it a few million times.
class SFNodeIndex
{
public:
  static constexpr std::uint32_t Absent = UINT32_MAX;

  /// The number of a node, and whether it is new.
  std::pair<std::uint32_t, bool> Insert(SFDagNode const* iNode)
  {
    if (2 * (_count + 1) > _entries.size())
      Grow();
    Entry& entry = _entries[Locate(iNode)];
    if (entry.node != nullptr)
      return {entry.number, false};
    entry = {iNode, _count};
    return {_count++, true};
  }

  std::uint32_t Find(SFDagNode const* iNode) const
  {
    if (_entries.empty())
      return Absent;
    Entry const& entry = _entries[Locate(iNode)];
    return entry.node != nullptr ? entry.number : Absent;
  }

  std::size_t Size() const { return _count; }

private:
  struct Entry
  {
    SFDagNode const* node = nullptr;
    std::uint32_t number = 0;
  };

  /// The entry of a node, or the free one where it belongs.
  std::size_t Locate(SFDagNode const* iNode) const
  {
    // Fibonacci hashing: addresses differ in their middle bits, which the product spreads to the top.
    auto const key = static_cast<std::uint64_t>(reinterpret_cast<std::uintptr_t>(iNode));
    std::size_t const mask = _entries.size() - 1;
    auto i = static_cast<std::size_t>((key * 0x9E3779B97F4A7C15ULL) >> 32) & mask;
    while (_entries[i].node != nullptr && _entries[i].node != iNode)
      i = (i + 1) & mask;
    return i;
  }

  void Grow()
  {
    std::vector<Entry> old(_entries.empty() ? 64 : 2 * _entries.size());
    old.swap(_entries);
    for (Entry const& entry : old)
      if (entry.node != nullptr)
        _entries[Locate(entry.node)] = entry;
  }

  std::vector<Entry> _entries;
  std::uint32_t _count = 0;
};

} // namespace SF
