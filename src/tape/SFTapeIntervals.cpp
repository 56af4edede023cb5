#include "tape/SFTapeIntervals.h"

#include "ZULPI.h"
#include "operators/SFScalarOps.h"

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

std::vector<SFRanges<1>> RangesOverBox(SFTape const& iTape, std::array<SFInterval, 3> const& iBox)
{
  SFTapeKernels const& kernels = ActiveTapeKernels();
  std::vector<SFRanges<1>> ranges(iTape.instructions.size());
  for (std::size_t id = 0; id < ranges.size(); ++id) {
    auto const& instruction = iTape.instructions[id];
    auto const leaf = [&](SFRanges<1>& oRange) {
      if (IsCoordinateCode(instruction.code))
        oRange.Set(0, iBox[AxisOf(instruction.code)]);
      else // a constant, or a cylinder limit, which is 0 outside grids
        oRange.Set(0, SFInterval(instruction.code == LimitCode ? 0.0 : instruction.constant));
    };
    auto const operand = [&](std::size_t i) -> SFRanges<1> const& {
      return ranges[ArityOf(instruction.code) != 0 ? instruction.operands[i] : id];
    };
    ComputeRange<false>(instruction.code, operand(0), operand(1), kernels, leaf, ranges[id]);
  }
  return ranges;
}

SFInterval RangeOverBox(SFTape const& iTape, std::array<SFInterval, 3> const& iBox)
{
  return RangesOverBox(iTape, iBox)[iTape.results.front()].At(0);
}

} // namespace SF
