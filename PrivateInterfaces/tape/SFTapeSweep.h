#pragma once

#include "tape/SFPool.h"
#include "tape/SFStopRequest.h"
#include "tape/SFTapePruner.h"
#include "tape/SFTapeRunner.h"

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

namespace SF {

/// What sweeps over one tape on one grid share: the list that pruning starts from, and the working memory that threads
/// leave behind. Any number of sweeps may use it at once.
class SFSweepContext
{
public:
  /// Of a tape that has been prepared. `iLimit`: that of the output.
  explicit SFSweepContext(SFTapeInvariants const& iTape, double iLimit = SFInterval::Infinity);
  SFSweepContext(SFSweepContext const&) = delete;
  SFSweepContext& operator=(SFSweepContext const&) = delete;
  ~SFSweepContext();

  SFTapeInvariants const& GetTape() const { return _tape; }
  SFTapePruner const& GetPruner() const { return *_pruner; }
  /// Keeps the memory alone, after the tape has been prepared anew while there was no sweep.
  void Restart(double iLimit)
  {
    _pruner.emplace(_tape, iLimit);
    ++_preparations;
  }

private:
  friend class SFTapeSweep;
  struct Worker;

  SFTapeInvariants const& _tape;
  std::optional<SFTapePruner> _pruner;
  std::size_t _preparations = 0;
  SFPool<Worker> _workers;
};

/// Takes a tape over a range of slices of its grid: cuts the grid into regions, or parts of them where there are few for
/// each thread, that any number of threads draw from one counter, prunes the list of steps from large boxes to small ones, and hands out each finished tile.
class SFTapeSweep
{
public:
  /// Called with a tile that has been run, the list that it ran, and the runner that has the results.
  using Sink = std::function<void(SFTile const&, SFTapeList const&, SFTapeRunner&)>;
  /// Takes the results. With a target the sink is called only for tiles whose result has not gone there.
  struct Output
  {
    SFFloatTarget target;
    Sink sink;

    /// The magnitude that the target limits its values to; infinity where it stores them as they are.
    double Limit() const { return target.floats != nullptr && target.clamps ? target.diagonal : SFInterval::Infinity; }
  };

  /// Values of a tile that is not pruned for: 16 KiB a slot, so that the few slots in use together stay near.
  static constexpr std::size_t TileVolume = 2048;

  /// Of the slices [iBegin, iEnd), with up to `iThreads` threads.
  SFTapeSweep(SFSweepContext& ioContext, unsigned int iBegin, unsigned int iEnd, unsigned int iThreads,
              std::size_t iTileVolume = TileVolume);

  /// Runs regions until none is left, or until `iStop` says so; `iOnTile` is called after each tile. Call it from each
  /// thread.
  void Work(Output const& iOutput, SFStopRequest const& iStop = {}, std::function<void()> const& iOnTile = {});

  std::size_t GetRegionCount() const { return _drawCount; }
  std::size_t GetRegionsDone() const { return _done.load(std::memory_order_relaxed); }

private:
  using Size = std::array<unsigned int, 3>;
  using Worker = SFSweepContext::Worker;

  void Visit(Worker& ioWorker, std::span<SFTile const> iBoxes, SFTile const* iWhole, SFPrunableList const& iList,
             std::size_t iLevel, bool iLastWasVain) const;
  void VisitParts(Worker& ioWorker, SFTile const& iBox, SFPrunableList const& iList, std::size_t iLevel,
                  bool iLastWasVain) const;
  void RunBox(Worker& ioWorker, SFTile const& iBox, SFTapeList const& iList) const;
  void RunTile(Worker& ioWorker, SFTile const& iTile, SFTapeList const& iList) const;
  bool RunSmallBox(Worker& ioWorker, SFTile const& iBox, SFTapeList const& iList) const;
  void FillBox(Worker& ioWorker, SFTile const& iBox, float iValue) const;
  std::size_t LevelsFor(SFPrunableList const& iList) const;
  bool PruningGains() const;
  std::size_t DrawRegions(SFTile* oBoxes);
  void CutRegions();
  bool WorkOnPart(Worker& ioWorker);
  SFTile RegionAt(std::size_t iNumber) const;

  /// A region whose parts are drawn one by one: pruned for by the thread that draws the first of them.
  struct SharedRegion
  {
    std::once_flag once;
    SFPrunableList list;
    bool isVain = false;
  };
  void VisitPart(Worker& ioWorker, SFTile const& iPart, SharedRegion const& iRegion) const;

  SFSweepContext& _context;
  SFTapeInvariants const& _tape;
  SFTapePruner const& _pruner;
  SFTile _all;
  std::size_t _threads;
  std::size_t _tileVolume;
  bool _prunes = false;
  std::vector<Size> _levels; ///< sizes of the boxes that are pruned, from the region down
  std::array<std::size_t, 3> _regions{};
  std::size_t _regionCount = 0;
  std::size_t _drawCount = 0;              ///< regions, or parts of all
  std::unique_ptr<SharedRegion[]> _shared; ///< by region; null where whole regions are drawn
  std::atomic<std::size_t> _next{0};
  std::atomic<std::size_t> _done{0};
};

} // namespace SF
