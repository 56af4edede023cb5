#pragma once

#include "tape/SFRanges.h"
#include "tape/SFSlopeTable.h"
#include "tape/SFStopRequest.h"
#include "tape/SFTapeInvariants.h"
#include "tape/SFTapeList.h"

#include <array>
#include <limits>
#include <memory>
#include <span>
#include <vector>

namespace SF {

/// A list that may be pruned. It also names the values that its pruning reads: scalars and hoisted values are steps of
/// it, which are not run.
struct SFPrunableList : SFTapeList
{
  std::size_t choices = 0; ///< steps that pruning might decide
  std::size_t cost = 0;    ///< of a point, in additions
  /// The float that all points of the box get, for a box whose values are all beyond the limit; NaN for others. Without
  /// steps then.
  float settled = std::numeric_limits<float>::quiet_NaN();

  bool IsSettled() const { return settled == settled; }
};

/// The state of one step of a list while it is pruned, for W boxes at once.
template <std::size_t W>
struct SFStepState
{
  SFRanges<W> range;
  SFDemand<W> demand;        ///< in the boxes where it is limited
  SFValueId replacements[W]; ///< the value that replaces it, where one does
  SFAxes axes[W];            ///< those that it depends on after the pruning
  SFBoxes needed;
  SFBoxes full;    ///< where some reader demands all of the value
  SFBoxes limited; ///< where some reader demands a range
  SFBoxes replaced;
  SFBoxes negates; ///< where WITHOUT(a, b) has become -b: its first operand is minus infinity there
  SFBoxes altered; ///< where its readers must be rewritten: it is replaced, or of other axes than before
  SFBoxes changed; ///< where its readers may find another value than before, as what it is does not matter
};

/// The boxes that a list is pruned for: parts of a grid or, for a tape at points, ranges of coordinates.
struct SFPruningBoxes
{
  std::span<SFTile const> tiles;
  std::span<SFPointBox const> ranges;

  SFPruningBoxes(std::span<SFTile const> iTiles) : tiles(iTiles) {}
  SFPruningBoxes(std::span<SFPointBox const> iRanges) : ranges(iRanges) {}

  std::size_t size() const { return tiles.size() + ranges.size(); }
  SFPruningBoxes At(std::size_t i) const
  {
    return tiles.empty() ? SFPruningBoxes(ranges.subspan(i, 1)) : SFPruningBoxes(tiles.subspan(i, 1));
  }
};

/// The use of a list that pruning writes. To be run it needs no steps of hoisted values, to be pruned again it does.
enum class SFListUse
{
  ToPrune,
  ToRun
};

/// The working memory of one thread's pruning.
struct SFPrunerScratch
{
  std::vector<std::uint32_t> positions; ///< by value: the position of its step in the list
  std::vector<SFStepState<1>> single;
  std::vector<SFStepState<SFRangeLanes>> several;
  SFStopState* stop = nullptr; ///< asked now and then in a long list; stopped, the pruning is of no use
};

/// Shortens the list of steps for boxes: drops what provably cannot be chosen at any of a box's points, and what
/// only that needed. The steps that are left stay in order and give the same bits.
///
/// Each needed value has a demanded range: a value above `upper` may be any other value above it, one below `lower`
/// any other below. A minimum narrows the upper bound of both its operands to the smallest of their upper ends, so the
/// bound is handed down through nested minima however they are associated. Only strict comparisons drop, and never
/// where an operand may be NaN: ties, signed zeros and NaN come out as before. What is beyond a limit of the one result may
/// be anything else beyond it.
class SFTapePruner
{
public:
  /// The most boxes that are pruned for together. Neighbours share the walk over the list, and the vector units.
  static constexpr std::size_t MaxBoxes = SFRangeLanes;

  /// `iLimit`: the magnitude that the result is limited to when it is stored; infinity where it is stored as it is.
  /// `iSlopes`: those of the values in all boxes that it will prune for; without, those of the tape, or on a grid those
  /// that are found.
  explicit SFTapePruner(SFTapeInvariants const& iTape, double iLimit = SFInterval::Infinity,
                        std::shared_ptr<SFSlopeTable const> iSlopes = nullptr);

  /// The list for tiles anywhere in the grid. Without choices, or on a grid whose coordinates are not numbers, it has
  /// no choices and must not be pruned.
  SFPrunableList const& GetList() const { return _list; }

  /// How many boxes are worth pruning a list for together: the states of a long list for several boxes would not stay
  /// in a near cache.
  static std::size_t BoxesFor(SFPrunableList const& iList) { return iList.steps.size() <= LongList ? MaxBoxes : 1; }

  SFPrunerScratch MakeScratch() const;

  /// Writes a list for each box: the steps of `iList` that the points of that box need. Returns the boxes for which
  /// something could be dropped.
  SFBoxes Prune(SFPrunableList const& iList, SFPruningBoxes const& iBoxes, SFListUse iUse, SFPrunerScratch& ioScratch,
                SFPrunableList* oLists) const;
  SFBoxes Prune(SFPrunableList const& iList, std::span<SFTile const> iBoxes, SFListUse iUse, SFPrunerScratch& ioScratch,
                SFPrunableList* oLists) const
  {
    return Prune(iList, SFPruningBoxes(iBoxes), iUse, ioScratch, oLists);
  }

private:
  static constexpr std::size_t LongList = 16384;

  SFTapeInvariants const& _tape;
  double _limit;
  SFPrunableList _list;
  std::shared_ptr<SFSlopeTable const> _slopes;
};

} // namespace SF
