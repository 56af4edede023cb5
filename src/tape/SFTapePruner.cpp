#include "tape/SFTapePruner.h"

#include "tape/SFTapeIntervals.h"
#include "tape/SFTapeSlopes.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
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

/// What a step adds to its list.
struct StepCost
{
  StepCost(SFTapeInvariants const& iTape, SFTapeStep const& iStep) : axes(iTape.GetAxes())
  {
    if (iTape.IsHoisted(iStep.id))
      return;
    choices = IsChoice(SFNodeType{iStep.code}) || iStep.code == SelectCode ? 1 : 0;
    cost = CostOf(iStep.code);
  }

  SFAxes axes;
  std::size_t choices = 0;
  std::size_t cost = 0; ///< where the step varies along all axes
};

/// Adds a step to a list.
void Append(SFTapeStep const& iStep, StepCost const& iCost, SFPrunableList& ioList)
{
  ioList.steps.push_back(iStep);
  ioList.choices += iCost.choices;
  ioList.cost += iStep.axes == iCost.axes ? iCost.cost : 0;
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

/// The ranges of all values of a tape over its whole grid.
std::vector<SFInterval> RangesOverGrid(SFTapeInvariants const& iTape)
{
  SFGrid const& grid = iTape.GetGrid();
  SFTile const whole{{0, 0, 0}, grid.dims};
  auto const& instructions = iTape.GetTape().instructions;
  std::vector<SFRanges<1>> ranges(instructions.size());
  std::vector<SFInterval> found;
  for (SFValueId id = 0; id < instructions.size(); ++id) {
    SFTapeInstruction const& instruction = instructions[id];
    auto const leaf = [&](SFRanges<1>& oRange) {
      oRange.Set(0, CoordinateRange(iTape, AxisOf(instruction.code), whole));
    };
    if (instruction.axes == 0)
      ranges[id].Set(0, SFInterval(iTape.GetScalar(id)));
    else
      ComputeRange<false>(instruction.code, ranges[instruction.operands[0]], ranges[instruction.operands[1]],
                          iTape.GetKernels(), leaf, ranges[id]);
    found.push_back(ranges[id].At(0));
  }
  return found;
}

/// One pruning: of a list, for up to W boxes.
template <std::size_t W>
class Pass
{
public:
  using State = SFStepState<W>;

  Pass(SFTapeInvariants const& iTape, SFSlopeTable const& iSlopes, double iLimit, SFPrunableList const& iList,
       SFPruningBoxes const& iBoxes, SFPrunerScratch& ioScratch, std::vector<State>& ioStates)
    : _tape(iTape), _slopes(iSlopes), _limit(iLimit), _list(iList), _boxes(iBoxes),
      _all(static_cast<SFBoxes>((1U << iBoxes.size()) - 1)), _scratch(ioScratch), _states(ioStates)
  {
    if (_states.size() < iList.steps.size())
      _states.resize(iList.steps.size());
    for (std::uint32_t at = 0; at < iList.steps.size(); ++at)
      _scratch.positions[iList.steps[at].id] = at;
    for (std::size_t axis = 0; axis < 3 && !iTape.IsAtPoints(); ++axis)
      FindExtents(axis);
    if (!_slopes.entries.empty())
      FindRadii();
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
    std::array<std::size_t, W> centres; ///< positions
    std::array<std::uint8_t, W> of{};   ///< by box: the number of its extent
  };

  State& At(SFValueId iId) { return _states[_scratch.positions[iId]]; }
  void FindExtents(std::size_t iAxis);
  void FindRadii();
  double CentreValue(SFTapeStep const& iStep, std::size_t iAxis, std::size_t iCentre) const;
  template <bool WithCentres>
  void ReadLeaf(SFTapeStep const& iStep, SFRanges<W>& oRange) const;
  void ReadCoordinate(SFTapeStep const& iStep, SFRanges<W>& oRange) const;
  template <bool WithCentres>
  bool ComputeRanges();
  void Confine(SFTapeStep const& iStep, SFRanges<W>& ioRange);

  void Demand(SFValueId iId, SFBoxes iBoxes)
  {
    State& state = At(iId);
    state.needed |= iBoxes;
    state.full |= iBoxes;
  }
  void TakeFullDemands(State& ioState);
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
  SFSlopeTable const& _slopes;
  double _limit;
  SFPrunableList const& _list;
  SFPruningBoxes _boxes;
  SFBoxes _all;
  SFBoxes _above = 0; ///< the boxes all over which the result is limited from above
  SFBoxes _below = 0;
  SFPrunerScratch& _scratch;
  std::vector<State>& _states;
  std::array<Extents, 3> _extents;
  std::array<double, W> _radii{}; ///< by box: no point is further from the centre
  SFSpread<W> _spread;
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
  for (std::size_t i = 0; i < extents.count; ++i) {
    SFTile const& box = extents.boxes[i];
    extents.blocks[i] = _tape.GetBlockRanges().BlocksOf(iAxis, box);
    extents.centres[i] = SFBlockCentres::PositionOf(box.begin[iAxis], box.count[iAxis], _tape.GetGrid().dims[iAxis]);
  }
}

template <std::size_t W>
void Pass<W>::FindRadii()
{
  for (std::size_t axis = 0; axis < 3; ++axis) {
    Extents const& extents = _extents[axis];
    for (std::size_t lane = 0; lane < _boxes.size(); ++lane) {
      std::size_t const centre = extents.centres[extents.of[lane]];
      double const at = _tape.Coordinate(axis, centre);
      SFInterval const range = CoordinateRange(_tape, axis, _boxes.tiles[lane]);
      double const half = std::max(at - range.lo, range.hi - at);
      _radii[lane] += half * half;
    }
  }
  for (double& radius : _radii)
    radius = std::sqrt(radius) * (1.0 + 1e-14);
}

/// The value of a leaf at the centre of an extent along its axis.
template <std::size_t W>
double Pass<W>::CentreValue(SFTapeStep const& iStep, std::size_t iAxis, std::size_t iCentre) const
{
  return iStep.code == InputCode ? _tape.GetViews()[iStep.id].data[iCentre] : _tape.Coordinate(iAxis, iCentre);
}

template <std::size_t W>
template <bool WithCentres>
void Pass<W>::ReadLeaf(SFTapeStep const& iStep, SFRanges<W>& oRange) const
{
  if (iStep.axes == 0) {
    oRange.SetAll(SFInterval(_tape.GetScalar(iStep.id)));
    return oRange.SetCentres(_tape.GetScalar(iStep.id));
  }
  if (_tape.IsAtPoints())
    return ReadCoordinate(iStep, oRange);
  Extents const& extents = _extents[FirstAxis(iStep.axes)];
  std::array<SFInterval, W> ranges;
  [[maybe_unused]] std::array<double, W> centres{};
  for (std::size_t i = 0; i < W && i < extents.count; ++i) {
    ranges[i] = iStep.code == InputCode ? _tape.GetBlockRanges().RangeOf(iStep.id, extents.blocks[i])
                                        : CoordinateRange(_tape, AxisOf(iStep.code), extents.boxes[i]);
    if constexpr (WithCentres)
      centres[i] = CentreValue(iStep, FirstAxis(iStep.axes), extents.centres[i]);
  }
  for (std::size_t lane = 0; lane < W; ++lane) {
    oRange.Set(lane, ranges[extents.of[lane]]);
    if constexpr (WithCentres)
      oRange.centre[lane] = centres[extents.of[lane]];
  }
}

/// Confines the range of a value to what its slope allows.
template <std::size_t W>
void Pass<W>::Confine(SFTapeStep const& iStep, SFRanges<W>& ioRange)
{
  SFSlopeTable::Entry const& entry = _slopes.entries[iStep.id];
  bool const isOfRoot = iStep.slope == SFSlopeUse::OfRoot;
  _spread.margin = entry.margin;
  _spread.rootOfMargin = entry.rootOfMargin;
  for (std::size_t lane = 0; lane < W; ++lane)
    _spread.reach[lane] = entry.bound * _radii[lane];
  if constexpr (W == SFRangeLanes)
    _tape.GetKernels().confine[isOfRoot ? 1 : 0](ioRange, _spread);
  else if (isOfRoot)
    SF::Confine<true>(ioRange, _spread);
  else
    SF::Confine<false>(ioRange, _spread);
}

template <std::size_t W>
bool Pass<W>::ComputeRanges()
{
  return _slopes.entries.empty() ? ComputeRanges<false>() : ComputeRanges<true>();
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
template <bool WithCentres>
bool Pass<W>::ComputeRanges()
{
  constexpr std::size_t stopInterval = 4096;
  for (std::size_t at = 0; at < _list.steps.size(); ++at) {
    if (at % stopInterval == stopInterval - 1 && _scratch.stop != nullptr && _scratch.stop->MustStop())
      return false;
    SFTapeStep const& step = _list.steps[at];
    State& state = _states[at];
    bool const isLeaf = ArityOf(step.code) == 0;
    ComputeRange<WithCentres>(
        step.code, (isLeaf ? state : At(step.operands[0])).range, (isLeaf ? state : At(step.operands[1])).range,
        _tape.GetKernels(), [&](SFRanges<W>& oRange) { ReadLeaf<WithCentres>(step, oRange); }, state.range);
    if (WithCentres && step.slope != SFSlopeUse::None)
      Confine(step, state.range);
    state.needed = state.full = state.limited = state.replaced = state.negates = state.altered = state.changed = 0;
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
  if (state.limited == 0)
    state.demand = NoDemand<W>;
  state.limited |= iBoxes;
  state.needed |= iBoxes;
  if constexpr (W == SFRangeLanes)
    _tape.GetKernels().widen(state.demand, iDemand, iBoxes);
  else
    Widen(state.demand, iDemand, iBoxes);
}

/// Makes what is demanded in full part of the demanded ranges.
template <std::size_t W>
void Pass<W>::TakeFullDemands(State& ioState)
{
  if (ioState.limited == 0)
    ioState.demand = NoDemand<W>;
  if (ioState.full == 0)
    return;
  if constexpr (W == SFRangeLanes)
    _tape.GetKernels().widen(ioState.demand, FullDemand<W>, ioState.full);
  else
    Widen(ioState.demand, FullDemand<W>, ioState.full);
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
  // Hoisted values stay as they are; their steps serve the ranges alone.
  bool const isHoisted = _tape.IsHoisted(iStep.id);
  SFPruning const pruning = isHoisted ? SFPruning::None : PruningOf(iStep);
  bool const isSign = iStep.code == CodeOf(SFNodeType::MINUS) && !isHoisted && ioState.full != ioState.needed;
  if (pruning != SFPruning::None || isSign || iStep.code == SelectCode)
    TakeFullDemands(ioState);
  if (iStep.code == SelectCode)
    return ChooseSelected(iStep, ioState);
  if (isSign)
    return PushSign(iStep, ioState);
  switch (pruning) {
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
  StepCost const cost(_tape, iStep);
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
    if ((changed & bit) != 0 && iStep.slope != SFSlopeUse::None && _slopes.entries[iStep.id].isStated)
      oLists[lane].steps.back().slope = SFSlopeUse::None;
  }
  ioState.changed = ioState.replaced | changed;
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
    oLists[lane].steps.reserve(std::min<std::size_t>(_list.steps.size(), 4096));
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
SFBoxes PruneFor(SFTapeInvariants const& iTape, SFSlopeTable const& iSlopes, double iLimit, SFPrunableList const& iList,
                 SFPruningBoxes const& iBoxes, SFListUse iUse, SFPrunerScratch& ioScratch,
                 std::vector<SFStepState<W>>& ioStates, SFPrunableList* oLists)
{
  Pass<W> pass(iTape, iSlopes, iLimit, iList, iBoxes, ioScratch, ioStates);
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
    Append(step, StepCost(iTape, step), _list);
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
  FindSlopes();
}

namespace {

/// By value: whether a slope can tell more than the ranges of the operands. It cannot where every coordinate is read once, as
/// the range is exact then, nor for choices and what is no more than one of them moved, which have the ranges of what they
/// choose from.
std::vector<char> WhereSlopesTell(SFTape const& iTape)
{
  auto const& instructions = iTape.instructions;
  std::vector<char> isExact(instructions.size(), 1);
  std::vector<char> isChosen(instructions.size(), 0);
  std::vector<char> tells(instructions.size(), 0);
  for (SFValueId id = 0; id < instructions.size(); ++id) {
    SFTapeInstruction const& instruction = instructions[id];
    SFNodeType const type{instruction.code};
    if (!IsOperator(type))
      continue;
    auto const [a, b, unused] = instruction.operands;
    bool const isBinary = IsBinaryOperator(type) && a != b;
    bool const isApart = !isBinary || (instructions[a].axes & instructions[b].axes) == 0;
    isExact[id] = isExact[a] != 0 && isExact[b] != 0 && isApart ? 1 : 0;
    bool const isMoved = !isBinary || instructions[a].axes == 0 || instructions[b].axes == 0;
    isChosen[id] = IsChoice(type) || (isMoved && (isChosen[a] != 0 || isChosen[b] != 0)) ? 1 : 0;
    tells[id] = isExact[id] == 0 && isChosen[id] == 0 ? 1 : 0;
  }
  for (SFStatedBound const& bound : iTape.bounds)
    tells[bound.value] = isExact[bound.value] == 0 ? 1 : 0;
  return tells;
}

/// By value: whether it is a result or an operand of a choice.
std::vector<char> WhereRangesDecide(SFTape const& iTape)
{
  std::vector<char> decides(iTape.instructions.size(), 0);
  for (auto const& instruction : iTape.instructions)
    if (IsChoice(SFNodeType{instruction.code}))
      ForOperands(instruction, [&](SFValueId iOperand) { decides[iOperand] = 1; });
  for (SFValueId const result : iTape.results)
    decides[result] = 1;
  return decides;
}

SFSlopeUse UseOf(SFSlope const& iSlope)
{
  if (iSlope.ofRoot < SFInterval::Infinity)
    return SFSlopeUse::OfRoot;
  return iSlope.lipschitz < SFInterval::Infinity ? SFSlopeUse::OfValue : SFSlopeUse::None;
}

} // namespace

void SFTapePruner::FindSlopes()
{
  _slopes.entries.clear();
  auto const decides = WhereRangesDecide(_tape.GetTape());
  auto const tells = WhereSlopesTell(_tape.GetTape());
  auto const isWorthwhile = [&](SFTapeStep const& iStep) {
    return decides[iStep.id] != 0 && tells[iStep.id] != 0 && iStep.code != InputCode;
  };
  auto& steps = _list.steps;
  if (_list.choices == 0 || _tape.IsAtPoints() || std::none_of(steps.begin(), steps.end(), isWorthwhile))
    return;
  auto const ranges = RangesOverGrid(_tape);
  auto const slopes = SlopesOf(_tape.GetTape(), ranges);
  for (SFTapeStep& step : steps) {
    SFSlope const& slope = slopes[step.id];
    double const magnitude = std::max(std::abs(ranges[step.id].lo), std::abs(ranges[step.id].hi));
    double const margin = 2.0 * slope.error + 16.0 * std::numeric_limits<double>::epsilon() * magnitude + 1e-300;
    step.slope = isWorthwhile(step) && margin < SFInterval::Infinity ? UseOf(slope) : SFSlopeUse::None;
    if (step.slope == SFSlopeUse::None)
      continue;
    _slopes.entries.resize(slopes.size());
    double const bound = step.slope == SFSlopeUse::OfRoot ? slope.ofRoot : slope.lipschitz;
    _slopes.entries[step.id] = {bound * (1.0 + 1e-14), margin, std::sqrt(margin) * (1.0 + 1e-14), slope.isStated};
  }
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
    return PruneFor<SFRangeLanes>(_tape, _slopes, _limit, iList, iBoxes, iUse, ioScratch, ioScratch.several, oLists);
  SFBoxes changed = 0;
  for (std::size_t i = 0; i < iBoxes.size() && (ioScratch.stop == nullptr || !ioScratch.stop->IsStopped()); ++i)
    changed |= static_cast<SFBoxes>(
        PruneFor<1>(_tape, _slopes, _limit, iList, iBoxes.At(i), iUse, ioScratch, ioScratch.single, oLists + i) << i);
  return changed;
}

} // namespace SF
