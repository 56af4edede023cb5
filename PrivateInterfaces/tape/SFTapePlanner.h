#pragma once

#include "tape/SFTapeFusion.h"
#include "tape/SFTapePlan.h"

#include <array>
#include <cstdint>
#include <vector>

namespace SF {

/// Turns a list and the size of a tile into a plan: which steps run as one call, and in which slots values lie. A slot
/// is free again after the last use of its value. Equal lists and sizes give equal plans; the object only keeps its
/// working memory. One thread's.
class SFTapePlanner
{
public:
  explicit SFTapePlanner(SFTapeInvariants const& iTape);

  /// Of a list that tiles run. `iHasTarget`: the one result of the list may be stored as floats by the last call.
  void PlanTiles(SFTapeList const& iList, std::array<unsigned int, 3> const& iCount, bool iHasTarget,
                 SFTapePlan& oPlan);
  /// Of a list of hoisted values, each step by a call of its own; stored values are written to the grid.
  void PlanHoisted(SFTapeList const& iList, std::array<unsigned int, 3> const& iCount, SFTapePlan& oPlan);

private:
  class FusedCall;

  void Begin(SFTapeList const& iList, std::array<unsigned int, 3> const& iCount, SFTapePlan& oPlan);
  void PlanGroup(std::uint32_t iEnd);
  std::size_t PlanCall(std::vector<std::uint32_t> const& iGroup, std::size_t iFrom);
  bool IsOnlyResult(SFTapeStep const& iStep) const;
  void PlanFused(FusedCall const& iCall, bool iStores);
  void PlanStep(SFTapeStep const& iStep);
  void PlanPointwise(SFTapeStep const& iStep);
  void End();
  SFArrayRef OutputOf(SFTapeStep const& iStep);
  SFArrayRef TakeSlot(SFTapeStep const& iStep);
  void ReleaseOperands(SFTapeStep const& iStep, std::uint32_t iEnd);

  static constexpr std::int32_t NoSlot = -1;

  SFTapeInvariants const& _tape;
  SFPlannedValue _target; ///< the floats of the grid, seen as a value
  SFTapeFusion _fusion;
  std::vector<SFPlannedValue> _values;                  ///< by value
  std::vector<std::int32_t> _slotOf;                    ///< by value
  std::array<std::vector<std::uint32_t>, 8> _freeSlots; ///< by axes
  SFTapeList const* _list = nullptr;                    ///< that is planned
  SFTapePlan* _plan = nullptr;
  bool _hasTarget = false;
  bool _isHoisting = false;
};

} // namespace SF
