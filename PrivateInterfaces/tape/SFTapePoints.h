#pragma once

#include "evaluation/SFFieldCall.h"
#include "tape/SFPointCloud.h"
#include "tape/SFPool.h"
#include "tape/SFTapeInvariants.h"
#include "tape/SFTapePruner.h"
#include "tape/SFTapeRunner.h"

#include <atomic>
#include <functional>
#include <memory>
#include <vector>

namespace SF {

/// Where some points lie in the arrays of a call.
struct SFPointPlaces
{
  std::size_t first = 0;
  std::size_t count = 0;
  std::uint32_t const* numbers = nullptr; ///< counted from `first`; null where they lie in a row

  std::size_t operator[](std::size_t i) const { return first + (numbers != nullptr ? numbers[i] : i); }
};

/// Runs a tape at lists of points, batch by batch through the kernels of the grids. A long list of steps is pruned for
/// parts of the points that lie near each other. The scalars are computed once; the memory of the threads is kept for
/// later calls. Calls may come from several threads at once.
class SFTapePoints
{
public:
  SFTapePoints(SFTape iTape, SFCompiledFieldOptions const& iOptions);
  ~SFTapePoints();

  /// Gets the values of result `r` at some points as `iRows(r)[0 ... count - 1]`. Called from several threads, for
  /// different points.
  using Rows = std::function<double const*(std::size_t iResult)>;
  using Sink = std::function<void(SFPointPlaces const& iPlaces, Rows const& iRows)>;

  using Points = SFCallPoints;

  /// The code is that of the call.
  HRESULT Run(std::size_t iCount, Points const& iPoints, SFFieldCall& ioCall, Sink const& iSink) const;

  /// Bytes that are taken between calls, about.
  std::size_t GetBytes() const;

private:
  struct Worker;
  class Work;

  std::size_t PointsAtOnce(std::size_t iCount) const;
  bool TriesPruning(std::size_t iCount) const;
  std::shared_ptr<SFTapePruner const> PrunerFor(SFPointBox const& iBox) const;

  SFWorkPlan _plan;
  std::size_t _most; ///< points that a thread may divide at once
  bool _asksHost;
  std::vector<char> _whereSlopesHelp;
  SFTapeInvariants _tape;
  bool _mayPrune = false; ///< not where the list is too short
  SFMadeForBox<SFTapePruner> _pruner;
  mutable std::atomic<unsigned int> _inVain{0}; ///< how many parts are run unpruned before the next attempt
  mutable std::atomic<unsigned int> _made{0};   ///< workers
  mutable std::atomic<std::size_t> _dividing{
      0}; ///< the most bytes that one has taken to divide points and prune for them
  mutable SFPool<Worker> _workers;
};

} // namespace SF
