#pragma once

#include "SFTapePruner.h"
#include "SFTapeRunner.h"

#include <atomic>
#include <functional>
#include <vector>

namespace SF {

/// Takes a tape over a range of slices of its grid: cuts the grid into regions that any number of threads draw
/// from one counter, prunes the list of steps from large boxes to small ones, and hands out each finished tile.
class SFTapeSweep
{
public:
  /// Called with a tile that has been run and the list that it ran; read the results with ResultRow.
  using Sink = std::function<void(SFTile const&, SFTapeList const&, SFTapeScratch&)>;

  /// Values of a tile: 8 KiB a slot, so that the few slots in use together stay in the first-level cache.
  static constexpr std::size_t TileVolume = 1024;

  SFTapeSweep(SFTapeRunner const& iRunner, unsigned int iBegin, unsigned int iEnd,
              std::size_t iTileVolume = TileVolume);

  /// Runs regions until none is left, or until `iStop` says so. Call it from each thread.
  void Work(Sink const& iSink, SFStopRequest const& iStop = {});

  std::size_t GetRegionCount() const { return _regionCount; }
  std::size_t GetRegionsDone() const { return _done.load(std::memory_order_relaxed); }

private:
  using Size = std::array<unsigned int, 3>;
  struct Worker;

  void Visit(Worker& ioWorker, SFTile const& iBox, SFTapeList const& iList, std::size_t iLevel) const;
  void RunBox(Worker& ioWorker, SFTile const& iBox, SFTapeList const& iList) const;
  SFTile RegionAt(std::size_t iNumber) const;

  SFTapeRunner const& _runner;
  SFTapePruner _pruner;
  SFTile _all;
  std::size_t _tileVolume;
  std::vector<Size> _levels; ///< sizes of the boxes that are pruned, from the region down
  std::array<std::size_t, 3> _regions{};
  std::size_t _regionCount = 0;
  std::atomic<std::size_t> _next{0};
  std::atomic<std::size_t> _done{0};
};

} // namespace SF
