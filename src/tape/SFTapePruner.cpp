#include "tape/SFTapePruner.h"

#include "tape/SFTapeIntervals.h"

#include <algorithm>
#include <array>
#include <bit>
#include <limits>

namespace SF {
namespace {

template <std::size_t W>
constexpr SFDemand<W> FilledDemand(double iLower, double iUpper)
{
  SFDemand<W> demand{};
  std::fill_n(demand.lower, W, iLower);
  std::fill_n(demand.upper, W, iUpper);
  return demand;
}
template <std::size_t W>
constexpr SFDemand<W> NoDemand = FilledDemand<W>(SFInterval::Infinity, -SFInterval::Infinity);
template <std::size_t W>
constexpr SFDemand<W> FullDemand = FilledDemand<W>(-SFInterval::Infinity, SFInterval::Infinity);

/// Adds a step to a list.
void Append(SFTapeInvariants const& iTape, SFTapeStep const& iStep, SFPrunableList& ioList)
{
  ioList.steps.push_back(iStep);
  if (iTape.IsHoisted(iStep.id))
    return;
  ioList.choices += IsChoice(SFNodeType{iStep.code}) || iStep.code == SelectCode ? 1 : 0;
  ioList.cost += iStep.axes == iTape.GetAxes() ? CostOf(iStep.code) : 0;
}

/// Whether a value is a step of lists under its own code: those of tiles and of planes. Scalars and the values of single
/// axes have ranges that are known.
bool HasOwnStep(SFTapeInvariants const& iTape, SFValueId iId)
{
  SFAxes const axes = iTape.GetTape().instructions[iId].axes;
  return axes != 0 && (!iTape.IsHoisted(iId) || (axes & (axes - 1)) != 0);
}

/// The range of a coordinate over a box. Rounding is monotone, so the ends of a run of positions are its extremes.
SFInterval CoordinateRange(SFTapeInvariants const& iTape, std::size_t iAxis, SFTile const& iBox)
{
  double const a = iTape.Coordinate(iAxis, iBox.begin[iAxis]);
  double const b = iTape.Coordinate(iAxis, iBox.begin[iAxis] + iBox.count[iAxis] - 1);
  return {std::min(a, b), std::max(a, b), false};
}

SFPruning PruningOf(SFTapeStep const& iStep) { return OperatorRow(SFNodeType{iStep.code}).pruning; }

/// One pruning: of a list, for up to W boxes.
template <std::size_t W>
class Pass
{
public:
  using State = SFStepState<W>;

  Pass(SFTapeInvariants const& iTape, double iLimit, SFPrunableList const& iList, SFPruningBoxes const& iBoxes,
       SFPrunerScratch& ioScratch, std::vector<State>& ioStates)
    : _tape(iTape), _limit(iLimit), _list(iList), _boxes(iBoxes), _all(static_cast<SFBoxes>((1U << iBoxes.size()) - 1)),
      _scratch(ioScratch), _states(ioStates)
  {
    if (_states.size() < iList.steps.size())
      _states.resize(iList.steps.size());
    for (std::uint32_t at = 0; at < iList.steps.size(); ++at)
      _scratch.positions[iList.steps[at].id] = at;
    for (std::size_t axis = 0; axis < 3 && !iTape.IsAtPoints(); ++axis)
      FindExtents(axis);
  }

  bool ComputeRanges();
  void Settle();
  void PushDemands();
  SFBoxes Write(SFListUse iUse, SFPrunableList* oLists);

private:
  /// The different extents of the boxes along an axis.
  struct Extents
  {
    std::size_t count = 1;
    std::array<SFTile, W> boxes; ///< one of those with that extent
    std::array<SFBlockRanges::Run, W> blocks;
    std::array<std::uint8_t, W> of{}; ///< by box: the number of its extent
  };

  State& At(SFValueId iId) { return _states[_scratch.positions[iId]]; }
  void FindExtents(std::size_t iAxis);
  void ReadLeaf(SFTapeStep const& iStep, SFRanges<W>& oRange) const;
  void ReadCoordinate(SFTapeStep const& iStep, SFRanges<W>& oRange) const;

  void Demand(SFValueId iId, SFBoxes iBoxes) { Demand(iId, iBoxes, FullDemand<W>); }
  void Demand(SFValueId iId, SFBoxes iBoxes, SFDemand<W> const& iDemand);
  void Replace(State& ioState, SFBoxes iBoxes, SFValueId iBy);
  SFNarrowed<W> Narrowed(SFTapeStep const& iStep, State const& iState);
  void Choose(SFTapeStep const& iStep, State& ioState);
  void ChooseSign(SFTapeStep const& iStep, State& ioState);
  void ChooseMagnitude(SFTapeStep const& iStep, State& ioState);
  void ChooseSelected(SFTapeStep const& iStep, State& ioState);
  void PushSign(SFTapeStep const& iStep, State& ioState);
  SFBoxes WherePositive(SFValueId iId);
  SFBoxes WhereNegative(SFValueId iId);
  void PushDemand(SFTapeStep const& iStep, State& ioState);

  SFValueId Resolved(SFValueId iId, std::size_t iLane);
  SFTapeStep Rewritten(SFTapeStep const& iStep, State const& iState, std::size_t iLane);
  void WriteStep(SFTapeStep const& iStep, State& ioState, SFPrunableList* oLists);
  float Settled(std::size_t iLane) const;

  SFTapeInvariants const& _tape;
  double _limit;
  SFPrunableList const& _list;
  SFPruningBoxes _boxes;
  SFBoxes _all;
  SFBoxes _above = 0; ///< the boxes all over which the result is limited from above
  SFBoxes _below = 0;
  SFPrunerScratch& _scratch;
  std::vector<State>& _states;
  std::array<Extents, 3> _extents;
};

// ---- ranges, in the order of the list -------------------------------------------------------------------------

template <std::size_t W>
void Pass<W>::FindExtents(std::size_t iAxis)
{
  Extents& extents = _extents[iAxis];
  extents.boxes[0] = _boxes.tiles[0];
  for (std::size_t lane = 1; lane < _boxes.size(); ++lane) {
    SFTile const& box = _boxes.tiles[lane];
    std::size_t at = 0;
    while (at < extents.count &&
           (extents.boxes[at].begin[iAxis] != box.begin[iAxis] || extents.boxes[at].count[iAxis] != box.count[iAxis]))
      ++at;
    if (at == extents.count)
      extents.boxes[extents.count++] = box;
    extents.of[lane] = static_cast<std::uint8_t>(at);
  }
  for (std::size_t i = 0; i < extents.count; ++i)
    extents.blocks[i] = _tape.GetBlockRanges().BlocksOf(iAxis, extents.boxes[i]);
}

template <std::size_t W>
void Pass<W>::ReadLeaf(SFTapeStep const& iStep, SFRanges<W>& oRange) const
{
  if (iStep.axes == 0)
    return oRange.SetAll(SFInterval(_tape.GetScalar(iStep.id)));
  if (_tape.IsAtPoints())
    return ReadCoordinate(iStep, oRange);
  Extents const& extents = _extents[FirstAxis(iStep.axes)];
  std::array<SFInterval, W> ranges;
  for (std::size_t i = 0; i < extents.count; ++i)
    ranges[i] = iStep.code == InputCode ? _tape.GetBlockRanges().RangeOf(iStep.id, extents.blocks[i])
                                        : CoordinateRange(_tape, AxisOf(iStep.code), extents.boxes[i]);
  for (std::size_t lane = 0; lane < W; ++lane)
    oRange.Set(lane, ranges[extents.of[lane]]);
}

/// At points the coordinates alone are inputs.
template <std::size_t W>
void Pass<W>::ReadCoordinate(SFTapeStep const& iStep, SFRanges<W>& oRange) const
{
  std::size_t const axis = AxisOf(_tape.GetTape().instructions[iStep.id].code);
  for (std::size_t lane = 0; lane < W; ++lane)
    oRange.Set(lane, _boxes.ranges[lane < _boxes.size() ? lane : 0][axis]);
}

/// False when it was asked to stop.
template <std::size_t W>
bool Pass<W>::ComputeRanges()
{
  constexpr std::size_t stopInterval = 4096;
  for (std::size_t at = 0; at < _list.steps.size(); ++at) {
    if (at % stopInterval == stopInterval - 1 && _scratch.stop != nullptr && _scratch.stop->MustStop())
      return false;
    SFTapeStep const& step = _list.steps[at];
    State& state = _states[at];
    ComputeRange(
        step.code, At(step.operands[0]).range, At(step.operands[1]).range, _tape.GetKernels(),
        [&](SFRanges<W>& oRange) { ReadLeaf(step, oRange); }, state.range);
    state.demand = NoDemand<W>;
    state.needed = state.replaced = state.negates = state.altered = 0;
  }
  return true;
}

// ---- demanded ranges, against the order of the list -----------------------------------------------------------

template <std::size_t W>
void Pass<W>::Demand(SFValueId iId, SFBoxes iBoxes, SFDemand<W> const& iDemand)
{
  if (iBoxes == 0)
    return;
  State& state = At(iId);
  state.needed |= iBoxes;
  if constexpr (W == SFRangeLanes)
    _tape.GetKernels().widen(state.demand, iDemand, iBoxes);
  else
    Widen(state.demand, iDemand, iBoxes);
}

template <std::size_t W>
void Pass<W>::Replace(State& ioState, SFBoxes iBoxes, SFValueId iBy)
{
  if (iBoxes == 0)
    return;
  ioState.replaced |= iBoxes;
  for (std::size_t lane = 0; lane < W; ++lane)
    ioState.replacements[lane] = (iBoxes >> lane & 1U) != 0 ? iBy : ioState.replacements[lane];
}

template <std::size_t W>
SFNarrowed<W> Pass<W>::Narrowed(SFTapeStep const& iStep, State const& iState)
{
  SFNarrowed<W> narrowed;
  SFRanges<W> const& a = At(iStep.operands[0]).range;
  SFRanges<W> const& b = At(iStep.operands[1]).range;
  if constexpr (W == SFRangeLanes)
    _tape.GetKernels().narrow[iStep.code](a, b, iState.demand, narrowed);
  else if (PruningOf(iStep) == SFPruning::Minimum)
    Narrow<SFPruning::Minimum>(a, b, iState.demand, narrowed);
  else if (PruningOf(iStep) == SFPruning::Maximum)
    Narrow<SFPruning::Maximum>(a, b, iState.demand, narrowed);
  else
    Narrow<SFPruning::Difference>(a, b, iState.demand, narrowed);
  return narrowed;
}

template <std::size_t W>
void Pass<W>::Choose(SFTapeStep const& iStep, State& ioState)
{
  SFNarrowed<W> const narrowed = Narrowed(iStep, ioState);
  SFBoxes const withoutA = ioState.needed & narrowed.withoutA;
  SFBoxes const withoutB = ioState.needed & narrowed.withoutB;
  Demand(iStep.operands[0], ioState.needed & static_cast<SFBoxes>(~withoutA), narrowed.a);
  Demand(iStep.operands[1], ioState.needed & static_cast<SFBoxes>(~withoutB), narrowed.b);
  Replace(ioState, withoutB, iStep.operands[0]);
  if (PruningOf(iStep) != SFPruning::Difference)
    Replace(ioState, withoutA, iStep.operands[1]);
  else if (iStep.operands[0] != _tape.GetMinusInfinity())
    ioState.negates = withoutA; // max(-inf, -b), and not 0 - b: zeros keep their sign
}

/// The boxes all over which a value is above 0.
template <std::size_t W>
SFBoxes Pass<W>::WherePositive(SFValueId iId)
{
  SFRanges<W> const& range = At(iId).range;
  unsigned int positive = 0;
  for (std::size_t lane = 0; lane < W; ++lane)
    positive |= static_cast<unsigned int>(range.lo[lane] > 0.0 && range.nan[lane] == 0) << lane;
  return static_cast<SFBoxes>(positive);
}

/// The boxes all over which a value is not above 0, or NaN, of which sign and selection make the same.
template <std::size_t W>
SFBoxes Pass<W>::WhereNegative(SFValueId iId)
{
  SFRanges<W> const& range = At(iId).range;
  unsigned int negative = 0;
  for (std::size_t lane = 0; lane < W; ++lane)
    negative |= static_cast<unsigned int>(range.hi[lane] <= 0.0) << lane;
  return static_cast<SFBoxes>(negative);
}

template <std::size_t W>
void Pass<W>::ChooseSign(SFTapeStep const& iStep, State& ioState)
{
  Replace(ioState, ioState.needed & WherePositive(iStep.operands[0]), _tape.GetOne());
  Replace(ioState, ioState.needed & WhereNegative(iStep.operands[0]), _tape.GetMinusOne());
  Demand(iStep.operands[0], ioState.needed & static_cast<SFBoxes>(~ioState.replaced));
}

template <std::size_t W>
void Pass<W>::ChooseMagnitude(SFTapeStep const& iStep, State& ioState)
{
  SFBoxes const same = ioState.needed & WherePositive(iStep.operands[0]);
  Replace(ioState, same, iStep.operands[0]);
  Demand(iStep.operands[0], same, ioState.demand);
  Demand(iStep.operands[0], ioState.needed & static_cast<SFBoxes>(~same));
}

/// Of its condition a selection reads the sign alone: what is above 0 may be anything else above 0, and so below.
template <std::size_t W>
void Pass<W>::ChooseSelected(SFTapeStep const& iStep, State& ioState)
{
  auto const [condition, first, second] = iStep.operands;
  SFBoxes const isFirst = ioState.needed & WherePositive(condition);
  SFBoxes const isSecond = ioState.needed & WhereNegative(condition);
  Replace(ioState, isFirst, first);
  Replace(ioState, isSecond, second);
  Demand(first, ioState.needed & static_cast<SFBoxes>(~isSecond), ioState.demand);
  Demand(second, ioState.needed & static_cast<SFBoxes>(~isFirst), ioState.demand);
  Demand(condition, ioState.needed & static_cast<SFBoxes>(~(isFirst | isSecond)), FilledDemand<W>(0.0, 0.0));
}

/// Hands the demand of a difference on to its operands. Where it is needed for its sign alone, and undecided, each operand
/// may be anything else beyond the range of the other one: the order of the two stays as it is.
template <std::size_t W>
void Pass<W>::PushSign(SFTapeStep const& iStep, State& ioState)
{
  SFRanges<W> const& a = At(iStep.operands[0]).range;
  SFRanges<W> const& b = At(iStep.operands[1]).range;
  SFDemand<W> ofA = FullDemand<W>;
  SFDemand<W> ofB = FullDemand<W>;
  for (std::size_t lane = 0; lane < W; ++lane) {
    bool const overlap = a.lo[lane] <= b.hi[lane] && b.lo[lane] <= a.hi[lane];
    if (ioState.demand.lower[lane] != 0.0 || ioState.demand.upper[lane] != 0.0 || !overlap ||
        (a.nan[lane] | b.nan[lane]) != 0)
      continue;
    ofA.lower[lane] = b.lo[lane];
    ofA.upper[lane] = b.hi[lane];
    ofB.lower[lane] = a.lo[lane];
    ofB.upper[lane] = a.hi[lane];
  }
  Demand(iStep.operands[0], ioState.needed, ofA);
  Demand(iStep.operands[1], ioState.needed, ofB);
}

/// Hands the demand of a step on to its operands, as far as they can be chosen.
template <std::size_t W>
void Pass<W>::PushDemand(SFTapeStep const& iStep, State& ioState)
{
  if (iStep.code == SelectCode)
    return ChooseSelected(iStep, ioState);
  if (iStep.code == CodeOf(SFNodeType::MINUS) && !_tape.IsHoisted(iStep.id))
    return PushSign(iStep, ioState);
  // Hoisted values stay as they are; their steps serve the ranges alone.
  switch (_tape.IsHoisted(iStep.id) ? SFPruning::None : PruningOf(iStep)) {
  case SFPruning::Minimum:
  case SFPruning::Maximum:
  case SFPruning::Difference:
    return Choose(iStep, ioState);
  case SFPruning::Sign:
    return ChooseSign(iStep, ioState);
  case SFPruning::Magnitude:
    return ChooseMagnitude(iStep, ioState);
  case SFPruning::Complement: {
    SFDemand<W> negated;
    for (std::size_t lane = 0; lane < W; ++lane) {
      negated.lower[lane] = -ioState.demand.upper[lane];
      negated.upper[lane] = -ioState.demand.lower[lane];
    }
    return Demand(iStep.operands[0], ioState.needed, negated);
  }
  case SFPruning::None:
    ForOperands(iStep, [&](SFValueId iId) { Demand(iId, ioState.needed); });
  }
}

/// Finds the boxes that need no step, as their values are all beyond the limit.
template <std::size_t W>
void Pass<W>::Settle()
{
  if (_limit == SFInterval::Infinity)
    return;
  SFRanges<W> const& range = At(_list.results.front()).range;
  for (std::size_t lane = 0; lane < _boxes.size(); ++lane) {
    _above |= static_cast<SFBoxes>((range.nan[lane] == 0 && range.lo[lane] >= _limit ? 1U : 0U) << lane);
    _below |= static_cast<SFBoxes>((range.nan[lane] == 0 && range.hi[lane] <= -_limit ? 1U : 0U) << lane);
  }
}

template <std::size_t W>
void Pass<W>::PushDemands()
{
  Settle();
  for (SFValueId const result : _list.results)
    Demand(result, _all & static_cast<SFBoxes>(~(_above | _below)), FilledDemand<W>(-_limit, _limit));
  for (SFValueId const id : {_tape.GetOne(), _tape.GetMinusOne(), _tape.GetMinusInfinity()})
    At(id).needed = _all; // a later pruning may put them in for others
  for (std::size_t at = _list.steps.size(); at-- > 0;)
    if (_states[at].needed != 0)
      PushDemand(_list.steps[at], _states[at]);
}

// ---- the lists that are left ----------------------------------------------------------------------------------

template <std::size_t W>
SFValueId Pass<W>::Resolved(SFValueId iId, std::size_t iLane)
{
  State const& state = At(iId);
  return (state.replaced >> iLane & 1U) != 0 ? state.replacements[iLane] : iId;
}

template <std::size_t W>
SFTapeStep Pass<W>::Rewritten(SFTapeStep const& iStep, State const& iState, std::size_t iLane)
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
void Pass<W>::WriteStep(SFTapeStep const& iStep, State& ioState, SFPrunableList* oLists)
{
  SFBoxes rewritten = ioState.negates;
  ForOperands(iStep, [&](SFValueId iId) { rewritten |= At(iId).altered; });
  for (unsigned int left = ioState.needed; left != 0; left &= left - 1) {
    auto const lane = static_cast<std::size_t>(std::countr_zero(left));
    auto const bit = static_cast<SFBoxes>(1U << lane);
    if ((ioState.replaced & bit) != 0) // operands come first, so theirs are final
      ioState.replacements[lane] = Resolved(ioState.replacements[lane], lane);
    else if ((rewritten & bit) == 0)
      Append(_tape, iStep, oLists[lane]);
    else {
      Append(_tape, Rewritten(iStep, ioState, lane), oLists[lane]);
      ioState.axes[lane] = oLists[lane].steps.back().axes;
    }
  }
  ioState.altered = ioState.replaced;
  for (std::size_t lane = 0; lane < W; ++lane)
    ioState.altered |= static_cast<SFBoxes>((ioState.axes[lane] != iStep.axes ? 1U : 0U) << lane);
}

template <std::size_t W>
float Pass<W>::Settled(std::size_t iLane) const
{
  if (((_above | _below) >> iLane & 1U) == 0)
    return std::numeric_limits<float>::quiet_NaN();
  return static_cast<float>((_above >> iLane & 1U) != 0 ? _limit : -_limit);
}

template <std::size_t W>
SFBoxes Pass<W>::Write(SFListUse iUse, SFPrunableList* oLists)
{
  for (std::size_t lane = 0; lane < _boxes.size(); ++lane) {
    oLists[lane].steps.clear();
    oLists[lane].choices = 0;
    oLists[lane].cost = 0;
    oLists[lane].settled = Settled(lane);
  }
  SFBoxes changed = 0;
  for (std::size_t at = 0; at < _list.steps.size(); ++at) {
    SFTapeStep const& step = _list.steps[at];
    State& state = _states[at];
    changed |= static_cast<SFBoxes>(~state.needed) | state.replaced | state.negates;
    if (state.needed == 0)
      continue;
    std::fill_n(state.axes, W, step.axes);
    if (iUse == SFListUse::ToPrune || !_tape.IsHoisted(step.id))
      WriteStep(step, state, oLists);
  }
  for (std::size_t lane = 0; lane < _boxes.size(); ++lane) {
    oLists[lane].results.clear();
    for (SFValueId const result : _list.results)
      oLists[lane].results.push_back(Resolved(result, lane));
  }
  return changed & _all;
}

template <std::size_t W>
SFBoxes PruneFor(SFTapeInvariants const& iTape, double iLimit, SFPrunableList const& iList,
                 SFPruningBoxes const& iBoxes, SFListUse iUse, SFPrunerScratch& ioScratch,
                 std::vector<SFStepState<W>>& ioStates, SFPrunableList* oLists)
{
  Pass<W> pass(iTape, iLimit, iList, iBoxes, ioScratch, ioStates);
  if (!pass.ComputeRanges())
    return 0;
  pass.PushDemands();
  return pass.Write(iUse, oLists);
}

} // namespace

SFTapePruner::SFTapePruner(SFTapeInvariants const& iTape, double iLimit)
  : _tape(iTape), _limit(iLimit > 0.0 ? iLimit : SFInterval::Infinity)
{
  auto const& instructions = iTape.GetTape().instructions;
  std::vector<char> isRead(instructions.size(), 0);
  for (SFValueId id = 0; id < instructions.size(); ++id)
    if (HasOwnStep(iTape, id))
      ForOperands(instructions[id], [&](SFValueId iOperand) { isRead[iOperand] = 1; });
  _list.results = iTape.GetTape().results;
  for (SFValueId const result : _list.results)
    isRead[result] = 1;

  auto const append = [&](SFValueId iId, SFTapeCode iCode) {
    SFTapeStep step = StepOf(instructions[iId], iId);
    step.code = iCode;
    Append(iTape, step, _list);
  };
  for (SFValueId id : {iTape.GetOne(), iTape.GetMinusOne(), iTape.GetMinusInfinity()})
    append(id, InputCode); // first: any step may come to name them
  for (SFValueId id = 0; id < iTape.GetOne(); ++id)
    if (HasOwnStep(iTape, id))
      append(id, instructions[id].code);
    else if (isRead[id] != 0)
      append(id, InputCode);
  if (!iTape.GetGrid().IsWithin(std::numeric_limits<double>::max()))
    _list.choices = 0; // ranges need coordinates that are numbers
}

SFPrunerScratch SFTapePruner::MakeScratch() const
{
  SFPrunerScratch scratch;
  scratch.positions.resize(_tape.GetTape().instructions.size());
  return scratch;
}

SFBoxes SFTapePruner::Prune(SFPrunableList const& iList, SFPruningBoxes const& iBoxes, SFListUse iUse,
                            SFPrunerScratch& ioScratch, SFPrunableList* oLists) const
{
  if (iBoxes.size() > 1 && BoxesFor(iList) > 1)
    return PruneFor<SFRangeLanes>(_tape, _limit, iList, iBoxes, iUse, ioScratch, ioScratch.several, oLists);
  SFBoxes changed = 0;
  for (std::size_t i = 0; i < iBoxes.size() && (ioScratch.stop == nullptr || !ioScratch.stop->IsStopped()); ++i)
    changed |= static_cast<SFBoxes>(
        PruneFor<1>(_tape, _limit, iList, iBoxes.At(i), iUse, ioScratch, ioScratch.single, oLists + i) << i);
  return changed;
}

} // namespace SF
