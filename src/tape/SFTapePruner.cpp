#include "tape/SFTapePruner.h"

#include "operators/SFScalarOps.h"

#include <algorithm>
#include <array>
#include <bit>

namespace SF {
namespace {

template <std::size_t W>
constexpr SFNeeds<W> FilledNeeds(double iLower, double iUpper)
{
  SFNeeds<W> needs{};
  std::fill_n(needs.lower, W, iLower);
  std::fill_n(needs.upper, W, iUpper);
  return needs;
}
template <std::size_t W>
constexpr SFNeeds<W> NoNeeds = FilledNeeds<W>(SFInterval::Infinity, -SFInterval::Infinity);
template <std::size_t W>
constexpr SFNeeds<W> AllNeeds = FilledNeeds<W>(-SFInterval::Infinity, SFInterval::Infinity);

/// The range of an operator, from the one meaning that it has. A chain of tests that the compiler turns into a
/// jump, with the operators inlined.
template <std::size_t... Kind>
SFInterval RangeOf(SFTapeCode iCode, SFInterval const& iA, SFInterval const& iB, std::index_sequence<Kind...>)
{
  SFInterval range;
  auto const apply = [&]<std::size_t K>() {
    if constexpr (IsOperator(SFNodeType{K}))
      range = ScalarOps::Apply<SFNodeType{K}>(iA, iB);
    return true;
  };
  (void)((iCode == Kind && apply.template operator()<Kind>()) || ...);
  return range;
}

SFPruning PruningOf(SFTapeStep const& iStep) { return OperatorRow(SFNodeType{iStep.code}).pruning; }

/// One pruning: of a list, for up to W boxes.
template <std::size_t W>
class Pass
{
public:
  using Step = SFPrunedStep<W>;

  Pass(SFTapeRunner const& iRunner, SFTapeList const& iList, std::span<SFTile const> iBoxes, SFPrunerScratch& ioScratch,
       std::vector<Step>& ioSteps)
    : _runner(iRunner), _list(iList), _boxes(iBoxes), _all(static_cast<SFBoxes>((1U << iBoxes.size()) - 1)),
      _scratch(ioScratch), _steps(ioSteps)
  {
    if (_steps.size() < iList.steps.size())
      _steps.resize(iList.steps.size());
    for (std::uint32_t at = 0; at < iList.steps.size(); ++at)
      _scratch.positions[iList.steps[at].id] = at;
    for (std::size_t axis = 0; axis < 3; ++axis)
      FindPieces(axis);
  }

  bool ComputeRanges();
  void PushNeeds();
  SFBoxes Write(SFListUse iUse, SFTapeList* oLists);

private:
  /// The different stretches of an axis that the boxes cover.
  struct Pieces
  {
    std::size_t count = 1;
    std::array<SFTile, W> boxes;    ///< one of those that cover it
    std::array<SFBlocks, W> blocks; ///< of kept values
    std::array<std::uint8_t, W> of{};
  };

  Step& At(SFValueId iId) { return _steps[_scratch.positions[iId]]; }
  void FindPieces(std::size_t iAxis);
  void ReadLeaf(SFTapeStep const& iStep, SFRanges<W>& oRanges) const;
  void ApplyOperator(SFTapeStep const& iStep, SFRanges<W>& oRanges);

  void Want(SFValueId iId, SFBoxes iBoxes);
  void Want(SFValueId iId, SFBoxes iBoxes, SFNeeds<W> const& iNeeds);
  void Become(Step& ioStep, SFBoxes iBoxes, SFValueId iOther);
  SFNarrowed<W> Narrowed(SFTapeStep const& iStep, Step const& iState);
  void Choose(SFTapeStep const& iStep, Step& ioStep);
  void ChooseSign(SFTapeStep const& iStep, Step& ioStep);
  void PushNeed(SFTapeStep const& iStep, Step& ioStep);

  SFValueId Resolved(SFValueId iId, std::size_t iLane);
  SFTapeStep Rewritten(SFTapeStep const& iStep, Step const& iState, std::size_t iLane);
  SFTapeRunner const& _runner;
  SFTapeList const& _list;
  std::span<SFTile const> _boxes;
  SFBoxes _all;
  SFPrunerScratch& _scratch;
  std::vector<Step>& _steps;
  std::array<Pieces, 3> _pieces;
};

// ---- ranges, in the order of the list -------------------------------------------------------------------------

template <std::size_t W>
void Pass<W>::FindPieces(std::size_t iAxis)
{
  Pieces& pieces = _pieces[iAxis];
  pieces.boxes[0] = _boxes[0];
  for (std::size_t lane = 1; lane < _boxes.size(); ++lane) {
    SFTile const& box = _boxes[lane];
    std::size_t at = 0;
    while (at < pieces.count &&
           (pieces.boxes[at].begin[iAxis] != box.begin[iAxis] || pieces.boxes[at].count[iAxis] != box.count[iAxis]))
      ++at;
    if (at == pieces.count)
      pieces.boxes[pieces.count++] = box;
    pieces.of[lane] = static_cast<std::uint8_t>(at);
  }
  for (std::size_t i = 0; i < pieces.count; ++i)
    pieces.blocks[i] = _runner.BlocksOf(iAxis, pieces.boxes[i]);
}

template <std::size_t W>
void Pass<W>::ReadLeaf(SFTapeStep const& iStep, SFRanges<W>& oRanges) const
{
  if (iStep.axes == 0 || iStep.code == ResourceCode || iStep.code == AngleCode) {
    oRanges.SetAll(iStep.code == InputCode ? SFInterval(_runner.GetScalar(iStep.id)) : SFInterval::Anything());
    return;
  }
  Pieces const& pieces = _pieces[FirstAxis(iStep.axes)];
  std::array<SFInterval, W> ranges;
  for (std::size_t i = 0; i < pieces.count; ++i)
    ranges[i] = iStep.code == InputCode ? _runner.InputRange(iStep, pieces.blocks[i])
                                        : _runner.CoordinateRange(iStep.code - CodeOf(SFNodeType::X), pieces.boxes[i]);
  for (std::size_t lane = 0; lane < W; ++lane)
    oRanges.Set(lane, ranges[pieces.of[lane]]);
}

template <std::size_t W>
void Pass<W>::ApplyOperator(SFTapeStep const& iStep, SFRanges<W>& oRanges)
{
  SFRanges<W> const& a = At(iStep.operands[0]).range;
  SFRanges<W> const& b = At(iStep.operands[1]).range;
  if constexpr (W == SFRangeLanes)
    _runner.GetKernels().ranges[iStep.code](oRanges, a, b);
  else {
    SFInterval const rangeA = a.At(0);
    SFInterval const rangeB = b.At(0);
    oRanges.Set(0, RangeOfOperator(iStep.code, rangeA, &a == &b ? rangeA : rangeB));
  }
}

/// False when it was asked to stop.
template <std::size_t W>
bool Pass<W>::ComputeRanges()
{
  constexpr std::size_t stopInterval = 4096;
  for (std::size_t at = 0; at < _list.steps.size(); ++at) {
    if (at % stopInterval == stopInterval - 1 && _scratch.stop != nullptr && *_scratch.stop && (*_scratch.stop)())
      return false;
    SFTapeStep const& step = _list.steps[at];
    Step& state = _steps[at];
    if (IsOperatorCode(step.code))
      ApplyOperator(step, state.range);
    else
      ReadLeaf(step, state.range);
    state.needs = NoNeeds<W>;
    state.needed = state.replaced = state.bare = state.altered = 0;
  }
  return true;
}

// ---- needs, against the order of the list ---------------------------------------------------------------------

template <std::size_t W>
void Pass<W>::Want(SFValueId iId, SFBoxes iBoxes)
{
  Want(iId, iBoxes, AllNeeds<W>);
}

template <std::size_t W>
void Pass<W>::Want(SFValueId iId, SFBoxes iBoxes, SFNeeds<W> const& iNeeds)
{
  if (iBoxes == 0)
    return;
  Step& step = At(iId);
  step.needed |= iBoxes;
  if constexpr (W == SFRangeLanes)
    _runner.GetKernels().widen(step.needs, iNeeds, iBoxes);
  else
    Widen(step.needs, iNeeds, iBoxes);
}

template <std::size_t W>
void Pass<W>::Become(Step& ioStep, SFBoxes iBoxes, SFValueId iOther)
{
  if (iBoxes == 0)
    return;
  ioStep.replaced |= iBoxes;
  for (std::size_t lane = 0; lane < W; ++lane)
    ioStep.standIns[lane] = (iBoxes >> lane & 1U) != 0 ? iOther : ioStep.standIns[lane];
}

template <std::size_t W>
SFNarrowed<W> Pass<W>::Narrowed(SFTapeStep const& iStep, Step const& iState)
{
  SFNarrowed<W> narrowed;
  SFRanges<W> const& a = At(iStep.operands[0]).range;
  SFRanges<W> const& b = At(iStep.operands[1]).range;
  if constexpr (W == SFRangeLanes)
    _runner.GetKernels().narrow[iStep.code](a, b, iState.needs, narrowed);
  else if (PruningOf(iStep) == SFPruning::Minimum)
    Narrow<SFPruning::Minimum>(a, b, iState.needs, narrowed);
  else if (PruningOf(iStep) == SFPruning::Maximum)
    Narrow<SFPruning::Maximum>(a, b, iState.needs, narrowed);
  else
    Narrow<SFPruning::Difference>(a, b, iState.needs, narrowed);
  return narrowed;
}

template <std::size_t W>
void Pass<W>::Choose(SFTapeStep const& iStep, Step& ioStep)
{
  SFNarrowed<W> const narrowed = Narrowed(iStep, ioStep);
  SFBoxes const withoutA = ioStep.needed & narrowed.withoutA;
  SFBoxes const withoutB = ioStep.needed & narrowed.withoutB;
  Want(iStep.operands[0], ioStep.needed & static_cast<SFBoxes>(~withoutA), narrowed.a);
  Want(iStep.operands[1], ioStep.needed & static_cast<SFBoxes>(~withoutB), narrowed.b);
  Become(ioStep, withoutB, iStep.operands[0]);
  if (PruningOf(iStep) != SFPruning::Difference)
    Become(ioStep, withoutA, iStep.operands[1]);
  else if (iStep.operands[0] != _runner.GetMinusInfinity())
    ioStep.bare = withoutA; // leaves -b, whose zeros keep their sign
}

template <std::size_t W>
void Pass<W>::ChooseSign(SFTapeStep const& iStep, Step& ioStep)
{
  SFRanges<W> const& a = At(iStep.operands[0]).range;
  unsigned int positive = 0;
  unsigned int negative = 0;
  for (std::size_t lane = 0; lane < W; ++lane) {
    positive |= static_cast<unsigned int>(a.lo[lane] > 0.0 && a.nan[lane] == 0) << lane;
    negative |= static_cast<unsigned int>(a.hi[lane] <= 0.0) << lane; // as is the sign of NaN
  }
  Become(ioStep, static_cast<SFBoxes>(positive & ioStep.needed), _runner.GetOne());
  Become(ioStep, static_cast<SFBoxes>(negative & ioStep.needed), _runner.GetMinusOne());
  Want(iStep.operands[0], ioStep.needed & static_cast<SFBoxes>(~ioStep.replaced));
}

/// Hands the need of a step on to its operands, as far as they can be chosen.
template <std::size_t W>
void Pass<W>::PushNeed(SFTapeStep const& iStep, Step& ioStep)
{
  // What is kept for the whole grid stays as it is; its steps serve the ranges alone.
  switch (_runner.IsKept(iStep.id) ? SFPruning::None : PruningOf(iStep)) {
  case SFPruning::Minimum:
  case SFPruning::Maximum:
  case SFPruning::Difference:
    return Choose(iStep, ioStep);
  case SFPruning::Sign:
    return ChooseSign(iStep, ioStep);
  case SFPruning::Complement: {
    SFNeeds<W> negated;
    for (std::size_t lane = 0; lane < W; ++lane) {
      negated.lower[lane] = -ioStep.needs.upper[lane];
      negated.upper[lane] = -ioStep.needs.lower[lane];
    }
    return Want(iStep.operands[0], ioStep.needed, negated);
  }
  case SFPruning::Magnitude: {
    SFRanges<W> const& a = At(iStep.operands[0]).range;
    unsigned int positive = 0;
    for (std::size_t lane = 0; lane < W; ++lane)
      positive |= static_cast<unsigned int>(a.lo[lane] > 0.0 && a.nan[lane] == 0) << lane;
    auto const same = static_cast<SFBoxes>(positive & ioStep.needed);
    Become(ioStep, same, iStep.operands[0]);
    Want(iStep.operands[0], same, ioStep.needs);
    return Want(iStep.operands[0], ioStep.needed & static_cast<SFBoxes>(~same));
  }
  case SFPruning::None:
    for (int i = 0; i < ArityOf(iStep.code); ++i)
      Want(iStep.operands[static_cast<std::size_t>(i)], ioStep.needed);
  }
}

template <std::size_t W>
void Pass<W>::PushNeeds()
{
  for (SFValueId const result : _list.results)
    Want(result, _all);
  for (SFValueId const id : {_runner.GetOne(), _runner.GetMinusOne(), _runner.GetMinusInfinity()})
    At(id).needed = _all; // a later pruning may put them in the place of others
  for (std::size_t at = _list.steps.size(); at-- > 0;)
    if (_steps[at].needed != 0)
      PushNeed(_list.steps[at], _steps[at]);
}

// ---- the lists that are left ----------------------------------------------------------------------------------

template <std::size_t W>
SFValueId Pass<W>::Resolved(SFValueId iId, std::size_t iLane)
{
  Step const& step = At(iId);
  return (step.replaced >> iLane & 1U) != 0 ? step.standIns[iLane] : iId;
}

template <std::size_t W>
SFTapeStep Pass<W>::Rewritten(SFTapeStep const& iStep, Step const& iState, std::size_t iLane)
{
  SFTapeStep step = iStep;
  if ((iState.bare >> iLane & 1U) != 0)
    step.operands[0] = _runner.GetMinusInfinity();
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

template <std::size_t W>
SFBoxes Pass<W>::Write(SFListUse iUse, SFTapeList* oLists)
{
  SFBoxes changed = 0;
  for (std::size_t lane = 0; lane < _boxes.size(); ++lane) {
    oLists[lane].steps.clear();
    oLists[lane].choices = 0;
    oLists[lane].cost = 0;
  }
  for (std::size_t at = 0; at < _list.steps.size(); ++at) {
    SFTapeStep const& step = _list.steps[at];
    Step& state = _steps[at];
    changed |= static_cast<SFBoxes>(~state.needed) | state.replaced | state.bare;
    if (state.needed == 0)
      continue;
    if (iUse == SFListUse::ToRun && _runner.IsKept(step.id)) {
      std::fill_n(state.axes, W, step.axes);
      continue;
    }
    SFBoxes touched = state.bare;
    for (int i = 0; i < ArityOf(step.code); ++i)
      touched |= At(step.operands[static_cast<std::size_t>(i)]).altered;
    std::fill_n(state.axes, W, step.axes);
    for (unsigned int left = state.needed; left != 0; left &= left - 1) {
      auto const lane = static_cast<std::size_t>(std::countr_zero(left));
      SFBoxes const bit = static_cast<SFBoxes>(1U << lane);
      if ((state.replaced & bit) != 0) { // operands come first, so theirs are final
        state.standIns[lane] = Resolved(state.standIns[lane], lane);
        continue;
      }
      SFTapeList& list = oLists[lane];
      if ((touched & bit) == 0)
        _runner.Append(step, list);
      else {
        _runner.Append(Rewritten(step, state, lane), list);
        state.axes[lane] = list.steps.back().axes;
      }
    }
    state.altered = state.replaced;
    for (std::size_t lane = 0; lane < W; ++lane)
      state.altered |= static_cast<SFBoxes>((state.axes[lane] != step.axes ? 1U : 0U) << lane);
  }
  for (std::size_t lane = 0; lane < _boxes.size(); ++lane) {
    oLists[lane].results.clear();
    for (SFValueId const result : _list.results)
      oLists[lane].results.push_back(Resolved(result, lane));
  }
  return changed & _all;
}

template <std::size_t W>
SFBoxes PruneFor(SFTapeRunner const& iRunner, SFTapeList const& iList, std::span<SFTile const> iBoxes, SFListUse iUse,
                 SFPrunerScratch& ioScratch, std::vector<SFPrunedStep<W>>& ioSteps, SFTapeList* oLists)
{
  Pass<W> pass(iRunner, iList, iBoxes, ioScratch, ioSteps);
  if (!pass.ComputeRanges()) {
    ioScratch.stopped = true;
    return 0;
  }
  pass.PushNeeds();
  return pass.Write(iUse, oLists);
}

} // namespace

SFInterval RangeOfOperator(SFTapeCode iOperator, SFInterval const& iA, SFInterval const& iB)
{
  return RangeOf(iOperator, iA, iB, std::make_index_sequence<SFNodeTypeCount>{});
}

SFPrunerScratch SFTapePruner::MakeScratch() const
{
  SFPrunerScratch scratch;
  scratch.positions.resize(_runner.GetTape().instructions.size());
  return scratch;
}

SFBoxes SFTapePruner::Prune(SFTapeList const& iList, std::span<SFTile const> iBoxes, SFListUse iUse,
                            SFPrunerScratch& ioScratch, SFTapeList* oLists) const
{
  if (iBoxes.size() > 1 && BoxesFor(iList) > 1)
    return PruneFor<SFRangeLanes>(_runner, iList, iBoxes, iUse, ioScratch, ioScratch.several, oLists);
  SFBoxes changed = 0;
  for (std::size_t i = 0; i < iBoxes.size() && !ioScratch.stopped; ++i)
    changed |= static_cast<SFBoxes>(
        PruneFor<1>(_runner, iList, iBoxes.subspan(i, 1), iUse, ioScratch, ioScratch.single, oLists + i) << i);
  return changed;
}

} // namespace SF
