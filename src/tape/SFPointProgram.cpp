#include "tape/SFPointProgram.h"

#include "SFCylindricalTransform.h"
#include "operators/SFScalarOps.h"
#include "tape/SFTapeList.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace SF {
namespace {

/// The last use of rows that stay: coordinates and results.
constexpr std::uint32_t Stays = std::numeric_limits<std::uint32_t>::max();

} // namespace

SFPointProgram SFPointProgrammer::Run(SFTape const& iTape)
{
  _tape = &iTape;
  _program = {};
  _program.rows = 3;
  _free.clear();
  FindKnown();
  FindPhases();
  FindOrder();
  for (std::uint32_t position = 0; position < _order.size(); ++position)
    AddStep(_order[position], position);
  for (SFValueId const result : iTape.results) {
    Value const& value = _values[result];
    _program.results.push_back({value.place, value.phase == Phase::Optional ? value.number : SFPointProgram::None});
  }
  return std::move(_program);
}

void SFPointProgrammer::FindKnown()
{
  auto const& instructions = _tape->instructions;
  _values.assign(instructions.size(), {});
  for (SFValueId id = 0; id < instructions.size(); ++id) {
    SFTapeInstruction const& instruction = instructions[id];
    bool const isCoordinate = IsCoordinateCode(instruction.code);
    if (!isCoordinate && instruction.axes != 0)
      continue;
    Value& value = _values[id];
    value.phase = Phase::Known;
    value.lastUse = Stays;
    if (isCoordinate) {
      value.place = static_cast<SFPointProgram::Place>(AxisOf(instruction.code) * SFPointProgram::Stride);
      continue;
    }
    _program.scalars.push_back(ScalarOf(instruction));
    value.place = ~static_cast<SFPointProgram::Place>(_program.scalars.size() - 1);
  }
}

/// Always runs what results and conditions without selections are computed from.
void SFPointProgrammer::FindPhases()
{
  auto const& instructions = _tape->instructions;
  bool hasSelections = false;
  for (SFValueId id = 0; id < instructions.size(); ++id) {
    Value& value = _values[id];
    value.hasSelection = instructions[id].code == SelectCode;
    if (hasSelections)
      ForOperands(instructions[id], [&](SFValueId iOperand) {
        value.hasSelection = value.hasSelection || _values[iOperand].hasSelection;
      });
    hasSelections = hasSelections || value.hasSelection;
  }
  if (!hasSelections) {
    for (Value& value : _values)
      value.phase = value.phase == Phase::Optional ? Phase::Always : value.phase;
    return;
  }
  auto const need = [&](SFValueId iId) {
    if (_values[iId].phase == Phase::Optional && !_values[iId].hasSelection)
      _values[iId].phase = Phase::Always;
  };
  for (SFValueId const result : _tape->results)
    need(result);
  MakeOperandsReady();
  for (SFTapeInstruction const& instruction : instructions)
    if (instruction.code == SelectCode && _values[instruction.operands[0]].phase == Phase::Optional) {
      SFValueId const condition = instruction.operands[0];
      bool isNext = true;
      ForOperands(instructions[condition], [&](SFValueId iOperand) { isNext = isNext && IsReady(iOperand); });
      if (isNext)
        _values[condition].phase = Phase::Condition;
      else
        need(condition);
    }
  for (SFTapeInstruction const& instruction : instructions) // that read the difference itself
    for (std::size_t i = instruction.code == SelectCode ? 1 : 0;
         i < static_cast<std::size_t>(ArityOf(instruction.code)); ++i)
      if (Value& operand = _values[instruction.operands[i]]; operand.phase == Phase::Condition)
        operand.phase = Phase::Always;
  MakeOperandsReady();
}

void SFPointProgrammer::MakeOperandsReady()
{
  for (std::size_t id = _tape->instructions.size(); id-- > 0;)
    if (_values[id].phase == Phase::Always)
      ForOperands(_tape->instructions[id], [&](SFValueId iOperand) {
        if (!IsReady(iOperand))
          _values[iOperand].phase = Phase::Always;
      });
}

/// The order of the steps, and where each value is used last.
void SFPointProgrammer::FindOrder()
{
  std::array<std::size_t, 4> counts{};
  for (Value const& value : _values)
    ++counts[static_cast<std::size_t>(value.phase)];
  _program.steps.reserve(counts[static_cast<std::size_t>(Phase::Always)]);
  _program.optional.reserve(counts[static_cast<std::size_t>(Phase::Optional)]);
  _order.clear();
  for (Phase const phase : {Phase::Always, Phase::Condition, Phase::Optional})
    for (SFValueId id = 0; counts[static_cast<std::size_t>(phase)] != 0 && id < _values.size(); ++id)
      if (_values[id].phase == phase)
        _order.push_back(id);
  for (std::uint32_t position = 0; position < _order.size(); ++position)
    ForOperands(_tape->instructions[_order[position]],
                [&](SFValueId iOperand) { _values[iOperand].lastUse = std::max(_values[iOperand].lastUse, position); });
  for (SFValueId const result : _tape->results)
    _values[result].lastUse = Stays;
}

void SFPointProgrammer::AddStep(SFValueId iId, std::uint32_t iPosition)
{
  SFTapeInstruction const& instruction = _tape->instructions[iId];
  SFPointProgram::Step const step = StepOf(instruction, iId);
  Value& value = _values[iId];
  value.place = step.out;
  if (value.phase == Phase::Condition) {
    value.number = static_cast<std::int32_t>(_program.conditions.size());
    _program.conditions.push_back({step, false});
    return; // what conditions are computed from stays: they are, in any order, before all optional steps
  }
  if (value.phase == Phase::Always)
    _program.steps.push_back(step);
  else {
    value.number = static_cast<std::int32_t>(_program.optional.size());
    AddOptional(instruction, step);
  }
  Free(instruction, iPosition);
}

double SFPointProgrammer::ScalarOf(SFTapeInstruction const& iInstruction) const
{
  auto const operand = [&](std::size_t i) {
    return _program.scalars[static_cast<std::size_t>(~_values[iInstruction.operands[i]].place)];
  };
  if (IsOperatorCode(iInstruction.code))
    return ScalarOps::Apply(SFNodeType{iInstruction.code}, operand(0), operand(1));
  if (iInstruction.code == AngleCode)
    return SFCylindricalTransform::AngleOf(operand(0), operand(1));
  if (iInstruction.code == SelectCode)
    return operand(0) > 0.0 ? operand(1) : operand(2);
  return iInstruction.code == LimitCode ? 0.0 : iInstruction.constant; // points have no domain
}

SFPointProgram::Step SFPointProgrammer::StepOf(SFTapeInstruction const& iInstruction, SFValueId iId)
{
  SFPointProgram::Step step;
  step.id = iId;
  if (_free.empty())
    step.out = static_cast<SFPointProgram::Place>(_program.rows++ * SFPointProgram::Stride);
  else { // before those of the operands are free, as outputs must not overlap them
    step.out = _free.back();
    _free.pop_back();
  }
  auto const arity = static_cast<std::size_t>(ArityOf(iInstruction.code));
  for (std::size_t i = 0; i < 3; ++i)
    step.operands[i] = _values[iInstruction.operands[i < arity ? i : 0]].place;
  if (iInstruction.code != SelectCode) {
    auto const form = !step.Varies(0)   ? SFKernelForm::SecondVaries
                      : !step.Varies(1) ? SFKernelForm::FirstVaries
                                        : SFKernelForm::BothVary;
    step.kernel = _kernels.operators[iInstruction.code][static_cast<std::size_t>(form)];
  }
  return step;
}

void SFPointProgrammer::AddOptional(SFTapeInstruction const& iInstruction, SFPointProgram::Step const& iStep)
{
  SFPointProgram::OptionalStep& optional = _program.optional.emplace_back();
  optional.step = iStep;
  for (std::size_t i = 0; i < static_cast<std::size_t>(ArityOf(iInstruction.code)); ++i) {
    Value const& operand = _values[iInstruction.operands[i]];
    if (operand.phase == Phase::Optional)
      optional.operands[i] = operand.number;
  }
  Value& condition = _values[iInstruction.operands[0]];
  if (iInstruction.code != SelectCode || condition.phase == Phase::Optional || condition.place < 0)
    return;
  if (condition.number == SFPointProgram::None) {
    condition.number = static_cast<std::int32_t>(_program.conditions.size());
    SFPointProgram::Condition& added = _program.conditions.emplace_back();
    added.step.out = condition.place;
    added.step.id = iInstruction.operands[0];
    added.isComputed = true;
  }
  optional.condition = condition.number;
}

/// Gives back the rows of operands that are not used again.
void SFPointProgrammer::Free(SFTapeInstruction const& iInstruction, std::uint32_t iPosition)
{
  ForOperands(iInstruction, [&](SFValueId iOperand) {
    Value& operand = _values[iOperand];
    if (operand.lastUse != iPosition)
      return;
    _free.push_back(operand.place);
    operand.lastUse = Stays; // once, though two operands may be one value
  });
}

} // namespace SF
