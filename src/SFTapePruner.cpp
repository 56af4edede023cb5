#include "SFTapePruner.h"

#include "SFScalarOps.h"

#include <algorithm>

namespace SF {
namespace {

constexpr double Infinity = SFInterval::Infinity;
constexpr SFValueId Itself = UINT32_MAX;

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

/// Notes that a value is needed where it lies in [iLower, iUpper].
void Want(SFPrunerScratch& ioScratch, SFValueId iId, double iLower = -Infinity, double iUpper = Infinity)
{
  auto& need = ioScratch.needs[iId];
  need.needed = true;
  need.lower = std::min(need.lower, iLower);
  need.upper = std::max(need.upper, iUpper);
}

} // namespace

SFInterval RangeOfOperator(SFTapeCode iOperator, SFInterval const& iA, SFInterval const& iB)
{
  return RangeOf(iOperator, iA, iB, std::make_index_sequence<SFNodeTypeCount>{});
}

SFPrunerScratch SFTapePruner::MakeScratch() const
{
  auto const& instructions = _runner.GetTape().instructions;
  SFPrunerScratch scratch;
  scratch.ranges.resize(instructions.size());
  scratch.needs.resize(instructions.size());
  scratch.standIns.assign(instructions.size(), Itself);
  for (SFValueId id = 0; id < instructions.size(); ++id) {
    scratch.axes.push_back(instructions[id].axes);
    if (instructions[id].axes == 0)
      scratch.ranges[id] = SFInterval(_runner.GetScalar(id));
  }
  return scratch;
}

void SFTapePruner::ComputeRanges(SFTapeList const& iList, SFTile const& iBox, SFPrunerScratch& ioScratch) const
{
  for (SFTapeStep const& step : iList.steps) {
    SFInterval& range = ioScratch.ranges[step.id];
    if (IsOperatorCode(step.code))
      range = RangeOfOperator(step.code, ioScratch.ranges[step.operands[0]], ioScratch.ranges[step.operands[1]]);
    else if (step.code == InputCode)
      range = _runner.InputRange(step, iBox);
    else if (step.code == ResourceCode || step.code == AngleCode)
      range = SFInterval::Anything();
    else
      range = _runner.CoordinateRange(step.code - CodeOf(SFNodeType::X), iBox);
  }
}

/// Hands the need of a step on to its operands, as far as they can be chosen. True when the step was changed or
/// another value takes its place.
bool SFTapePruner::PushNeeds(SFTapeStep& ioStep, SFPrunerScratch& ioScratch) const
{
  auto const [lower, upper, needed] = ioScratch.needs[ioStep.id];
  SFValueId const a = ioStep.operands[0];
  SFValueId const b = ioStep.operands[1];
  SFInterval const& rangeA = ioScratch.ranges[a];
  SFInterval const& rangeB = ioScratch.ranges[b];
  bool const nan = rangeA.nan || rangeB.nan;
  auto const become = [&](SFValueId iOther, double iLower, double iUpper) {
    ioScratch.standIns[ioStep.id] = iOther;
    Want(ioScratch, iOther, iLower, iUpper);
    return true;
  };

  // What is kept for the whole grid stays as it is; its steps serve the ranges alone.
  switch (_runner.IsKept(ioStep.id) ? SFNodeType::NONE : SFNodeType{ioStep.code}) {
  case SFNodeType::MIN: {
    if (nan)
      break;
    double const bound = std::min({upper, rangeA.hi, rangeB.hi});
    if (rangeB.lo > bound)
      return become(a, lower, bound);
    if (rangeA.lo > bound)
      return become(b, lower, bound);
    Want(ioScratch, a, lower, bound);
    Want(ioScratch, b, lower, bound);
    return false;
  }
  case SFNodeType::MAX: {
    if (nan)
      break;
    double const bound = std::max({lower, rangeA.lo, rangeB.lo});
    if (rangeB.hi < bound)
      return become(a, bound, upper);
    if (rangeA.hi < bound)
      return become(b, bound, upper);
    Want(ioScratch, a, bound, upper);
    Want(ioScratch, b, bound, upper);
    return false;
  }
  case SFNodeType::WITHOUT: {
    if (nan)
      break;
    double const bound = std::max({lower, rangeA.lo, -rangeB.hi});
    if (-rangeB.lo < bound)
      return become(a, bound, upper);
    Want(ioScratch, b, -upper, -bound);
    if (rangeA.hi < bound && a != _runner.GetMinusInfinity()) {
      ioStep.operands[0] = _runner.GetMinusInfinity(); // leaves -b, whose zeros keep their sign
      return true;
    }
    Want(ioScratch, a, bound, upper);
    return false;
  }
  case SFNodeType::NOT:
    Want(ioScratch, a, -upper, -lower);
    return false;
  case SFNodeType::ABS:
    if (rangeA.lo > 0.0 && !rangeA.nan)
      return become(a, lower, upper);
    break;
  case SFNodeType::SIGN:
    if (rangeA.lo > 0.0 && !rangeA.nan)
      return become(_runner.GetOne(), lower, upper);
    if (rangeA.hi <= 0.0)
      return become(_runner.GetMinusOne(), lower, upper);
    break;
  default:
    break;
  }
  for (int i = 0; i < ArityOf(ioStep.code); ++i)
    Want(ioScratch, ioStep.operands[static_cast<std::size_t>(i)]);
  return false;
}

bool SFTapePruner::Prune(SFTapeList const& iList, SFTile const& iBox, SFPrunerScratch& ioScratch,
                         SFTapeList& oList) const
{
  ComputeRanges(iList, iBox, ioScratch);
  for (SFValueId const result : iList.results)
    Want(ioScratch, result);

  oList.steps.assign(iList.steps.begin(), iList.steps.end());
  bool changed = false;
  for (std::size_t at = oList.steps.size(); at-- > 0;)
    if (ioScratch.needs[oList.steps[at].id].needed)
      changed |= PushNeeds(oList.steps[at], ioScratch);

  auto const standInOf = [&](SFValueId iId) {
    return ioScratch.standIns[iId] == Itself ? iId : ioScratch.standIns[iId];
  };
  std::size_t kept = 0;
  oList.choices = 0;
  for (SFTapeStep const& step : oList.steps) {
    if (!ioScratch.needs[step.id].needed)
      continue;
    SFValueId& standIn = ioScratch.standIns[step.id];
    if (standIn != Itself) {
      standIn = standInOf(standIn); // operands come first, so theirs are final
      continue;
    }
    SFTapeStep rewritten = step;
    for (int i = 0; i < ArityOf(step.code); ++i) {
      SFValueId& operand = rewritten.operands[static_cast<std::size_t>(i)];
      operand = standInOf(operand);
    }
    if (IsOperatorCode(step.code)) {
      if (ArityOf(step.code) == 1)
        rewritten.operands[1] = rewritten.operands[0];
      rewritten.axes = ioScratch.axes[rewritten.operands[0]] | ioScratch.axes[rewritten.operands[1]];
    }
    ioScratch.axes[step.id] = rewritten.axes;
    oList.choices += _runner.IsChoice(step) ? 1 : 0;
    oList.steps[kept++] = rewritten;
  }
  oList.results.clear();
  for (SFValueId const result : iList.results)
    oList.results.push_back(standInOf(result));
  oList.steps.resize(kept);

  for (SFTapeStep const& step : iList.steps) {
    ioScratch.needs[step.id] = {};
    ioScratch.standIns[step.id] = Itself;
  }
  for (SFValueId const id : {_runner.GetOne(), _runner.GetMinusOne(), _runner.GetMinusInfinity()})
    ioScratch.needs[id] = {};
  return changed || kept != iList.steps.size();
}

} // namespace SF
