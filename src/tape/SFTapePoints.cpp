#include "tape/SFTapePoints.h"

#include "tape/SFTapeShape.h"

#include <algorithm>
#include <atomic>

namespace SF {
namespace {

/// Points of a batch: 4 KiB a value, so that those in use together stay in the first-level caches.
constexpr std::size_t BatchSize = 512;

/// Operations for which another thread is worth its start.
constexpr std::size_t WorkPerThread = 1U << 16;

/// At points a context has neither a domain size nor a voxel size.
constexpr std::array<double, ELimitCount> NoLimits{0.0, 0.0};

} // namespace

SFTapePoints::SFTapePoints(SFTape iTape, SFCompiledFieldOptions const& iOptions)
  : _plan(PlanWork(iTape, iOptions.threads, BatchSize, iOptions.memoryBudget)),
    _tape(SFTapeInvariants::AtPoints(std::move(iTape), NoLimits))
{
}

HRESULT SFTapePoints::Run(std::size_t iCount, std::array<double const*, 3> const& iPoints, SFFieldCall& ioCall,
                          Sink const& iSink) const
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
    for (std::size_t batch = next++; batch < batches; batch = next++) {
      std::size_t const first = batch * _plan.volume;
      std::size_t const count = std::min(_plan.volume, iCount - first);
      SFTile const tile{{0, 0, 0}, {static_cast<unsigned int>(count), 1, 1}};
      runner->SetPoints({iPoints[0] + first, iPoints[1] + first, iPoints[2] + first});
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
