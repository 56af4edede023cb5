#pragma once

#include "ResourceToSF.h"
#include "tape/SFStopRequest.h"
#include "tape/SFTapeInvariants.h"
#include "tape/SFTapePlanner.h"
#include "tape/SFValueBuffer.h"

#include <array>
#include <cstddef>
#include <vector>

namespace SF {

/// The floats of slices of a grid that take the one result of a list; without floats the results are read from the runner.
struct SFFloatTarget
{
  float* floats = nullptr;
  bool clamps = false; ///< to the diagonal, as rendering does
  double diagonal = 0.0;
  unsigned int firstSlice = 0; ///< of the grid that they begin with
  bool streams = false;        ///< past the caches, which do not hold so many
};

/// Runs lists on tiles. One thread's, with its slots and its plan.
class SFTapeRunner
{
public:
  explicit SFTapeRunner(SFTapeInvariants const& iTape, SFFloatTarget const& iTarget = {})
    : _tape(iTape), _planner(iTape), _target(iTarget)
  {
  }
  /// For lists of hoisted values: writes them into the buffer that the views of `iTape` show.
  SFTapeRunner(SFTapeInvariants const& iTape, SFValueBuffer const& iHoisted)
    : _tape(iTape), _planner(iTape), _hoisted(iHoisted.get())
  {
  }

  SFTapeInvariants const& GetTape() const { return _tape; }
  SFFloatTarget const& GetTarget() const { return _target; }
  /// Forgets the plan if there was a target and there is none, or the other way round.
  void SetTarget(SFFloatTarget const& iTarget);
  /// Asked between the calls of a tile.
  SFStopState& GetStop() { return _stop; }

  /// Plans a list for tiles of a size. Holds until the next plan.
  void Plan(SFTapeList const& iList, std::array<unsigned int, 3> const& iCount);
  /// At points: takes the plan over to tiles of another number of points. False where it must be planned for them.
  bool Recount(unsigned int iCount);
  std::array<unsigned int, 3> const& PlannedCount() const { return _plan.count; }

  /// At points: where the coordinates of the next tile are.
  void SetPoints(std::array<double const*, 3> const& iCoordinates) { _points = iCoordinates; }
  /// Computes the planned list over a tile of the planned size; incomplete once the runner has been stopped.
  void RunTile(SFTile const& iTile);

  /// Whether tiles store their result into the target. Otherwise it is read by the functions below.
  bool StoresResult() const { return _plan.storesResult; }
  /// Whether values of a tile pass through memory on their way to the result.
  bool KeepsValues() const { return !_plan.slots.empty(); }
  /// A result over the tile that has been run, counted from the tile's first point.
  SFValueView Result(std::size_t iResult, SFTile const& iTile) const { return ViewOf(_plan.results[iResult], iTile); }
  /// A result along a row of the tile. Valid until the next call for the same result.
  double const* ResultRow(std::size_t iResult, SFTile const& iTile, unsigned int iJ, unsigned int iK);

private:
  void BindSlots();
  void RunKernel(SFTapePlan::KernelCall& ioCall, SFTile const& iTile);
  void RunFused(SFTapePlan::FusedCall& ioCall, SFTile const& iTile);
  void RunPointwise(SFTapePlan::PointwiseCall const& iCall, SFTile const& iTile);
  void RunCoordinate(SFTapePlan::PointwiseCall const& iCall, SFTile const& iTile, double* oValues) const;
  void RunResource(SFTapePlan::PointwiseCall const& iCall, SFTile const& iTile, double* oValues);
  void RunGradient(SFTapePlan::PointwiseCall const& iCall, SFTile const& iTile, double* oValues);
  void ComputeGradients(SFTapePlan::PointwiseCall const& iCall, SFTile const& iTile);
  ResourceToSF::Points ContiguousPoints(SFTapePlan::PointwiseCall const& iCall, SFTile const& iTile);
  double const* Input(SFArrayRef iArray, SFTile const& iTile) const;
  double* Output(SFArrayRef iArray, SFTile const& iTile) const;
  SFValueView ViewOf(SFPlannedValue const& iValue, SFTile const& iTile) const
  {
    return {Input(iValue.array, iTile), iValue.strides, iValue.axes};
  }

  /// The slots for values of a set of axes.
  struct Pool
  {
    std::vector<SFValueBuffer> buffers;
    std::size_t length = 0; ///< of each, in values
  };
  /// The gradients of a resource at the points of a tile, of which each component takes its own.
  struct Gradients
  {
    SFTapeStep step; ///< of the component that asked first
    bool known = false;
    std::array<std::vector<double>, 3> components;
  };

  SFTapeInvariants const& _tape;
  SFTapePlanner _planner;
  SFTapePlan _plan;
  unsigned int _mostPlanned = 0; ///< points along x of the tiles that there are slots for
  SFStopState _stop;
  SFFloatTarget _target;
  double* _hoisted = nullptr; ///< null on tiles
  std::array<double const*, 3> _points{};
  std::array<Pool, 8> _pools;             ///< by axes
  std::vector<double*> _slots;            ///< by number in the plan
  std::vector<std::vector<double>> _rows; ///< by result: of those that do not vary along x
  Gradients _gradients;
  std::array<std::vector<double>, 3> _gathered; ///< coordinates for a resource
};

} // namespace SF
