#include "tape/SFSlopeTable.h"

#include "tape/SFTapeIntervals.h"
#include "tape/SFTapeList.h"
#include "tape/SFTapeSlopes.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace SF {
namespace {

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

/// By value: whether it is the first result or an operand of a choice.
std::vector<char> WhereRangesDecide(SFTape const& iTape)
{
  std::vector<char> decides(iTape.instructions.size(), 0);
  for (auto const& instruction : iTape.instructions)
    if (IsChoice(SFNodeType{instruction.code}))
      ForOperands(instruction, [&](SFValueId iOperand) { decides[iOperand] = 1; });
  if (!iTape.results.empty())
    decides[iTape.results.front()] = 1;
  return decides;
}

SFSlopeUse UseOf(SFSlope const& iSlope)
{
  if (iSlope.ofRoot < SFInterval::Infinity)
    return SFSlopeUse::OfRoot;
  return iSlope.lipschitz < SFInterval::Infinity ? SFSlopeUse::OfValue : SFSlopeUse::None;
}

} // namespace

std::vector<char> WhereSlopesHelp(SFTape const& iTape)
{
  auto const decides = WhereRangesDecide(iTape);
  auto const tells = WhereSlopesTell(iTape);
  std::vector<char> where(decides.size(), 0);
  bool isAny = false;
  for (std::size_t id = 0; id < where.size(); ++id)
    if (decides[id] != 0 && tells[id] != 0) {
      where[id] = 1;
      isAny = true;
    }
  return isAny ? where : std::vector<char>{};
}

SFSlopeTable SlopesWhere(std::span<char const> iWhere, SFTape const& iTape, std::span<SFInterval const> iRanges)
{
  SFSlopeTable table;
  if (iWhere.empty())
    return table;
  std::vector<char> needed(iTape.instructions.size(), 0);
  std::copy(iWhere.begin(), iWhere.end(), needed.begin()); // the tape may have got more values at its end
  for (std::size_t id = needed.size(); id-- > 0;)
    if (needed[id] != 0)
      ForOperands(iTape.instructions[id], [&](SFValueId iOperand) { needed[iOperand] = 1; });
  auto const slopes = SlopesOf(iTape, iRanges, needed);
  for (std::size_t id = 0; id < iWhere.size(); ++id) {
    SFSlope const& slope = slopes[id];
    double const magnitude = std::max(std::abs(iRanges[id].lo), std::abs(iRanges[id].hi));
    double const margin = 2.0 * slope.error + 16.0 * std::numeric_limits<double>::epsilon() * magnitude + 1e-300;
    SFSlopeUse const use = UseOf(slope);
    if (iWhere[id] == 0 || !(margin < SFInterval::Infinity) || use == SFSlopeUse::None)
      continue;
    table.entries.resize(slopes.size());
    double const bound = use == SFSlopeUse::OfRoot ? slope.ofRoot : slope.lipschitz;
    table.entries[id] = {bound * (1.0 + 1e-14), margin, std::sqrt(margin) * (1.0 + 1e-14), use, slope.isStated};
  }
  return table;
}

SFSlopeTable SlopesOverBox(std::span<char const> iWhere, SFTape const& iTape, SFPointBox const& iBox)
{
  if (iWhere.empty())
    return {};
  std::vector<SFInterval> ranges;
  ranges.reserve(iTape.instructions.size());
  for (SFRanges<1> const& range : RangesOverBox(iTape, iBox))
    ranges.push_back(range.At(0));
  return SlopesWhere(iWhere, iTape, ranges);
}

} // namespace SF
