#pragma once

#include "tape/SFTapeInvariants.h"
#include "tape/SFTapeList.h"
#include "tape/SFTapeShape.h"

#include <cstdint>
#include <vector>

namespace SF {

/// The division of a list's steps into fused groups. A value that one step alone reads is computed together with that
/// step and stays in registers. A group is a tree of such steps, run when its last step, the root, is due. The object
/// keeps its memory from list to list.
class SFTapeFusion
{
public:
  explicit SFTapeFusion(SFTapeInvariants const& iTape) : _tape(iTape), _values(iTape.GetViews().size()) {}

  /// Divides the steps that are run over tiles of some shapes: all but those of hoisted values.
  void FindGroups(SFTapeList const& iList, SFTapeShapes const& iShapes);
  /// Makes each step of a list of hoisted values a group of its own.
  void SeparateSteps(SFTapeList const& iList);

  /// Whether the step at a position is the last one of a group.
  bool EndsGroup(std::uint32_t iAt) const { return _fusedInto[iAt] == None; }
  /// The positions of the steps of the group that ends at one, in the order in which they run: of two operands that the
  /// group computes the one that needs the second register first, else the one that comes first in the list. Holds
  /// until the next call.
  std::vector<std::uint32_t> const& GroupAt(SFTapeList const& iList, std::uint32_t iEnd);

  /// How many steps and results read a value.
  std::uint32_t UsesOf(SFValueId iId) const { return _values[iId].uses; }
  /// The position of the last step of the last group that reads a value.
  std::uint32_t LastUseOf(SFValueId iId) const { return _values[iId].lastUse; }

private:
  static constexpr std::uint32_t None = UINT32_MAX;

  void CountUses(SFTapeList const& iList, bool iHoisted);
  void FuseOperands(SFTapeList const& iList, std::uint32_t iAt, SFTapeShapes const& iShapes);
  void FindLastUses(SFTapeList const& iList, bool iHoisted);

  struct Value
  {
    std::uint32_t at = 0; ///< the position of its step
    std::uint32_t uses = 0;
    std::uint32_t lastUse = 0;
  };

  SFTapeInvariants const& _tape;
  std::vector<Value> _values;                ///< by value
  std::vector<std::uint32_t> _fusedInto;     ///< by position: that of the step whose group it joins
  std::vector<std::uint32_t> _groupEnds;     ///< by position: that of the last step of its group
  std::vector<char> _needsSecond;            ///< by position: whether its group, up to it, takes the second register
  std::vector<std::uint32_t> _group;         ///< the answer of GroupAt
  std::vector<std::uint32_t> _openPositions; ///< of steps whose operands are still to be listed
};

} // namespace SF
