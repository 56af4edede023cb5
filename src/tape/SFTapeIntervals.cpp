#include "tape/SFTapeIntervals.h"

#include "ZULPI.h"
#include "operators/SFScalarOps.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace SF {
namespace {

using RangeFunction = SFInterval (*)(SFInterval const&, SFInterval const&);

template <std::size_t Kind>
constexpr RangeFunction RangeFunctionOf()
{
  if constexpr (IsOperator(SFNodeType{Kind}))
    return [](SFInterval const& iA, SFInterval const& iB) { return ScalarOps::Apply<SFNodeType{Kind}>(iA, iB); };
  else
    return nullptr;
}

/// By code; null for what is no operator.
constexpr auto RangeFunctions = []<std::size_t... Kind>(std::index_sequence<Kind...>)
{
  return std::array<RangeFunction, SFNodeTypeCount>{RangeFunctionOf<Kind>()...};
}
(std::make_index_sequence<SFNodeTypeCount>{});

} // namespace

SFInterval RangeOfOperator(SFTapeCode iOperator, SFInterval const& iA, SFInterval const& iB)
{
  return RangeFunctions[iOperator](iA, iB);
}

SFInterval RangeOfAngle(SFInterval const& iU, SFInterval const& iW)
{
  bool const nan = iU.nan || iW.nan || (iU.MayBeZero() && iW.MayBeZero()) || (iU.MayBeInfinite() && iW.MayBeInfinite());
  return {0.0, 2.0 * ZULPI, nan};
}

namespace {

/// Half of the diagonal of a box, rounded upwards.
double RadiusOf(SFPointBox const& iBox)
{
  double squares = 0.0;
  for (SFInterval const& range : iBox) {
    double const half = std::max(MiddleOf(range) - range.lo, range.hi - MiddleOf(range));
    squares += half * half;
  }
  return std::sqrt(squares) * (1.0 + 1e-14);
}

void ConfineTo(SFSlopeEntry const& iSlope, double iRadius, SFRanges<1>& ioRange)
{
  SFSpread<1> const spread{iSlope.margin, iSlope.rootOfMargin, {iSlope.bound * iRadius}};
  if (iSlope.use == SFSlopeUse::OfRoot)
    Confine<true>(ioRange, spread);
  else if (iSlope.use == SFSlopeUse::OfValue)
    Confine<false>(ioRange, spread);
}

template <bool WithCentres>
std::vector<SFRanges<1>> Ranges(SFTape const& iTape, SFPointBox const& iBox, SFSlopeTable const& iSlopes)
{
  SFTapeKernels const& kernels = ActiveTapeKernels();
  double const radius = WithCentres ? RadiusOf(iBox) : 0.0;
  std::vector<SFRanges<1>> ranges(iTape.instructions.size());
  for (std::size_t id = 0; id < ranges.size(); ++id) {
    auto const& instruction = iTape.instructions[id];
    auto const leaf = [&](SFRanges<1>& oRange) {
      // Else a constant, or a cylinder limit, which is 0 outside grids.
      bool const isCoordinate = IsCoordinateCode(instruction.code);
      SFInterval const range = isCoordinate ? iBox[AxisOf(instruction.code)]
                                            : SFInterval(instruction.code == LimitCode ? 0.0 : instruction.constant);
      oRange.Set(0, range);
      oRange.SetCentres(isCoordinate ? MiddleOf(range) : instruction.code == LimitCode ? 0.0 : instruction.constant);
    };
    auto const operand = [&](std::size_t i) -> SFRanges<1> const& {
      return ranges[ArityOf(instruction.code) != 0 ? instruction.operands[i] : id];
    };
    ComputeRange<WithCentres>(instruction.code, operand(0), operand(1), kernels, leaf, ranges[id]);
    if constexpr (WithCentres)
      ConfineTo(iSlopes.entries[id], radius, ranges[id]);
  }
  return ranges;
}

} // namespace

std::vector<SFRanges<1>> RangesOverBox(SFTape const& iTape, SFPointBox const& iBox, SFSlopeTable const& iSlopes)
{
  return iSlopes.entries.empty() ? Ranges<false>(iTape, iBox, iSlopes) : Ranges<true>(iTape, iBox, iSlopes);
}

SFInterval RangeOverBox(SFTape const& iTape, SFPointBox const& iBox, SFSlopeTable const& iSlopes)
{
  return RangesOverBox(iTape, iBox, iSlopes)[iTape.results.front()].At(0);
}

} // namespace SF
