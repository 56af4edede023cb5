#include "tape/SFBlockRanges.h"

#include <algorithm>

namespace SF {
namespace {

std::size_t BlockCount(std::size_t iCount, std::size_t iLevel)
{
  std::size_t const length = SFBlockRanges::ShortestBlock << iLevel;
  return (iCount + length - 1) / length;
}

/// The number of the first block of a level among those of an axis.
std::size_t FirstBlockOf(std::size_t iLevel, std::size_t iCount)
{
  std::size_t first = 0;
  for (std::size_t level = 0; level < iLevel; ++level)
    first += BlockCount(iCount, level);
  return first;
}

SFInterval Hull(SFInterval const& iA, SFInterval const& iB)
{
  return {std::min(iA.lo, iB.lo), std::max(iA.hi, iB.hi), iA.nan || iB.nan};
}

SFInterval RangeOfValues(double const* iBegin, double const* iEnd)
{
  SFInterval range{SFInterval::Infinity, -SFInterval::Infinity, false};
  for (; iBegin != iEnd; ++iBegin) {
    range.lo = *iBegin < range.lo ? *iBegin : range.lo;
    range.hi = *iBegin > range.hi ? *iBegin : range.hi;
    range.nan = range.nan || *iBegin != *iBegin;
  }
  return range.nan ? SFInterval::Anything() : range;
}

} // namespace

void SFBlockRanges::Reserve(std::span<SFValueView const> iViews, std::span<SFHoisting const> iHoisting,
                            std::array<unsigned int, 3> const& iDims)
{
  _dims = iDims;
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
    _ranges[axis].resize(_values[axis].size() * FirstBlockOf(Levels, iDims[axis]));
}

void SFBlockRanges::Compute(std::span<SFValueView const> iViews, std::size_t iAxis, std::size_t iBegin,
                            std::size_t iEnd)
{
  std::size_t const stride = _values[iAxis].size();
  for (std::size_t number = 0; number < stride; ++number) {
    double const* const values = iViews[_values[iAxis][number]].data;
    SFInterval* blocks = &_ranges[iAxis][number];
    for (std::size_t from = iBegin; from < iEnd; from += ShortestBlock)
      blocks[from / ShortestBlock * stride] =
          RangeOfValues(values + from, values + std::min(iEnd, from + ShortestBlock));
    for (std::size_t level = 1; level < Levels; ++level) {
      SFInterval const* const finer = blocks;
      blocks += BlockCount(_dims[iAxis], level - 1) * stride;
      std::size_t const last = (iEnd - 1) / (ShortestBlock << (level - 1));
      std::size_t const length = ShortestBlock << level;
      for (std::size_t i = iBegin / length; i * length < iEnd; ++i)
        blocks[i * stride] = Hull(finer[2 * i * stride], finer[std::min(2 * i + 1, last) * stride]);
    }
  }
}

SFBlockRanges::Run SFBlockRanges::BlocksOf(std::size_t iAxis, SFTile const& iBox) const
{
  std::size_t const count = iBox.count[iAxis];
  std::size_t level = 0;
  while (level + 1 < Levels && ShortestBlock << (level + 1) <= count)
    ++level;
  std::size_t const first = iBox.begin[iAxis] / (ShortestBlock << level);
  std::size_t const last = (iBox.begin[iAxis] + count - 1) / (ShortestBlock << level);
  std::size_t const stride = _values[iAxis].size();
  return {_ranges[iAxis].data() + (FirstBlockOf(level, _dims[iAxis]) + first) * stride, last - first + 1, stride};
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
