#pragma once

#include "tape/SFRanges.h"
#include "tape/SFTapeRunner.h"

#include <span>
#include <vector>

namespace SF {

/// The range of an operator over ranges of its operands, from the one meaning that it has. A unary operator reads
/// `iA` alone; the square of one value is recognised by `iA` and `iB` being one object.
SFInterval RangeOfOperator(SFTapeCode iOperator, SFInterval const& iA, SFInterval const& iB);

/// What pruning knows of one step of a list, for W boxes at once.
template <std::size_t W>
struct SFPrunedStep
{
  SFRanges<W> range;
  SFNeeds<W> needs;
  SFValueId standIns[W]; ///< the value that takes its place, where one does
  SFAxes axes[W];        ///< which axes it depends on after the pruning
  SFBoxes needed;
  SFBoxes replaced; ///< where a stand-in takes its place
  SFBoxes bare;     ///< where its first operand becomes minus infinity
  SFBoxes altered;  ///< where those that name it must be rewritten: it is replaced, or of other axes than before
};

/// What a list will be used for. To be run it needs no steps that serve the ranges alone, and to be pruned again it
/// does.
enum class SFListUse
{
  ToPrune,
  ToRun
};

/// The working memory of one thread's pruning.
struct SFPrunerScratch
{
  std::vector<std::uint32_t> positions; ///< by value: its step's place in the list
  std::vector<SFPrunedStep<1>> single;
  std::vector<SFPrunedStep<SFRangeLanes>> several;
  SFStopRequest const* stop = nullptr; ///< asked now and then in a long list
  bool stopped = false;                ///< what was being pruned is then of no use
};

/// Shortens the list of steps for boxes: drops what provably cannot be chosen at any of a box's points, and what
/// only that needed. What stays keeps its order and gives the same bits.
///
/// Each needed value carries the range in which it matters: a value above `upper` may be any other value above
/// it, one below `lower` any other below. A minimum narrows the upper bound of both its operands to the smallest
/// of their upper ends, so the bound runs down a whole chain however the chain is associated. Only strict
/// comparisons drop, and never where an operand may be NaN: ties, signed zeros and NaN come out as before.
class SFTapePruner
{
public:
  /// How many boxes it takes at once. Neighbours share the walk over the list, and the vector units.
  static constexpr std::size_t MaxBoxes = SFRangeLanes;

  explicit SFTapePruner(SFTapeRunner const& iRunner) : _runner(iRunner) {}

  /// How many boxes are worth pruning a list for together: of a long one the memory for several would not stay near,
  /// nor would their lists be few.
  static std::size_t BoxesFor(SFTapeList const& iList) { return iList.steps.size() <= LongList ? MaxBoxes : 1; }

  SFPrunerScratch MakeScratch() const;

  /// Fills a list for each box with what `iList` needs over the points of that box. Returns the boxes for which
  /// something could be dropped.
  SFBoxes Prune(SFTapeList const& iList, std::span<SFTile const> iBoxes, SFListUse iUse, SFPrunerScratch& ioScratch,
                SFTapeList* oLists) const;

private:
  static constexpr std::size_t LongList = 16384;

  SFTapeRunner const& _runner;
};

} // namespace SF
