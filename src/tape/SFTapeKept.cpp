// The part of the runner that computes, before any tile, the values that are kept for the whole grid, and the ranges of
// them that pruning reads.

#include "tape/SFTapeRunner.h"
#include "tape/SFTapeShape.h"

#include <algorithm>
#include <atomic>
#include <future>

namespace SF {

SFInterval SFTapeRunner::CoordinateRange(std::size_t iAxis, SFTile const& iBox) const
{
  // Rounding is monotone, so the ends of a run of positions are its extremes.
  double const a = _coordinates[iAxis][iBox.begin[iAxis]];
  double const b = _coordinates[iAxis][iBox.begin[iAxis] + iBox.count[iAxis] - 1];
  return {std::min(a, b), std::max(a, b), false};
}

namespace {

/// The ranges of a value of one axis are kept over blocks of 8, 16, 32 and 64 positions: those of the boxes that are
/// pruned for, most of which are of such a size.
constexpr std::size_t BlockLength = 8;
constexpr std::size_t BlockLevels = 4;
std::size_t BlockCount(std::size_t iCount, std::size_t iLevel)
{
  std::size_t const length = BlockLength << iLevel;
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

/// Makes room for the ranges of the values of one axis that are kept: those of all values over one block together,
/// as pruning reads them.
void SFTapeRunner::ReserveBlocks()
{
  _inputNumbers.assign(_tape.instructions.size(), 0);
  for (SFTapeStep const& step : _list.steps)
    if (step.code == InputCode && step.axes != 0) {
      auto& inputs = _inputs[FirstAxis(step.axes)];
      _inputNumbers[step.id] = static_cast<std::uint32_t>(inputs.size());
      inputs.push_back(step.id);
    }
  for (std::size_t axis = 0; axis < 3; ++axis)
    _blockRanges[axis].resize(_inputs[axis].size() * FirstBlockOf(BlockLevels, _grid.dims[axis]));
}

/// Those over the positions from `iBegin`, where a longest block starts, to `iEnd`.
void SFTapeRunner::ComputeBlockRanges(std::size_t iAxis, std::size_t iBegin, std::size_t iEnd)
{
  std::size_t const stride = _inputs[iAxis].size();
  for (std::size_t input = 0; input < stride; ++input) {
    double const* const values = _places[_inputs[iAxis][input]].data;
    SFInterval* blocks = &_blockRanges[iAxis][input];
    for (std::size_t from = iBegin; from < iEnd; from += BlockLength)
      blocks[from / BlockLength * stride] = RangeOfValues(values + from, values + std::min(iEnd, from + BlockLength));
    for (std::size_t level = 1; level < BlockLevels; ++level) {
      SFInterval const* const finer = blocks;
      blocks += BlockCount(_grid.dims[iAxis], level - 1) * stride;
      std::size_t const last = (iEnd - 1) / (BlockLength << (level - 1));
      std::size_t const length = BlockLength << level;
      for (std::size_t i = iBegin / length; i * length < iEnd; ++i)
        blocks[i * stride] = Hull(finer[2 * i * stride], finer[std::min(2 * i + 1, last) * stride]);
    }
  }
}

SFBlocks SFTapeRunner::BlocksOf(std::size_t iAxis, SFTile const& iBox) const
{
  std::size_t const count = iBox.count[iAxis];
  std::size_t level = 0;
  while (level + 1 < BlockLevels && BlockLength << (level + 1) <= count)
    ++level;
  std::size_t const first = iBox.begin[iAxis] / (BlockLength << level);
  std::size_t const last = (iBox.begin[iAxis] + count - 1) / (BlockLength << level);
  std::size_t const stride = _inputs[iAxis].size();
  return {_blockRanges[iAxis].data() + (FirstBlockOf(level, _grid.dims[iAxis]) + first) * stride, last - first + 1,
          stride};
}

SFInterval SFTapeRunner::InputRange(SFTapeStep const& iStep, SFBlocks const& iBlocks) const
{
  SFInterval const* const blocks = iBlocks.first + _inputNumbers[iStep.id];
  SFInterval range = blocks[0];
  for (std::size_t i = 1; i < iBlocks.count; ++i)
    range = Hull(range, blocks[i * iBlocks.stride]);
  return range;
}

namespace {

/// Calls `iCall(n, scratch)` for the numbers below `iCount`, with up to `iThreads` threads of a scratch each.
template <class Call>
void ForEachNumber(SFTapeRunner const& iRunner, std::size_t iCount, std::size_t iThreads, Call const& iCall)
{
  std::atomic<std::size_t> next{0};
  auto const work = [&] {
    SFTapeScratch scratch = iRunner.MakeScratch();
    for (std::size_t number = next++; number < iCount; number = next++)
      iCall(number, scratch);
  };
  std::vector<std::future<void>> futures;
  for (std::size_t t = 1; t < std::min(iCount, iThreads); ++t)
    futures.push_back(std::async(work)); // deferred, and then with nothing left to do, where no thread can be made
  if (iCount > 0)
    work();
  for (auto& future : futures)
    future.get();
}

/// Rows of kept values are cut into pieces not too long for the cache, and not so short that planning would take longer.
constexpr unsigned int LongestKeptPiece = 1024;
constexpr unsigned int ShortestKeptPiece = 512;

} // namespace

/// Computes the kept values of a set of axes over a box.
void SFTapeRunner::RunKept(SFAxes iAxes, SFTile const& iBox, SFTapeScratch& ioScratch) const
{
  auto const& list = _keptLists[iAxes];
  std::size_t const first = FirstAxis(iAxes);
  std::size_t const last = Varies(iAxes, 2) ? 2 : Varies(iAxes, 1) ? 1 : 0;
  SFTile tile{iBox.begin, {1, 1, 1}};
  unsigned int const end = iBox.begin[first] + iBox.count[first];
  bool isNew = true;
  for (unsigned int row = 0; row < (first == last ? 1 : iBox.count[last]); ++row)
    for (unsigned int at = iBox.begin[first]; at < end && !ioScratch.stopped; at += tile.count[first]) {
      if (first != last)
        tile.begin[last] = iBox.begin[last] + row;
      tile.begin[first] = at;
      tile.count[first] = std::min(LongestKeptPiece, end - at);
      if (isNew || ioScratch.count != tile.count)
        PlanSteps(list, tile.count, ioScratch, true);
      isNew = false;
      RunTile(tile, ioScratch);
    }
}

/// Computes the kept values of single axes, and the ranges of those that pruning reads.
void SFTapeRunner::RunKeptAxes(unsigned int iThreads, SFStopRequest const& iStop)
{
  if (_list.choices > 0)
    ReserveBlocks();
  constexpr std::size_t worthSharing = 65536; // values
  constexpr unsigned int longest = BlockLength << (BlockLevels - 1);
  std::vector<SFTile> pieces;
  std::vector<std::size_t> axes; ///< along which they lie
  std::size_t values = 0;
  for (std::size_t axis = 0; axis < 3; ++axis) {
    std::size_t const steps = _keptLists[1U << axis].steps.size();
    unsigned int const count = _grid.dims[axis];
    values += steps * count;
    unsigned int const share = (count / std::max(1U, iThreads) + longest) / longest * longest;
    unsigned int const length = std::clamp(share, ShortestKeptPiece, LongestKeptPiece);
    SFTile piece{{0, 0, 0}, {1, 1, 1}};
    for (unsigned int at = 0; at < count && steps > 0; at += piece.count[axis]) {
      piece.begin[axis] = at;
      piece.count[axis] = std::min(length, count - at);
      axes.push_back(axis);
      pieces.push_back(piece);
    }
  }
  std::size_t const threads = values < worthSharing ? 1 : iThreads;
  ForEachNumber(*this, pieces.size(), threads, [&](std::size_t iNumber, SFTapeScratch& ioScratch) {
    std::size_t const axis = axes[iNumber];
    SFTile const& piece = pieces[iNumber];
    ioScratch.stop = &iStop;
    RunKept(static_cast<SFAxes>(1U << axis), piece, ioScratch);
    if (_list.choices > 0)
      ComputeBlockRanges(axis, piece.begin[axis], piece.begin[axis] + piece.count[axis]);
  });
}

/// Computes the kept planes of a pair of axes, cut along the last one among the threads.
void SFTapeRunner::RunKeptPlanes(SFAxes iAxes, unsigned int iThreads, SFStopRequest const& iStop)
{
  if (_keptLists[iAxes].steps.empty())
    return;
  std::size_t const first = FirstAxis(iAxes);
  std::size_t const last = Varies(iAxes, 2) ? 2 : 1;
  unsigned int const extent = _grid.dims[last];
  unsigned int const threads = std::clamp(iThreads, 1U, extent);
  ForEachNumber(*this, threads, threads, [&](std::size_t iNumber, SFTapeScratch& ioScratch) {
    auto const t = static_cast<unsigned int>(iNumber);
    unsigned int const begin = extent / threads * t;
    SFTile box{{0, 0, 0}, {1, 1, 1}};
    box.count[first] = _grid.dims[first];
    box.begin[last] = begin;
    box.count[last] = t + 1 < threads ? extent / threads : extent - begin;
    ioScratch.stop = &iStop;
    RunKept(iAxes, box, ioScratch);
  });
}

} // namespace SF
