#include "tape/SFTapePoints.h"

#include "evaluation/SFGridRenderer.h"

#include <algorithm>
#include <thread>

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
    _runner(SFTapeRunner::AtPoints(std::move(iTape), NoLimits))
{
}

SFTapePoints::Scratch SFTapePoints::Take() const
{
  {
    std::lock_guard<std::mutex> const lock(_mutex);
    if (!_free.empty()) {
      Scratch scratch = std::move(_free.back());
      _free.pop_back();
      return scratch;
    }
  }
  return std::make_unique<SFTapeScratch>(_runner.MakeScratch());
}

/// A scratch that was stopped, or left by an exception, is not given back: its slots are in disorder.
void SFTapePoints::GiveBack(Scratch iScratch) const
{
  iScratch->stop = nullptr;
  std::lock_guard<std::mutex> const lock(_mutex);
  if (_free.size() < _plan.threads)
    _free.push_back(std::move(iScratch));
}

HRESULT SFTapePoints::Run(std::size_t iCount, std::array<double const*, 3> const& iPoints, SFFieldCall& ioCall,
                          Sink const& iSink) const
{
  std::size_t const batches = iCount / _plan.volume + (iCount % _plan.volume != 0 ? 1 : 0);
  std::size_t const steps = std::max<std::size_t>(1, _runner.GetList().steps.size());
  std::size_t const worthwhile = 1 + iCount / std::max<std::size_t>(1, WorkPerThread / steps);
  auto const threads =
      static_cast<unsigned int>(std::min<std::size_t>({_plan.threads, std::max<std::size_t>(1, batches), worthwhile}));
  std::atomic<std::size_t> next{0};
  std::atomic<std::size_t> done{0};
  return ioCall.Run(threads, [&](bool iIsCaller) {
    Scratch scratch = Take();
    scratch->stop = &ioCall.GetStopRequest();
    for (std::size_t batch = next++; batch < batches; batch = next++) {
      std::size_t const first = batch * _plan.volume;
      std::size_t const count = std::min(_plan.volume, iCount - first);
      SFTile const tile{{0, 0, 0}, {static_cast<unsigned int>(count), 1, 1}};
      _runner.SetPoints({iPoints[0] + first, iPoints[1] + first, iPoints[2] + first}, *scratch);
      if (scratch->count != tile.count)
        _runner.Plan(_runner.GetList(), tile.count, *scratch);
      _runner.RunTile(tile, *scratch);
      if (scratch->MustStop())
        return;
      iSink(first, count,
            [&](std::size_t iResult) { return _runner.ResultRow(_runner.GetList(), iResult, tile, 0, 0, *scratch); });
      ++done;
      if (iIsCaller)
        ioCall.Report(static_cast<double>(done) / static_cast<double>(batches));
    }
    GiveBack(std::move(scratch));
  });
}

} // namespace SF
