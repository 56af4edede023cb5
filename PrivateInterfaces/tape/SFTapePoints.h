#pragma once

#include "SFPointSource.h"
#include "evaluation/SFFieldCall.h"
#include "tape/SFPool.h"
#include "tape/SFTapeInvariants.h"
#include "tape/SFTapeRunner.h"

#include <functional>

namespace SF {

/// Runs a tape at lists of points, batch by batch through the kernels of the grids. The scalars are computed once; the
/// runners are reused by later calls. Calls may come from several threads at once.
class SFTapePoints
{
public:
  SFTapePoints(SFTape iTape, SFCompiledFieldOptions const& iOptions);

  /// Gets the values of result `r` at the points from `iFirst` on as `iRows(r)[0 ... iCount - 1]`. Called from
  /// several threads, for different points.
  using Rows = std::function<double const*(std::size_t iResult)>;
  using Sink = std::function<void(std::size_t iFirst, std::size_t iCount, Rows const& iRows)>;

  /// The coordinates of point i: arrays[axis][i] or, where there is one, what a source gives.
  struct Points
  {
    std::array<double const*, 3> arrays{};
    SFPointSource const* source = nullptr;
  };

  /// The code is that of the call.
  HRESULT Run(std::size_t iCount, Points const& iPoints, SFFieldCall& ioCall, Sink const& iSink) const;

private:
  SFWorkPlan _plan;
  SFTapeInvariants _tape;
  mutable SFPool<SFTapeRunner> _runners;
};

} // namespace SF
