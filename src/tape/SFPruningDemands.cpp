#include "tape/SFPruningPass.h"

#include <algorithm>
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

/// For the rounding of a step, relative and beside that.
constexpr double Room = 8.0 * std::numeric_limits<double>::epsilon();
constexpr double Tiny = 1e-300;

SFPruning PruningOf(SFTapeStep const& iStep) { return OperatorRow(SFNodeType{iStep.code}).pruning; }

/// The second pass: demanded ranges, against the order of the list.
template <std::size_t W>
class Demands
{
public:
  explicit Demands(SFPruningPass<W>& ioPass) : _tape(ioPass.tape), _pass(ioPass) {}

  void Push();

private:
  using State = SFStepState<W>;

  State& At(SFValueId iId) const { return _pass.At(iId); }
  void Settle();
  void Demand(SFValueId iId, SFBoxes iBoxes)
  {
    State& state = At(iId);
    state.needed |= iBoxes;
    state.full |= iBoxes;
  }
  void Demand(SFValueId iId, SFBoxes iBoxes, SFDemand<W> const& iDemand);
  void TakeFullDemands(State& ioState);
  void Replace(State& ioState, SFBoxes iBoxes, SFValueId iBy);
  SFNarrowed<W> Narrowed(SFTapeStep const& iStep, State const& iState);
  void Choose(SFTapeStep const& iStep, State& ioState);
  void ChooseSign(SFTapeStep const& iStep, State& ioState);
  void ChooseMagnitude(SFTapeStep const& iStep, State& ioState);
  void ChooseSelected(SFTapeStep const& iStep, State& ioState);
  void PushRoot(SFTapeStep const& iStep, State const& iState);
  void PushDifference(SFTapeStep const& iStep, State& ioState);
  SFBoxes WherePositive(SFValueId iId);
  SFBoxes WhereNegative(SFValueId iId);
  void PushDemand(SFTapeStep const& iStep, State& ioState);

  SFTapeInvariants const& _tape;
  SFPruningPass<W>& _pass;
};

template <std::size_t W>
void Demands<W>::Demand(SFValueId iId, SFBoxes iBoxes, SFDemand<W> const& iDemand)
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
void Demands<W>::TakeFullDemands(State& ioState)
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
void Demands<W>::Replace(State& ioState, SFBoxes iBoxes, SFValueId iBy)
{
  if (iBoxes == 0)
    return;
  ioState.replaced |= iBoxes;
  for (std::size_t lane = 0; lane < W; ++lane)
    ioState.replacements[lane] = (iBoxes >> lane & 1U) != 0 ? iBy : ioState.replacements[lane];
}

template <std::size_t W>
SFNarrowed<W> Demands<W>::Narrowed(SFTapeStep const& iStep, State const& iState)
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
void Demands<W>::Choose(SFTapeStep const& iStep, State& ioState)
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
SFBoxes Demands<W>::WherePositive(SFValueId iId)
{
  SFRanges<W> const& range = At(iId).range;
  unsigned int positive = 0;
  for (std::size_t lane = 0; lane < W; ++lane)
    positive |= static_cast<unsigned int>(range.lo[lane] > 0.0 && range.nan[lane] == 0) << lane;
  return static_cast<SFBoxes>(positive);
}

/// The boxes all over which a value is not above 0, or NaN, of which sign and selection make the same.
template <std::size_t W>
SFBoxes Demands<W>::WhereNegative(SFValueId iId)
{
  SFRanges<W> const& range = At(iId).range;
  unsigned int negative = 0;
  for (std::size_t lane = 0; lane < W; ++lane)
    negative |= static_cast<unsigned int>(range.hi[lane] <= 0.0) << lane;
  return static_cast<SFBoxes>(negative);
}

template <std::size_t W>
void Demands<W>::ChooseSign(SFTapeStep const& iStep, State& ioState)
{
  Replace(ioState, ioState.needed & WherePositive(iStep.operands[0]), _tape.GetOne());
  Replace(ioState, ioState.needed & WhereNegative(iStep.operands[0]), _tape.GetMinusOne());
  Demand(iStep.operands[0], ioState.needed & static_cast<SFBoxes>(~ioState.replaced));
}

template <std::size_t W>
void Demands<W>::ChooseMagnitude(SFTapeStep const& iStep, State& ioState)
{
  SFBoxes const same = ioState.needed & WherePositive(iStep.operands[0]);
  Replace(ioState, same, iStep.operands[0]);
  Demand(iStep.operands[0], same, ioState.demand);
  Demand(iStep.operands[0], ioState.needed & static_cast<SFBoxes>(~same));
}

/// Of its condition a selection reads the sign alone: what is above 0 may be anything else above 0, and so below.
template <std::size_t W>
void Demands<W>::ChooseSelected(SFTapeStep const& iStep, State& ioState)
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

/// Hands the demand of a root on: roots of what is further above are no smaller, and a little room covers the rounding.
/// Below, an operand might become negative.
template <std::size_t W>
void Demands<W>::PushRoot(SFTapeStep const& iStep, State const& iState)
{
  SFDemand<W> squared = FullDemand<W>;
  for (std::size_t lane = 0; lane < W; ++lane) {
    double const upper = std::max(iState.demand.upper[lane], 0.0);
    squared.upper[lane] = upper * upper * (1.0 + Room) + Tiny;
  }
  Demand(iStep.operands[0], iState.needed, squared);
}

/// Hands the demand of a difference on to its operands. Where it is needed for its sign alone, and undecided, each operand
/// may be anything else beyond the range of the other one: the order of the two stays as it is. Where the second one is one
/// value, the demand of the first one is moved by that, with room for the rounding.
template <std::size_t W>
void Demands<W>::PushDifference(SFTapeStep const& iStep, State& ioState)
{
  SFRanges<W> const& a = At(iStep.operands[0]).range;
  SFRanges<W> const& b = At(iStep.operands[1]).range;
  SFDemand<W> ofA = FullDemand<W>;
  SFDemand<W> ofB = FullDemand<W>;
  for (std::size_t lane = 0; lane < W; ++lane) {
    bool const overlap = a.lo[lane] <= b.hi[lane] && b.lo[lane] <= a.hi[lane];
    double const lower = ioState.demand.lower[lane];
    double const upper = ioState.demand.upper[lane];
    if (lower != 0.0 || upper != 0.0 || !overlap || (a.nan[lane] | b.nan[lane]) != 0) {
      double const by = b.lo[lane];
      if (by == b.hi[lane] && b.nan[lane] == 0 && std::isfinite(by)) {
        ofA.lower[lane] = lower + by - (Room * (std::abs(lower) + std::abs(by)) + Tiny);
        ofA.upper[lane] = upper + by + (Room * (std::abs(upper) + std::abs(by)) + Tiny);
      }
      continue;
    }
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
void Demands<W>::PushDemand(SFTapeStep const& iStep, State& ioState)
{
  // Hoisted values stay as they are; their steps serve the ranges alone.
  bool const isHoisted = _tape.IsHoisted(iStep.id);
  SFPruning const pruning = isHoisted ? SFPruning::None : PruningOf(iStep);
  bool const isLimited = !isHoisted && ioState.full != ioState.needed;
  bool const isDifference = isLimited && iStep.code == CodeOf(SFNodeType::MINUS);
  bool const isRoot = isLimited && iStep.code == CodeOf(SFNodeType::ROOT);
  if (pruning != SFPruning::None || isDifference || isRoot || iStep.code == SelectCode)
    TakeFullDemands(ioState);
  if (iStep.code == SelectCode)
    return ChooseSelected(iStep, ioState);
  if (isDifference)
    return PushDifference(iStep, ioState);
  if (isRoot)
    return PushRoot(iStep, ioState);
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
void Demands<W>::Settle()
{
  if (_pass.limit == SFInterval::Infinity)
    return;
  SFRanges<W> const& range = At(_pass.list.results.front()).range;
  for (std::size_t lane = 0; lane < _pass.boxes.size(); ++lane) {
    _pass.above |= static_cast<SFBoxes>((range.nan[lane] == 0 && range.lo[lane] >= _pass.limit ? 1U : 0U) << lane);
    _pass.below |= static_cast<SFBoxes>((range.nan[lane] == 0 && range.hi[lane] <= -_pass.limit ? 1U : 0U) << lane);
  }
}

template <std::size_t W>
void Demands<W>::Push()
{
  Settle();
  for (SFValueId const result : _pass.list.results)
    Demand(result, _pass.all & static_cast<SFBoxes>(~(_pass.above | _pass.below)),
           FilledDemand<W>(-_pass.limit, _pass.limit));
  for (SFValueId const id : {_tape.GetOne(), _tape.GetMinusOne(), _tape.GetMinusInfinity()})
    At(id).needed = _pass.all; // a later pruning may put them in for others
  for (std::size_t at = _pass.list.steps.size(); at-- > 0;)
    if (_pass.states[at].needed != 0)
      PushDemand(_pass.list.steps[at], _pass.states[at]);
}

} // namespace

template <std::size_t W>
void SFPruningPass<W>::PushDemands()
{
  Demands<W>(*this).Push();
}

template void SFPruningPass<1>::PushDemands();
template void SFPruningPass<SFRangeLanes>::PushDemands();

} // namespace SF
