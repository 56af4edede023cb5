#include "tape/SFPruningPass.h"

#include <algorithm>
#include <bit>
#include <limits>

namespace SF {
namespace {

/// The third pass: the lists that are left.
template <std::size_t W>
class Lists
{
public:
  explicit Lists(SFPruningPass<W>& ioPass) : _tape(ioPass.tape), _pass(ioPass) {}

  SFBoxes Write(SFListUse iUse, SFPrunableList* oLists);

private:
  using State = SFStepState<W>;

  State& At(SFValueId iId) const { return _pass.At(iId); }
  SFValueId Resolved(SFValueId iId, std::size_t iLane);
  SFTapeStep Rewritten(SFTapeStep const& iStep, State const& iState, std::size_t iLane);
  void WriteStep(SFTapeStep const& iStep, State& ioState, SFPrunableList* oLists);
  float Settled(std::size_t iLane) const;

  SFTapeInvariants const& _tape;
  SFPruningPass<W>& _pass;
};

template <std::size_t W>
SFValueId Lists<W>::Resolved(SFValueId iId, std::size_t iLane)
{
  State const& state = At(iId);
  return (state.replaced >> iLane & 1U) != 0 ? state.replacements[iLane] : iId;
}

template <std::size_t W>
SFTapeStep Lists<W>::Rewritten(SFTapeStep const& iStep, State const& iState, std::size_t iLane)
{
  SFTapeStep step = iStep;
  if ((iState.negates >> iLane & 1U) != 0)
    step.operands[0] = _tape.GetMinusInfinity();
  int const arity = ArityOf(step.code);
  for (int i = 0; i < arity; ++i) {
    SFValueId& operand = step.operands[static_cast<std::size_t>(i)];
    operand = Resolved(operand, iLane);
  }
  if (IsOperatorCode(step.code)) {
    if (arity == 1)
      step.operands[1] = step.operands[0];
    step.axes = At(step.operands[0]).axes[iLane] | At(step.operands[1]).axes[iLane];
  }
  return step;
}

/// Adds a step to the lists of the boxes that need it.
template <std::size_t W>
void Lists<W>::WriteStep(SFTapeStep const& iStep, State& ioState, SFPrunableList* oLists)
{
  SFStepCost const cost(_tape, iStep);
  SFBoxes rewritten = ioState.negates;
  SFBoxes changed = ioState.negates;
  ForOperands(iStep, [&](SFValueId iId) {
    rewritten |= At(iId).altered;
    changed |= At(iId).changed;
  });
  changed &= static_cast<SFBoxes>(~ioState.full);
  for (unsigned int left = ioState.needed; left != 0; left &= left - 1) {
    auto const lane = static_cast<std::size_t>(std::countr_zero(left));
    auto const bit = static_cast<SFBoxes>(1U << lane);
    if ((ioState.replaced & bit) != 0) // operands come first, so theirs are final
      ioState.replacements[lane] = Resolved(ioState.replacements[lane], lane);
    else if ((rewritten & bit) == 0)
      Append(iStep, cost, oLists[lane]);
    else {
      SFTapeStep const step = Rewritten(iStep, ioState, lane);
      Append(step, cost, oLists[lane]);
      ioState.axes[lane] = step.axes;
    }
    if ((changed & bit) != 0 && iStep.slope != SFSlopeUse::None && _pass.slopes.entries[iStep.id].isStated)
      oLists[lane].steps.back().slope = SFSlopeUse::None;
  }
  ioState.changed = ioState.replaced | changed;
  ioState.altered = ioState.replaced;
  for (std::size_t lane = 0; lane < W; ++lane)
    ioState.altered |= static_cast<SFBoxes>((ioState.axes[lane] != iStep.axes ? 1U : 0U) << lane);
}

template <std::size_t W>
float Lists<W>::Settled(std::size_t iLane) const
{
  if (((_pass.above | _pass.below) >> iLane & 1U) == 0)
    return std::numeric_limits<float>::quiet_NaN();
  return static_cast<float>((_pass.above >> iLane & 1U) != 0 ? _pass.limit : -_pass.limit);
}

template <std::size_t W>
SFBoxes Lists<W>::Write(SFListUse iUse, SFPrunableList* oLists)
{
  for (std::size_t lane = 0; lane < _pass.boxes.size(); ++lane) {
    oLists[lane].steps.clear();
    oLists[lane].steps.reserve(std::min<std::size_t>(_pass.list.steps.size(), 4096));
    oLists[lane].choices = 0;
    oLists[lane].cost = 0;
    oLists[lane].settled = Settled(lane);
  }
  SFBoxes changed = 0;
  for (std::size_t at = 0; at < _pass.list.steps.size(); ++at) {
    SFTapeStep const& step = _pass.list.steps[at];
    State& state = _pass.states[at];
    changed |= static_cast<SFBoxes>(~state.needed) | state.replaced | state.negates;
    if (state.needed == 0)
      continue;
    std::fill_n(state.axes, W, step.axes);
    if (iUse == SFListUse::ToPrune || !_tape.IsHoisted(step.id))
      WriteStep(step, state, oLists);
  }
  for (std::size_t lane = 0; lane < _pass.boxes.size(); ++lane) {
    oLists[lane].results.clear();
    for (SFValueId const result : _pass.list.results)
      oLists[lane].results.push_back(Resolved(result, lane));
  }
  return changed & _pass.all;
}

} // namespace

template <std::size_t W>
SFBoxes SFPruningPass<W>::WriteLists(SFListUse iUse, SFPrunableList* oLists)
{
  return Lists<W>(*this).Write(iUse, oLists);
}

template SFBoxes SFPruningPass<1>::WriteLists(SFListUse, SFPrunableList*);
template SFBoxes SFPruningPass<SFRangeLanes>::WriteLists(SFListUse, SFPrunableList*);

} // namespace SF
