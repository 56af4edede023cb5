#pragma once

#include "SFOperatorTable.h"
#include "tape/SFSlopeTable.h"
#include "tape/SFTape.h"

#include <array>
#include <cstddef>
#include <vector>

namespace SF {

/// One step of a list that a tile runs: the instruction of value `id`, its operands perhaps replaced.
struct SFTapeStep
{
  SFValueId id = 0;
  SFTapeCode code = 0;
  SFAxes axes = 0;
  SFSlopeUse slope = SFSlopeUse::None; ///< in lists that may be pruned
  std::array<SFValueId, 3> operands{};
};

/// The step of an instruction as it stands.
inline SFTapeStep StepOf(SFTapeInstruction const& iInstruction, SFValueId iId)
{
  return {iId, iInstruction.code, iInstruction.axes, SFSlopeUse::None, iInstruction.operands};
}

/// Steps in the order of the tape, and the values that are the results. Values that were computed before the tiles need
/// no step; a step of such a value serves pruning alone and is not run.
struct SFTapeList
{
  std::vector<SFTapeStep> steps;
  std::vector<SFValueId> results;
};

/// Calls `iCall(value)` for each operand of a step or an instruction.
template <class Step, class Call>
void ForOperands(Step const& iStep, Call iCall)
{
  for (int i = 0; i < ArityOf(iStep.code); ++i)
    iCall(iStep.operands[static_cast<std::size_t>(i)]);
}

/// Whether pruning might decide a step with this code.
constexpr bool IsChoiceCode(SFTapeCode iCode) { return IsChoice(SFNodeType{iCode}) || iCode == SelectCode; }

/// The cost of a step with this code at one point, in additions. What is no operator costs as much as a function.
constexpr std::size_t CostOf(SFTapeCode iCode)
{
  if (iCode == SelectCode)
    return Detail::Simple;
  return IsOperatorCode(iCode) ? OperatorRow(SFNodeType{iCode}).cost : Detail::Function;
}

} // namespace SF
