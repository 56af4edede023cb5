#pragma once

#include "tape/SFGrid.h"
#include "tape/SFRanges.h"
#include "tape/SFTape.h"
#include "tape/SFTapeKernels.h"
#include "tape/SFValueBuffer.h"

#include <array>
#include <cstddef>
#include <functional>
#include <memory>
#include <span>
#include <vector>

namespace SF {

/// A box of grid points.
struct SFTile
{
  std::array<unsigned int, 3> begin{};
  std::array<unsigned int, 3> count{};
};

/// A run of the blocks over which the ranges of kept values are known: that of input number n over the i-th of them is
/// first[n + i stride].
struct SFBlocks
{
  SFInterval const* first = nullptr;
  std::size_t count = 0;
  std::size_t stride = 0;
};

/// One step of a list that a tile runs: the instruction of value `id`, its operands perhaps replaced.
struct SFTapeStep
{
  SFValueId id = 0;
  SFTapeCode code = 0;
  SFAxes axes = 0;
  std::array<SFValueId, 3> operands{};
};

/// What a tile runs: steps in the order of the tape, and the values that are its results.
struct SFTapeList
{
  std::vector<SFTapeStep> steps;
  std::vector<SFValueId> results;
  std::size_t choices = 0; ///< steps that pruning might decide
  std::size_t cost = 0;    ///< of a point, in additions
};

/// What a step with this code costs at a point, in additions. What is no operator costs as much as a function.
constexpr std::size_t CostOf(SFTapeCode iCode)
{
  return IsOperatorCode(iCode) ? OperatorRow(SFNodeType{iCode}).cost : Detail::Function;
}

/// Where a value lies: element (i, j, k) of the grid, or of the tile, is at data[i s0 + j s1 + k s2].
struct SFTapePlace
{
  double const* data = nullptr;
  std::array<std::ptrdiff_t, 3> strides{};
  SFAxes axes = 0;
  bool inTile = false; ///< counted from the tile's first point, and contiguous
};

/// Asked again and again during long work: whether to end it before its time.
using SFStopRequest = std::function<bool()>;

/// The working memory of one thread.
class SFTapeScratch
{
public:
  std::vector<SFTapePlace> places; ///< by value; those of values kept for the whole grid are set
  /// What the list that is planned makes of a value.
  struct Value
  {
    std::uint32_t at = 0;      ///< its step's position
    std::uint32_t uses = 0;    ///< how many steps and results name it
    std::uint32_t lastUse = 0; ///< the position after which its slot is free
  };
  std::vector<Value> values; ///< by value
  struct Slot
  {
    std::int32_t number = -1;
    SFAxes axes = 0;
  };
  std::vector<Slot> slotOf; ///< by value: its slot among those of its shape

  /// One step of the plan for tiles of one size, or several that are run as a chain: all but what depends on where
  /// the tile lies.
  struct Call
  {
    SFKernel kernel = nullptr; ///< null for a chain, and for a step that no kernel runs
    SFKernelBox box;
    /// Where values that are kept for the whole grid lie; null for those of the tile, whose place is settled.
    SFTapePlace const* a = nullptr;
    SFTapePlace const* b = nullptr;
    SFTapePlace const* out = nullptr;
    SFTapeStep step;
    static constexpr std::uint32_t NoChain = UINT32_MAX;
    std::uint32_t chain = NoChain; ///< its number among the chains of the plan
  };
  struct Chain
  {
    SFChainBox box;
    SFTapePlace const* first = nullptr; ///< where its first operand lies, if kept
    std::size_t firstLink = 0;          ///< its first link among those of the plan
    bool storesFloats = false;          ///< its values are the result, and go to the target
  };
  std::vector<Call> plan;
  std::vector<Chain> chains;
  std::vector<SFChainLink> links;
  std::vector<SFTapePlace const*> linkPlaces; ///< by link: where its operand lies, if kept
  std::vector<std::uint32_t> absorbedBy;      ///< by position in the list: that of the step whose chain takes it in
  std::vector<std::uint32_t> chainEnds;       ///< by position: that of the last step of its chain
  std::vector<char> holds;                    ///< by position: whether its chain up to it holds a value for a while
  std::vector<std::uint32_t> positions;       ///< of the steps of the chain that is planned
  std::vector<std::uint32_t> openPositions;   ///< of those whose operands are still to be listed

  /// Where the one result of each tile goes as floats, for the whole grid; null when a sink takes the results.
  struct Target
  {
    float* floats = nullptr;
    bool clamps = false;
    double diagonal = 0.0;
  };
  Target target;
  bool targetIsDone = false; ///< whether running the plan stores the result

  struct Pool
  {
    std::vector<SFValueBuffer> slots;
    std::vector<std::int32_t> free;
    std::size_t slotSize = 0;
  };
  std::array<Pool, 8> pools;             ///< by axes
  std::vector<std::vector<double>> rows; ///< by result

  /// What follows from the size of a tile, by axes.
  struct Shape
  {
    std::array<std::size_t, 3> extents{1, 1, 1};
    std::array<std::ptrdiff_t, 3> strides{};
    std::size_t volume = 1;
  };
  std::array<Shape, 8> shapes;
  std::array<unsigned int, 3> count{}; ///< the size of the tiles that they and the plan hold for

  /// The gradients of a resource at the points of a tile, from which each component takes its own.
  struct Gradients
  {
    SFTapeStep step; ///< of the component that asked first
    bool known = false;
    std::array<std::vector<double>, 3> components;
  };
  Gradients gradients;

  SFStopRequest const* stop = nullptr; ///< null when nothing stops the work
  bool stopped = false;                ///< what was being computed is then incomplete
  bool MustStop()
  {
    stopped = stopped || (stop != nullptr && *stop && (*stop)());
    return stopped;
  }
};

/// Runs a tape over a grid. Each value is computed on the axes that it depends on and no others: what depends on
/// one axis once a position, and what depends on two once a pair, for the whole grid while the memory budget
/// allows. The order of operations is that of the tape, so the values are those of a point-by-point evaluation.
///
/// After Prepare the object is only read; threads run tiles at once, each with a scratch of its own.
class SFTapeRunner
{
public:
  static constexpr std::size_t DefaultBudget = std::size_t{64} << 20;

  SFTapeRunner(SFTape iTape, SFGrid const& iGrid, std::array<double, ELimitCount> const& iLimits,
               std::size_t iBudget = DefaultBudget);

  /// A runner for points, which takes the place of Prepare: the tiles are {n, 1, 1}, all values vary along x, and
  /// the caller sets the coordinates of a tile with SetPoints. There are no choices to prune.
  static SFTapeRunner AtPoints(SFTape iTape, std::array<double, ELimitCount> const& iLimits);
  void SetPoints(std::array<double const*, 3> const& iCoordinates, SFTapeScratch& ioScratch) const;

  /// Computes what is kept for the whole grid, with up to `iThreads` threads. Once `iStop` has said so the values
  /// are incomplete.
  void Prepare(unsigned int iThreads, SFStopRequest const& iStop = {});

  SFGrid const& GetGrid() const { return _grid; }
  SFTape const& GetTape() const { return _tape; }
  SFTapeKernels const& GetKernels() const { return _kernels; }
  SFTapeScratch MakeScratch() const;

  /// Settles where the values of a list lie when it runs on tiles of a size. Holds until the next plan.
  void Plan(SFTapeList const& iList, std::array<unsigned int, 3> const& iCount, SFTapeScratch& ioScratch) const
  {
    PlanSteps(iList, iCount, ioScratch, false);
  }
  /// Computes the values of the planned list over a tile of the planned size; the results are then where ResultPlace
  /// and ResultRow say, unless the scratch has been stopped.
  void RunTile(SFTile const& iTile, SFTapeScratch& ioScratch) const;

  /// Where the values of one result over a tile lie after it has been run, counted from the tile's first point.
  SFTapePlace ResultPlace(SFTapeList const& iList, std::size_t iResult, SFTile const& iTile,
                          SFTapeScratch const& iScratch) const
  {
    return InTile(iScratch.places[iList.results[iResult]], iTile);
  }
  /// The values of one result along a row of a tile that has been run: a pointer into the scratch or the kept
  /// values, or into the result's own row of `ioScratch.rows` when it does not vary along x.
  double const* ResultRow(SFTapeList const& iList, std::size_t iResult, SFTile const& iTile, unsigned int iJ,
                          unsigned int iK, SFTapeScratch& ioScratch) const;

  /// The list for tiles anywhere in the grid.
  SFTapeList const& GetList() const { return _list; }
  /// The value of a result of a list when it has no axes.
  double GetScalar(SFValueId iId) const { return _scalars[iId]; }
  /// Whether the value is computed for the whole grid before the tiles.
  bool IsKept(SFValueId iId) const { return _isKept[iId] != Keeping::No; }
  /// Adds a step to a list.
  void Append(SFTapeStep const& iStep, SFTapeList& ioList) const
  {
    ioList.steps.push_back(iStep);
    if (IsKept(iStep.id))
      return;
    ioList.choices += IsChoice(SFNodeType{iStep.code}) ? 1 : 0;
    ioList.cost += iStep.axes == _present ? CostOf(iStep.code) : 0;
  }
  SFInterval CoordinateRange(std::size_t iAxis, SFTile const& iBox) const;
  /// The range of a value of one axis that is kept: an InputCode step with an axis.
  SFInterval InputRange(SFTapeStep const& iStep, SFBlocks const& iBlocks) const;
  /// The blocks over which that range is taken for a box, the same for all values of an axis.
  SFBlocks BlocksOf(std::size_t iAxis, SFTile const& iBox) const;

  /// Values that pruning puts in the place of others.
  SFValueId GetOne() const { return _constants; }
  SFValueId GetMinusOne() const { return _constants + 1; }
  SFValueId GetMinusInfinity() const { return _constants + 2; }

private:
  using Extents = std::array<std::size_t, 3>;
  class Piece;
  enum class Keeping : char
  {
    No,
    ForOthers, ///< computed on the way to a value that is kept, then forgotten
    Stored
  };

  void ReduceAxes();
  void ComputeScalars();
  std::array<std::size_t, 8> DearestPlanes() const;
  void ChooseKept();
  void AllocateKept();
  void AddToList(SFValueId iId, SFTapeCode iCode);
  void RunKeptAxes(unsigned int iThreads, SFStopRequest const& iStop);
  void RunKeptPlanes(SFAxes iAxes, unsigned int iThreads, SFStopRequest const& iStop);
  void RunKept(SFAxes iAxes, SFTile const& iBox, SFTapeScratch& ioScratch) const;
  void PlanSteps(SFTapeList const& iList, std::array<unsigned int, 3> const& iCount, SFTapeScratch& ioScratch,
                 bool iKept) const;
  void ReserveBlocks();
  void ComputeBlockRanges(std::size_t iAxis, std::size_t iBegin, std::size_t iEnd);
  static void ShapeFor(std::array<unsigned int, 3> const& iCount, SFTapeScratch& ioScratch);
  double* SlotFor(SFTapeStep const& iStep, SFTapeScratch& ioScratch) const;
  void FindChains(SFTapeList const& iList, SFTapeScratch& ioScratch, bool iKept) const;
  void Absorb(SFTapeList const& iList, std::uint32_t iAt, SFTapeScratch& ioScratch) const;
  static void ListChain(SFTapeList const& iList, std::uint32_t iEnd, SFTapeScratch& ioScratch);
  void PlanChain(SFTapeList const& iList, std::uint32_t iEnd, SFTapeScratch& ioScratch) const;
  std::size_t PlanPiece(SFTapeList const& iList, std::size_t iFrom, SFTapeScratch& ioScratch) const;
  void PlanLinks(Piece const& iPiece, bool iStores, SFTapeScratch& ioScratch) const;
  void PlanStep(SFTapeStep const& iStep, SFTapeScratch& ioScratch) const;
  void RunChain(SFTapeScratch::Call const& iCall, SFTile const& iTile, SFTapeScratch& ioScratch) const;
  void RunStep(SFTapeScratch::Call const& iCall, SFTile const& iTile, SFTapeScratch& ioScratch) const;
  void RunPointwise(SFTapeStep const& iStep, SFTile const& iTile, SFTapeScratch& ioScratch, double* oValues,
                    Extents const& iExtents) const;
  void RunDerivative(SFTapeStep const& iStep, SFTile const& iTile, SFTapeScratch& ioScratch, double* oValues) const;
  void ComputeGradients(SFTapeStep const& iStep, SFTile const& iTile, SFTapeScratch& ioScratch) const;
  static SFTapePlace InTile(SFTapePlace const& iPlace, SFTile const& iTile);

  SFTape _tape;
  SFGrid _grid;
  std::size_t _budget;
  SFTapeKernels const& _kernels;
  std::array<double, ELimitCount> _limits;
  std::vector<double> _scalars;                    ///< by value, for values without axes
  std::array<std::vector<double>, 3> _coordinates; ///< by axis
  std::vector<SFTapePlace> _places;                ///< by value, for scalars and kept values
  SFValueBuffer _kept;
  std::array<std::vector<SFValueId>, 3> _inputs;       ///< by axis: the kept values that pruning reads
  std::array<std::vector<SFInterval>, 3> _blockRanges; ///< by axis: of those values, over blocks of positions
  std::vector<std::uint32_t> _inputNumbers;            ///< by value: its place among the inputs of its axis
  std::array<SFTapeList, 8> _keptLists;                ///< by axes: what RunKept computes
  std::vector<Keeping> _isKept;                        ///< by value
  SFAxes _present = 0;                                 ///< the axes with more than one position
  std::vector<SFValueId> _pointInputs;                 ///< the coordinates that SetPoints sets
  SFTapeList _list;
  SFValueId _constants = 0;
};

} // namespace SF
