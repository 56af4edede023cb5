#pragma once

#include "evaluation/SFFieldCall.h"
#include "tape/SFTapeRunner.h"

#include <memory>
#include <mutex>
#include <vector>

namespace SF {

/// Runs a tape at lists of points, batch by batch through the kernels of the grids. What depends on the tape alone
/// is prepared once; the working memory of the threads is kept between calls, which may come at once.
class SFTapePoints
{
public:
  SFTapePoints(SFTape iTape, SFCompiledFieldOptions const& iOptions);

  /// Gets the values of result `r` at the points from `iFirst` on as `iRows(r)[0 ... iCount - 1]`. Called from
  /// several threads, for different points.
  using Rows = std::function<double const*(std::size_t iResult)>;
  using Sink = std::function<void(std::size_t iFirst, std::size_t iCount, Rows const& iRows)>;

  /// The points are iPoints[axis][i]. The code is that of the call.
  HRESULT Run(std::size_t iCount, std::array<double const*, 3> const& iPoints, SFFieldCall& ioCall,
              Sink const& iSink) const;

private:
  using Scratch = std::unique_ptr<SFTapeScratch>;
  Scratch Take() const;
  void GiveBack(Scratch iScratch) const;

  SFWorkPlan _plan;
  SFTapeRunner _runner;
  mutable std::mutex _mutex;
  mutable std::vector<Scratch> _free;
};

} // namespace SF
