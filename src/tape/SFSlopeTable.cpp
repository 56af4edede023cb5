#include "tape/SFSlopeTable.h"

#include "tape/SFTapeIntervals.h"
#include "tape/SFTapeSlopes.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace SF {
namespace {

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

/// By value: whether a slope can tell more than the ranges of the operands. It cannot where every coordinate is read once, as
/// the range is exact then, nor for choices and what is no more than one of them moved, which have the ranges of what they
/// choose from.
std::vector<char> WhereSlopesTell(SFTape const& iTape)
{
  auto const& instructions = iTape.instructions;
  std::vector<char> isExact(instructions.size(), 1);
  std::vector<char> isChosen(instructions.size(), 0);
  std::vector<char> tells(instructions.size(), 0);
  for (SFValueId id = 0; id < instructions.size(); ++id) {
    SFTapeInstruction const& instruction = instructions[id];
    SFNodeType const type{instruction.code};
    if (!IsOperator(type))
      continue;
    auto const [a, b, unused] = instruction.operands;
    bool const isBinary = IsBinaryOperator(type) && a != b;
    bool const isApart = !isBinary || (instructions[a].axes & instructions[b].axes) == 0;
    isExact[id] = isExact[a] != 0 && isExact[b] != 0 && isApart ? 1 : 0;
    bool const isMoved = !isBinary || instructions[a].axes == 0 || instructions[b].axes == 0;
    isChosen[id] = IsChoice(type) || (isMoved && (isChosen[a] != 0 || isChosen[b] != 0)) ? 1 : 0;
    tells[id] = isExact[id] == 0 && isChosen[id] == 0 ? 1 : 0;
  }
  for (SFStatedBound const& bound : iTape.bounds)
    tells[bound.value] = isExact[bound.value] == 0 ? 1 : 0;
  return tells;
}

/// By value: whether it is a result or an operand of a choice.
std::vector<char> WhereRangesDecide(SFTape const& iTape)
{
  std::vector<char> decides(iTape.instructions.size(), 0);
  for (auto const& instruction : iTape.instructions)
    if (IsChoice(SFNodeType{instruction.code}))
      ForOperands(instruction, [&](SFValueId iOperand) { decides[iOperand] = 1; });
  for (SFValueId const result : iTape.results)
    decides[result] = 1;
  return decides;
}

SFSlopeUse UseOf(SFSlope const& iSlope)
{
  if (iSlope.ofRoot < SFInterval::Infinity)
    return SFSlopeUse::OfRoot;
  return iSlope.lipschitz < SFInterval::Infinity ? SFSlopeUse::OfValue : SFSlopeUse::None;
}

} // namespace

SFSlopeTable SlopesOnGrid(SFTapeInvariants const& iTape, std::span<SFTapeStep> ioSteps)
{
  SFSlopeTable table;
  auto const decides = WhereRangesDecide(iTape.GetTape());
  auto const tells = WhereSlopesTell(iTape.GetTape());
  auto const isWorthwhile = [&](SFTapeStep const& iStep) {
    return decides[iStep.id] != 0 && tells[iStep.id] != 0 && iStep.code != InputCode;
  };
  if (std::none_of(ioSteps.begin(), ioSteps.end(), isWorthwhile))
    return table;
  auto const ranges = RangesOverGrid(iTape);
  auto const slopes = SlopesOf(iTape.GetTape(), ranges);
  for (SFTapeStep& step : ioSteps) {
    SFSlope const& slope = slopes[step.id];
    double const magnitude = std::max(std::abs(ranges[step.id].lo), std::abs(ranges[step.id].hi));
    double const margin = 2.0 * slope.error + 16.0 * std::numeric_limits<double>::epsilon() * magnitude + 1e-300;
    step.slope = isWorthwhile(step) && margin < SFInterval::Infinity ? UseOf(slope) : SFSlopeUse::None;
    if (step.slope == SFSlopeUse::None)
      continue;
    table.entries.resize(slopes.size());
    double const bound = step.slope == SFSlopeUse::OfRoot ? slope.ofRoot : slope.lipschitz;
    table.entries[step.id] = {bound * (1.0 + 1e-14), margin, std::sqrt(margin) * (1.0 + 1e-14), slope.isStated};
  }
  return table;
}

} // namespace SF
