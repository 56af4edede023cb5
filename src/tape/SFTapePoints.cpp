#include "tape/SFTapePoints.h"

#include "tape/SFTapeShape.h"

#include <algorithm>
#include <atomic>

namespace SF {
namespace {

/// Points of a batch: 4 KiB a value, so that those in use together stay in the first-level caches.
constexpr std::size_t BatchSize = 512;
/// Points of a batch for resources that answer many at once: enough to hide what a call of one costs.
constexpr std::size_t LargestBatchSize = 1U << 14;

/// Operations for which another thread is worth its start.
constexpr std::size_t WorkPerThread = 1U << 16;

/// At points a context has neither a domain size nor a voxel size.
constexpr std::array<double, ELimitCount> NoLimits{0.0, 0.0};

/// A batch that is no smaller than what the resources of a tape answer together.
std::size_t BatchSizeFor(SFTape const& iTape)
{
  std::size_t size = BatchSize;
  for (auto const& instruction : iTape.instructions)
    if (IsResourceCode(instruction.code))
      size = std::max(size, std::min(LargestBatchSize, instruction.resource->GetBatchSize()));
  return size;
}

/// The coordinates of one batch after the other, copied where a source gives them.
class Batches
{
public:
  Batches(SFTapePoints::Points const& iPoints, std::size_t iBatchSize)
    : _points(iPoints), _batchSize(iBatchSize), _copies(iPoints.source == nullptr ? 0 : 3 * iBatchSize)
  {
  }

  std::array<double const*, 3> At(std::size_t iFirst, std::size_t iCount)
  {
    auto const& [x, y, z] = _points.arrays;
    if (_points.source == nullptr)
      return {x + iFirst, y + iFirst, z + iFirst};
    double* const copies = _copies.data();
    std::array<double*, 3> const coordinates{copies, copies + _batchSize, copies + 2 * _batchSize};
    _points.source->GetPoints(iFirst, iCount, coordinates);
    return {coordinates[0], coordinates[1], coordinates[2]};
  }

private:
  SFTapePoints::Points const& _points;
  std::size_t _batchSize;
  std::vector<double> _copies;
};

} // namespace

SFTapePoints::SFTapePoints(SFTape iTape, SFCompiledFieldOptions const& iOptions)
  : _plan(PlanWork(iTape, iOptions.threads, BatchSizeFor(iTape), iOptions.memoryBudget)),
    _tape(SFTapeInvariants::AtPoints(std::move(iTape), NoLimits))
{
}

HRESULT SFTapePoints::Run(std::size_t iCount, Points const& iPoints, SFFieldCall& ioCall, Sink const& iSink) const
{
  std::size_t const batches = iCount / _plan.volume + (iCount % _plan.volume != 0 ? 1 : 0);
  std::size_t const steps = std::max<std::size_t>(1, _tape.GetList().steps.size());
  std::size_t const worthwhile = 1 + iCount / std::max<std::size_t>(1, WorkPerThread / steps);
  auto const threads =
      static_cast<unsigned int>(std::min<std::size_t>({_plan.threads, std::max<std::size_t>(1, batches), worthwhile}));
  std::atomic<std::size_t> next{0};
  std::atomic<std::size_t> done{0};
  return ioCall.Run(threads, [&](bool iIsCaller) {
    auto runner = _runners.Take([&] { return std::make_unique<SFTapeRunner>(_tape); });
    runner->GetStop().Restart(&ioCall.GetStopRequest());
    Batches coordinates(iPoints, _plan.volume);
    for (std::size_t batch = next++; batch < batches; batch = next++) {
      std::size_t const first = batch * _plan.volume;
      std::size_t const count = std::min(_plan.volume, iCount - first);
      SFTile const tile{{0, 0, 0}, {static_cast<unsigned int>(count), 1, 1}};
      runner->SetPoints(coordinates.At(first, count));
      if (!SameSize(runner->PlannedCount(), tile.count))
        runner->Plan(_tape.GetList(), tile.count);
      runner->RunTile(tile);
      if (runner->GetStop().MustStop())
        return;
      iSink(first, count, [&](std::size_t iResult) { return runner->ResultRow(iResult, tile, 0, 0); });
      ++done;
      if (iIsCaller)
        ioCall.Report(static_cast<double>(done) / static_cast<double>(batches));
    }
    runner->GetStop().Restart(nullptr);
    _runners.GiveBack(std::move(runner), _plan.threads);
  });
}

} // namespace SF
