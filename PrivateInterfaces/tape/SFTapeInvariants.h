#pragma once

#include "tape/SFBlockCentres.h"
#include "tape/SFBlockRanges.h"
#include "tape/SFGrid.h"
#include "tape/SFPool.h"
#include "tape/SFStopRequest.h"
#include "tape/SFTapeHoisting.h"
#include "tape/SFTapeKernels.h"
#include "tape/SFValueBuffer.h"
#include "tape/SFValueView.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <memory>
#include <span>
#include <vector>

namespace SF {

class SFTapeRunner;

/// A tape on a grid, with all that is the same for every tile: the values that depend on no coordinate, the hoisted
/// values of one and two axes, and the ranges of those over blocks. Each value is computed on the axes that it depends
/// on and no others, in the order of the tape, so that the values are those of a point-by-point evaluation.
///
/// After Prepare the object is only read, by any number of threads, until MoveTo and the next Prepare.
class SFTapeInvariants
{
public:
  static constexpr std::size_t DefaultBudget = std::size_t{64} << 20;

  /// `iBudget`: the bytes that hoisted values may take.
  SFTapeInvariants(SFTape iTape, SFGrid const& iGrid, std::array<double, ELimitCount> const& iLimits,
                   std::size_t iBudget = DefaultBudget);
  /// For lists of points instead of a grid, prepared at once: the tiles are {n, 1, 1} and all values vary along x. The
  /// runner is given the coordinates of each tile. There is nothing to prune.
  static SFTapeInvariants AtPoints(SFTape iTape, std::array<double, ELimitCount> const& iLimits);

  SFTapeInvariants(SFTapeInvariants&& ioOther) noexcept; ///< not once it has been prepared
  ~SFTapeInvariants();

  /// To a grid with the same number of points along each axis, to be prepared for anew. What to hoist, and the memory,
  /// stay as they are.
  void MoveTo(SFGrid const& iGrid, std::array<double, ELimitCount> const& iLimits);
  /// Computes the hoisted values with up to `iThreads` threads. Once `iStop` has been true they are incomplete.
  void Prepare(unsigned int iThreads, SFStopRequest const& iStop = {});

  SFTape const& GetTape() const { return _tape; }
  SFGrid const& GetGrid() const { return _grid; }
  SFTapeKernels const& GetKernels() const { return _kernels; }
  /// Whether a value that is the same for every tile comes from a resource, which may answer differently next time.
  bool HoistsResources() const;
  /// Bytes of the hoisted values.
  std::size_t GetHoistedBytes() const { return _hoistedCount * sizeof(double); }
  /// The axes with more than one position.
  SFAxes GetAxes() const { return _axes; }
  /// The steps that a tile anywhere in the grid runs.
  SFTapeList const& GetList() const { return _list; }

  /// Whether the value is known before the tiles: computed for the whole grid or, at points, given.
  bool IsHoisted(SFValueId iId) const { return _hoisting[iId] != SFHoisting::No; }
  bool IsStored(SFValueId iId) const { return _hoisting[iId] == SFHoisting::Stored; }
  bool IsAtPoints() const { return _atPoints; }
  /// By value: those of stored values, in the grid. At points the views of the coordinates have no data.
  std::span<SFValueView const> GetViews() const { return _views; }
  /// The value of one without axes.
  double GetScalar(SFValueId iId) const { return _scalars[iId]; }
  /// At a position of the grid, or at the centre of a block of them (SFBlockCentres).
  double Coordinate(std::size_t iAxis, std::size_t iAt) const { return _coordinates[iAxis][iAt]; }
  /// Over a box. Rounding is monotone, so the ends of a run of positions are its extremes.
  SFInterval CoordinateRange(std::size_t iAxis, SFTile const& iBox) const
  {
    double const a = Coordinate(iAxis, iBox.begin[iAxis]);
    double const b = Coordinate(iAxis, iBox.begin[iAxis] + iBox.count[iAxis] - 1);
    return {std::min(a, b), std::max(a, b), false};
  }
  SFBlockRanges const& GetBlockRanges() const { return _blockRanges; }

  /// Constants of every tape, which pruning puts in for other values.
  SFValueId GetOne() const { return _constants; }
  SFValueId GetMinusOne() const { return _constants + 1; }
  SFValueId GetMinusInfinity() const { return _constants + 2; }

private:
  struct Segment;

  void ReduceAxes();
  void FillCoordinates();
  void PlanValues();
  void ComputeScalars();
  void AllocateHoisted();
  bool MayPrune() const;
  template <class Call>
  void ForEachNumber(std::size_t iCount, std::size_t iThreads, SFStopRequest const& iStop, Call const& iCall);
  std::vector<Segment> AxisSegments(unsigned int iThreads) const;
  void ComputeAxes(unsigned int iThreads, SFStopRequest const& iStop);
  void ComputePlanes(SFAxes iAxes, unsigned int iThreads, SFStopRequest const& iStop);

  SFTape _tape;
  SFGrid _grid;
  std::size_t _budget;
  SFTapeKernels const& _kernels;
  std::array<double, ELimitCount> _limits;
  SFAxes _axes = 0;
  bool _atPoints = false;
  SFValueId _constants = 0;
  std::vector<double> _scalars;                    ///< by value
  std::array<std::vector<double>, 3> _coordinates; ///< by axis
  std::vector<SFHoisting> _hoisting;               ///< by value
  std::array<SFTapeList, 8> _axesLists;            ///< by set of axes: the steps of the hoisted values
  SFTapeList _list;
  std::vector<SFValueView> _views; ///< by value
  SFValueBuffer _hoisted;
  std::size_t _hoistedCount = 0;
  bool _isPlanned = false;
  bool _hasCentres = false;
  std::unique_ptr<SFPool<SFTapeRunner>> _runners; ///< of hoisted values; by reference, as tapes are moved
  SFBlockRanges _blockRanges;
};

} // namespace SF
