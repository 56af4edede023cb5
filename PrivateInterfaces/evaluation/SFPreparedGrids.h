#pragma once

#include "evaluation/SFFieldCall.h"
#include "tape/SFTapeSweep.h"

#include <memory>
#include <mutex>
#include <vector>

namespace SF {

/// A field on a grid, or on some slices of one, ready to be swept over by any number of operations at once.
class SFPreparedGrid
{
public:
  /// `iShare`: the bytes for hoisted values. `iBand`: the magnitude that values are limited to beside the diagonal.
  SFPreparedGrid(SFTape const& iField, SFGrid const& iSlices, SFWorkPlan const& iPlan, std::size_t iShare,
                 double iBand);

  /// Whether it serves some slices of a grid, which count from the first one of the whole grid.
  bool Serves(SFGrid const& iSlices) const;
  /// Whether it can be moved to a grid: all that does not depend on the place is the same there.
  bool CanMoveTo(SFTape const& iField, SFGrid const& iSlices) const;
  void MoveTo(SFGrid const& iSlices);
  void Prepare(SFFieldCall& ioCall);

  /// How many threads are worth their start for some points.
  unsigned int ThreadsFor(std::size_t iPoints) const;
  /// Whether it is of the slices of one whole grid.
  bool IsOf(SFGrid const& iGrid) const;
  bool MayBeKept() const { return !_tape.HoistsResources(); }
  std::size_t GetBytes() const { return _plan.bytes + _tape.GetHoistedBytes(); }
  std::size_t GetTileVolume() const { return _plan.volume; }
  SFTapeInvariants const& GetTape() const { return _tape; }
  SFSweepContext& GetContext() { return *_context; }

private:
  double Limit() const;

  SFTape const& _field;
  SFWorkPlan _plan;
  double _band;
  bool _asksHost; ///< a resource may take any time
  SFTapeInvariants _tape;
  std::unique_ptr<SFSweepContext> _context;
};

/// The grids that a compiled field has been rendered on last, as long as they fit into its memory budget.
class SFPreparedGrids
{
public:
  explicit SFPreparedGrids(SFCompiledFieldOptions const& iOptions) : _options(iOptions) {}

  /// For the slices [iBegin, iEnd) of a whole grid, which are not none; null when the call has been stopped. A grid whose
  /// slices are asked for again and again is prepared for many of them at once.
  std::shared_ptr<SFPreparedGrid> Get(SFTape const& iField, SFGrid const& iGrid, unsigned int iBegin, unsigned int iEnd,
                                      SFFieldCall& ioCall);

private:
  /// An entry and how many operations use it.
  struct Lent
  {
    std::shared_ptr<SFPreparedGrid> grid;
    unsigned int users = 0;
  };
  using Entry = std::shared_ptr<Lent>;

  std::shared_ptr<SFPreparedGrid> Lend(Entry const& iEntry);
  Entry Find(SFGrid const& iSlices);
  Entry Make(SFTape const& iField, SFGrid const& iSlices);
  Entry Reuse(SFTape const& iField, SFGrid const& iSlices);
  SFGrid Window(SFGrid const& iGrid, unsigned int iBegin, unsigned int iEnd);
  void Trim(std::size_t iBytes);
  void Keep(Entry const& iEntry);

  SFCompiledFieldOptions const& _options;
  std::mutex _mutex;
  std::vector<Entry> _entries; ///< the one that was asked for last first
};

} // namespace SF
