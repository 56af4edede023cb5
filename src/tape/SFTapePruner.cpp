#include "tape/SFTapePruner.h"

#include "tape/SFPruningPass.h"
#include "tape/SFTapeIntervals.h"

#include <limits>

namespace SF {
namespace {

/// Whether a value is a step of lists under its own code: those of tiles and of planes. Scalars and the values of single
/// axes have ranges that are known.
bool HasOwnStep(SFTapeInvariants const& iTape, SFValueId iId)
{
  SFAxes const axes = iTape.GetTape().instructions[iId].axes;
  return axes != 0 && (!iTape.IsHoisted(iId) || (axes & (axes - 1)) != 0);
}

/// The ranges of all values of a tape over its whole grid.
std::vector<SFInterval> RangesOverGrid(SFTapeInvariants const& iTape)
{
  SFGrid const& grid = iTape.GetGrid();
  SFTile const whole{{0, 0, 0}, grid.dims};
  auto const& instructions = iTape.GetTape().instructions;
  std::vector<SFRanges<1>> ranges(instructions.size());
  std::vector<SFInterval> found;
  for (SFValueId id = 0; id < instructions.size(); ++id) {
    SFTapeInstruction const& instruction = instructions[id];
    auto const leaf = [&](SFRanges<1>& oRange) {
      oRange.Set(0, iTape.CoordinateRange(AxisOf(instruction.code), whole));
    };
    if (instruction.axes == 0)
      ranges[id].Set(0, SFInterval(iTape.GetScalar(id)));
    else
      ComputeRange<false>(instruction.code, ranges[instruction.operands[0]], ranges[instruction.operands[1]],
                          iTape.GetKernels(), leaf, ranges[id]);
    found.push_back(ranges[id].At(0));
  }
  return found;
}

SFSlopeTable SlopesOnGrid(SFTapeInvariants const& iTape)
{
  auto const where = WhereSlopesHelp(iTape.GetTape());
  return where.empty() ? SFSlopeTable() : SlopesWhere(where, iTape.GetTape(), RangesOverGrid(iTape));
}

template <std::size_t W>
SFBoxes PruneFor(SFTapeInvariants const& iTape, SFSlopeTable const& iSlopes, double iLimit, SFPrunableList const& iList,
                 SFPruningBoxes const& iBoxes, SFListUse iUse, SFPrunerScratch& ioScratch,
                 std::vector<SFStepState<W>>& ioStates, SFPrunableList* oLists)
{
  SFPruningPass<W> pass(iTape, iSlopes, iLimit, iList, iBoxes, ioScratch, ioStates);
  if (!pass.ComputeRanges())
    return 0;
  pass.PushDemands();
  return pass.WriteLists(iUse, oLists);
}

} // namespace

SFTapePruner::SFTapePruner(SFTapeInvariants const& iTape, double iLimit, std::shared_ptr<SFSlopeTable const> iSlopes)
  : _tape(iTape), _limit(iLimit > 0.0 ? iLimit : SFInterval::Infinity),
    _slopes(iSlopes != nullptr ? std::move(iSlopes) : iTape.GetTape().slopes)
{
  auto const& instructions = iTape.GetTape().instructions;
  std::vector<char> isRead(instructions.size(), 0);
  for (SFValueId id = 0; id < instructions.size(); ++id)
    if (HasOwnStep(iTape, id))
      ForOperands(instructions[id], [&](SFValueId iOperand) { isRead[iOperand] = 1; });
  _list.results = iTape.GetTape().results;
  for (SFValueId const result : _list.results)
    isRead[result] = 1;

  auto const append = [&](SFValueId iId, SFTapeCode iCode) {
    SFTapeStep step = StepOf(instructions[iId], iId);
    step.code = iCode;
    Append(step, SFStepCost(iTape, step), _list);
  };
  for (SFValueId id : {iTape.GetOne(), iTape.GetMinusOne(), iTape.GetMinusInfinity()})
    append(id, InputCode); // first: any step may come to name them
  for (SFValueId id = 0; id < iTape.GetOne(); ++id)
    if (HasOwnStep(iTape, id))
      append(id, instructions[id].code);
    else if (isRead[id] != 0)
      append(id, InputCode);
  if (!iTape.GetGrid().IsWithin(std::numeric_limits<double>::max()))
    _list.choices = 0; // ranges need coordinates that are numbers
  if (_slopes == nullptr)
    _slopes = std::make_shared<SFSlopeTable const>(_list.choices > 0 && !iTape.IsAtPoints() ? SlopesOnGrid(iTape)
                                                                                            : SFSlopeTable());
  for (SFTapeStep& step : _list.steps)
    if (step.id < _slopes->entries.size() && step.code != InputCode)
      step.slope = _slopes->entries[step.id].use;
}

SFPrunerScratch SFTapePruner::MakeScratch() const
{
  SFPrunerScratch scratch;
  scratch.positions.resize(_tape.GetTape().instructions.size());
  return scratch;
}

SFBoxes SFTapePruner::Prune(SFPrunableList const& iList, SFPruningBoxes const& iBoxes, SFListUse iUse,
                            SFPrunerScratch& ioScratch, SFPrunableList* oLists) const
{
  if (iBoxes.size() > 1 && BoxesFor(iList) > 1)
    return PruneFor<SFRangeLanes>(_tape, *_slopes, _limit, iList, iBoxes, iUse, ioScratch, ioScratch.several, oLists);
  SFBoxes changed = 0;
  for (std::size_t i = 0; i < iBoxes.size() && (ioScratch.stop == nullptr || !ioScratch.stop->IsStopped()); ++i)
    changed |= static_cast<SFBoxes>(
        PruneFor<1>(_tape, *_slopes, _limit, iList, iBoxes.At(i), iUse, ioScratch, ioScratch.single, oLists + i) << i);
  return changed;
}

} // namespace SF
