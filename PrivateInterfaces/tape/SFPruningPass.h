#pragma once

#include "tape/SFTapePruner.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace SF {

/// What a step adds to its list.
struct SFStepCost
{
  SFStepCost(SFTapeInvariants const& iTape, SFTapeStep const& iStep) : axes(iTape.GetAxes())
  {
    if (iTape.IsHoisted(iStep.id))
      return;
    choices = IsChoiceCode(iStep.code) ? 1 : 0;
    cost = CostOf(iStep.code);
  }

  SFAxes axes;
  std::size_t choices = 0;
  std::size_t cost = 0; ///< where the step varies along all axes
};

/// Adds a step to a list.
inline void Append(SFTapeStep const& iStep, SFStepCost const& iCost, SFPrunableList& ioList)
{
  ioList.steps.push_back(iStep);
  ioList.choices += iCost.choices;
  ioList.cost += iStep.axes == iCost.axes ? iCost.cost : 0;
}

/// One pruning: of a list, for up to W boxes. It is three passes over the list, in this order, each of which has a source
/// of its own; `states` is what they hand on, a state for each step.
template <std::size_t W>
struct SFPruningPass
{
  SFPruningPass(SFTapeInvariants const& iTape, SFSlopeTable const& iSlopes, double iLimit, SFPrunableList const& iList,
                SFPruningBoxes const& iBoxes, SFPrunerScratch& ioScratch, std::vector<SFStepState<W>>& ioStates)
    : tape(iTape), slopes(iSlopes), limit(iLimit), list(iList), boxes(iBoxes),
      all(static_cast<SFBoxes>((1U << iBoxes.size()) - 1)), scratch(ioScratch), states(ioStates)
  {
    if (states.size() < list.steps.size())
      states.resize(list.steps.size());
    for (std::uint32_t at = 0; at < list.steps.size(); ++at)
      scratch.positions[list.steps[at].id] = at;
  }

  /// Along the list: the ranges of all steps. False when it was asked to stop.
  bool ComputeRanges();
  /// Against the list: what is demanded of each step, and which are replaced by one of their operands.
  void PushDemands();
  /// Along the list: those that are left. Returns the boxes where something could be dropped.
  SFBoxes WriteLists(SFListUse iUse, SFPrunableList* oLists);

  SFStepState<W>& At(SFValueId iId) const { return states[scratch.positions[iId]]; }

  SFTapeInvariants const& tape;
  SFSlopeTable const& slopes;
  double limit;
  SFPrunableList const& list;
  SFPruningBoxes boxes;
  SFBoxes all;
  SFBoxes above = 0; ///< the boxes all over which the result is limited from above
  SFBoxes below = 0;
  SFPrunerScratch& scratch;
  std::vector<SFStepState<W>>& states;
};

} // namespace SF
