#pragma once

#include "SFInterval.h"
#include "SFTapeRunner.h"

#include <vector>

namespace SF {

/// The range of an operator over ranges of its operands, from the one meaning that it has. A unary operator reads
/// `iA` alone; the square of one value is recognised by `iA` and `iB` being one object.
SFInterval RangeOfOperator(SFTapeCode iOperator, SFInterval const& iA, SFInterval const& iB);

/// The working memory of one thread's pruning.
struct SFPrunerScratch
{
  struct Need
  {
    double lower = SFInterval::Infinity;
    double upper = -SFInterval::Infinity;
    bool needed = false;
  };
  std::vector<SFInterval> ranges;  ///< by value; those of scalars are set
  std::vector<Need> needs;         ///< by value
  std::vector<SFValueId> standIns; ///< by value: the one that takes its place
  std::vector<SFAxes> axes;        ///< by value: which axes it depends on after the pruning
};

/// Shortens the list of steps for a box: drops what provably cannot be chosen at any of its points, and what
/// only that needed. What stays keeps its order and gives the same bits.
///
/// Each needed value carries the range in which it matters: a value above `upper` may be any other value above
/// it, one below `lower` any other below. A minimum narrows the upper bound of both its operands to the smallest
/// of their upper ends, so the bound runs down a whole chain however the chain is associated. Only strict
/// comparisons drop, and never where an operand may be NaN: ties, signed zeros and NaN come out as before.
class SFTapePruner
{
public:
  explicit SFTapePruner(SFTapeRunner const& iRunner) : _runner(iRunner) {}

  SFPrunerScratch MakeScratch() const;

  /// Fills `oList` with what `iList` needs over the points of `iBox`. False when nothing could be dropped.
  bool Prune(SFTapeList const& iList, SFTile const& iBox, SFPrunerScratch& ioScratch, SFTapeList& oList) const;

private:
  void ComputeRanges(SFTapeList const& iList, SFTile const& iBox, SFPrunerScratch& ioScratch) const;
  bool PushNeeds(SFTapeStep& ioStep, SFPrunerScratch& ioScratch) const;

  SFTapeRunner const& _runner;
};

} // namespace SF
