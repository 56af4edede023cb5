#pragma once

#include "SFDagNode.h"
#include "graph/SFNodeIndex.h"

#include <cstdint>
#include <utility>

namespace SF {

/// Numbers the nodes of one walk as SFNodeIndex does. The numbers are kept in the nodes themselves, where a walk has
/// them at hand, if no other walk of the process keeps its own there: one that starts while another is under way, on
/// another thread or inside the first, uses a table and gets the same numbers. So the marks of all nodes belong to
/// one walk at a time, and no two threads ever touch them at once.
///
/// For the length of a walk, over nodes that live as long. Numbers that live longer are in an SFNodeIndex.
class SFNodeMarks
{
public:
  static constexpr std::uint32_t Absent = SFNodeIndex::Absent;
  static constexpr unsigned int NumberBits = 28;
  static constexpr std::uint32_t MaxMarked = std::uint32_t{1} << NumberBits;

  /// No more than `iMaxMarked` nodes are numbered in themselves; a table takes those beyond.
  explicit SFNodeMarks(std::uint32_t iMaxMarked = MaxMarked) : _maxMarked(iMaxMarked) {}
  SFNodeMarks(SFNodeMarks const&) = delete;
  SFNodeMarks& operator=(SFNodeMarks const&) = delete;
  ~SFNodeMarks()
  {
    if (_walk != 0)
      GiveBack();
  }

  /// The number of a node, and whether it is new.
  std::pair<std::uint32_t, bool> Insert(SFDagNode const* iNode)
  {
    if (!_asked) {
      _asked = true;
      _walk = Take();
    }
    if (_walk != 0) {
      std::uint64_t& mark = iNode->m_Mark;
      if (mark >> NumberBits == _walk)
        return {NumberIn(mark), false};
      if (_marked < _maxMarked) {
        mark = _walk << NumberBits | _marked;
        return {_marked++, true};
      }
    }
    auto const [number, isNew] = _others.Insert(iNode);
    return {_marked + number, isNew};
  }

  std::uint32_t Find(SFDagNode const* iNode) const
  {
    if (_walk != 0 && iNode != nullptr && iNode->m_Mark >> NumberBits == _walk)
      return NumberIn(iNode->m_Mark);
    std::uint32_t const number = _others.Find(iNode);
    return number == Absent ? Absent : _marked + number;
  }

  std::size_t Size() const { return _marked + _others.Size(); }

private:
  static std::uint32_t NumberIn(std::uint64_t iMark) { return static_cast<std::uint32_t>(iMark) & (MaxMarked - 1); }

  /// The number of a walk that may use the marks, different from all before; 0 while another one may, and when the
  /// numbers have run out.
  static std::uint64_t Take();
  static void GiveBack();

  std::uint64_t _walk = 0;
  std::uint32_t _marked = 0;
  std::uint32_t _maxMarked;
  bool _asked = false;
  SFNodeIndex _others;
};

} // namespace SF
