#include "tape/SFBlockRanges.h"

#include "tape/SFBoxSizes.h"

#include <algorithm>

namespace SF {
namespace {

SFInterval Hull(SFInterval const& iA, SFInterval const& iB)
{
  return {std::min(iA.lo, iB.lo), std::max(iA.hi, iB.hi), iA.nan || iB.nan};
}

/// Side by side in lanes, which hide the latency of comparisons.
SFInterval RangeOfValues(double const* iBegin, double const* iEnd)
{
  constexpr std::size_t lanes = 8;
  std::array<double, lanes> lo;
  std::array<double, lanes> hi;
  lo.fill(SFInterval::Infinity);
  hi.fill(-SFInterval::Infinity);
  bool nan = false;
  auto const take = [&](std::size_t iLane, double iValue) {
    lo[iLane] = iValue < lo[iLane] ? iValue : lo[iLane];
    hi[iLane] = iValue > hi[iLane] ? iValue : hi[iLane];
    nan |= iValue != iValue;
  };
  for (; static_cast<std::size_t>(iEnd - iBegin) >= lanes; iBegin += lanes)
    for (std::size_t lane = 0; lane < lanes; ++lane)
      take(lane, iBegin[lane]);
  for (; iBegin != iEnd; ++iBegin)
    take(0, *iBegin);
  if (nan)
    return SFInterval::Anything();
  return {*std::min_element(lo.begin(), lo.end()), *std::max_element(hi.begin(), hi.end()), false};
}

} // namespace

/// The number of the first block of a level among those of an axis.
std::size_t SFBlockRanges::FirstBlockOf(std::size_t iAxis, std::size_t iLevel) const
{
  std::size_t first = 0;
  for (std::size_t level = 0; level < iLevel; ++level)
    first += BlockCount(iAxis, level);
  return first;
}

void SFBlockRanges::Reserve(std::span<SFValueView const> iViews, std::span<SFHoisting const> iHoisting,
                            std::array<unsigned int, 3> const& iDims)
{
  _dims = iDims;
  _shortest = std::max(_shortest, std::size_t{ShortestSide(iDims)});
  _numbers.assign(iViews.size(), 0);
  for (SFValueId id = 0; id < iViews.size(); ++id) {
    SFAxes const axes = iViews[id].axes;
    if (iHoisting[id] != SFHoisting::Stored || axes == 0 || (axes & (axes - 1)) != 0)
      continue;
    auto& values = _values[FirstAxis(axes)];
    _numbers[id] = static_cast<std::uint32_t>(values.size());
    values.push_back(id);
  }
  for (std::size_t axis = 0; axis < 3; ++axis)
    _ranges[axis].resize(_values[axis].size() * FirstBlockOf(axis, Levels));
}

void SFBlockRanges::Compute(std::span<SFValueView const> iViews, std::size_t iAxis, std::size_t iBegin,
                            std::size_t iEnd)
{
  std::size_t const stride = _values[iAxis].size();
  for (std::size_t number = 0; number < stride; ++number) {
    double const* const values = iViews[_values[iAxis][number]].data;
    SFInterval* blocks = &_ranges[iAxis][number];
    for (std::size_t from = iBegin; from < iEnd; from += _shortest)
      blocks[from / _shortest * stride] = RangeOfValues(values + from, values + std::min(iEnd, from + _shortest));
    for (std::size_t level = 1; level < Levels; ++level) {
      SFInterval const* const finer = blocks;
      blocks += BlockCount(iAxis, level - 1) * stride;
      std::size_t const last = (iEnd - 1) / LengthOf(level - 1);
      std::size_t const length = LengthOf(level);
      for (std::size_t i = iBegin / length; i * length < iEnd; ++i)
        blocks[i * stride] = Hull(finer[2 * i * stride], finer[std::min(2 * i + 1, last) * stride]);
    }
  }
}

SFBlockRanges::Run SFBlockRanges::BlocksOf(std::size_t iAxis, SFTile const& iBox) const
{
  std::size_t const count = iBox.count[iAxis];
  std::size_t level = 0;
  while (level + 1 < Levels && LengthOf(level + 1) <= count)
    ++level;
  std::size_t const first = iBox.begin[iAxis] / LengthOf(level);
  std::size_t const last = (iBox.begin[iAxis] + count - 1) / LengthOf(level);
  std::size_t const stride = _values[iAxis].size();
  return {_ranges[iAxis].data() + (FirstBlockOf(iAxis, level) + first) * stride, last - first + 1, stride};
}

SFInterval SFBlockRanges::RangeOf(SFValueId iId, Run const& iBlocks) const
{
  SFInterval const* const blocks = iBlocks.first + _numbers[iId];
  SFInterval range = blocks[0];
  for (std::size_t i = 1; i < iBlocks.count; ++i)
    range = Hull(range, blocks[i * iBlocks.stride]);
  return range;
}

} // namespace SF
