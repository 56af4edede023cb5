#include "tape/SFDirectPoints.h"

#include "SFCylindricalTransform.h"
#include "operators/SFScalarOps.h"

#include <algorithm>
#include <limits>

namespace SF {
namespace {

/// The last use of results; coordinates stay as well.
constexpr std::uint32_t ByCaller = std::numeric_limits<std::uint32_t>::max();

} // namespace

bool SFDirectPoints::CanRun(SFTape const& iTape)
{
  return iTape.instructions.size() <= MostInstructions &&
         std::none_of(iTape.instructions.begin(), iTape.instructions.end(),
                      [](SFTapeInstruction const& iInstruction) { return IsResourceCode(iInstruction.code); });
}

double* SFDirectPoints::TakeRow()
{
  if (_free.empty())
    return AddRow();
  double* const row = _free.back();
  _free.pop_back();
  return row;
}

double* SFDirectPoints::AddRow()
{
  if (_usedRows == _rows.size())
    _rows.emplace_back(BatchSize);
  return _rows[_usedRows++].get();
}

void SFDirectPoints::FindLastUses(SFTape const& iTape)
{
  auto const& instructions = iTape.instructions;
  _operands.assign(instructions.size(), {});
  for (SFValueId id = 0; id < instructions.size(); ++id)
    for (std::size_t i = 0; i < static_cast<std::size_t>(ArityOf(instructions[id].code)); ++i)
      _operands[instructions[id].operands[i]].lastUse = id;
  for (SFValueId const result : iTape.results)
    _operands[result].lastUse = ByCaller;
}

void SFDirectPoints::Bind(std::shared_ptr<SFTape const> const& iTape)
{
  if (iTape != _tape)
    BindAnew(*iTape);
  _tape = iTape;
}

void SFDirectPoints::BindAnew(SFTape const& iTape)
{
  FindLastUses(iTape);
  _scalars.resize(std::max(_scalars.size(), iTape.instructions.size()));
  _steps.clear();
  _free.clear();
  _usedRows = 0;
  for (double*& coordinate : _coordinates)
    coordinate = TakeRow();
  for (SFValueId id = 0; id < iTape.instructions.size(); ++id) {
    SFTapeInstruction const& instruction = iTape.instructions[id];
    if (IsCoordinateCode(instruction.code))
      _operands[id] = {_coordinates[AxisOf(instruction.code)], nullptr, ByCaller};
    else if (instruction.axes == 0)
      BindScalar(instruction, id);
    else
      BindStep(instruction, id);
  }
}

/// A value without axes.
void SFDirectPoints::BindScalar(SFTapeInstruction const& iInstruction, SFValueId iId)
{
  auto const operand = [&](std::size_t i) { return _scalars[iInstruction.operands[i]]; };
  double& value = _scalars[iId];
  _operands[iId].scalar = &value;
  if (IsOperatorCode(iInstruction.code))
    value = ScalarOps::Apply(SFNodeType{iInstruction.code}, operand(0), operand(1));
  else if (iInstruction.code == AngleCode)
    value = SFCylindricalTransform::AngleOf(operand(0), operand(1));
  else if (iInstruction.code == SelectCode)
    value = operand(0) > 0.0 ? operand(1) : operand(2);
  else
    value = iInstruction.code == LimitCode ? 0.0 : iInstruction.constant; // points have no domain
}

void SFDirectPoints::BindStep(SFTapeInstruction const& iInstruction, SFValueId iId)
{
  Step& step = _steps.emplace_back();
  step.out = TakeRow(); // before those of the operands are free, as outputs must not overlap them
  _operands[iId].row = step.out;
  auto const arity = static_cast<std::size_t>(ArityOf(iInstruction.code));
  for (std::size_t i = 0; i < 3; ++i) {
    Operand const& operand = _operands[iInstruction.operands[i < arity ? i : 0]];
    step.varies[i] = operand.row != nullptr;
    step.operands[i] = operand.row != nullptr ? operand.row : operand.scalar;
  }
  if (iInstruction.code == SelectCode)
    step.kernel = nullptr;
  else {
    auto const form = !step.varies[0]   ? SFKernelForm::SecondVaries
                      : !step.varies[1] ? SFKernelForm::FirstVaries
                                        : SFKernelForm::BothVary;
    step.kernel = _kernels.operators[iInstruction.code][static_cast<std::size_t>(form)];
  }
  for (std::size_t i = 0; i < arity; ++i) {
    Operand& operand = _operands[iInstruction.operands[i]];
    if (operand.row != nullptr && operand.lastUse == iId) {
      _free.push_back(operand.row);
      operand.lastUse = ByCaller; // once, though both operands may be one value
    }
  }
}

/// Selections have no kernel of their own.
void SFDirectPoints::Select(Step const& iStep, std::size_t iCount) const
{
  std::array<SFFusedOp, 2> const ops{{{SFConditionCode, false, iStep.varies[0], {iStep.operands[0], 0, 0}},
                                      {SelectCode, false, iStep.varies[2], {iStep.operands[2], 0, 0}}}};
  SFFusedBox box;
  box.n0 = iCount;
  box.first = {iStep.operands[1], 0, 0};
  box.firstVaries = iStep.varies[1];
  box.ops = ops.data();
  box.opCount = ops.size();
  box.out = iStep.out;
  _kernels.fused(box);
}

void SFDirectPoints::Run(std::size_t iCount, std::array<double const*, 3> const& iPoints)
{
  // Rows that are shorter than the kernels like are filled up with the last point.
  std::size_t const count = std::max(iCount, SFShortestRow);
  for (std::size_t axis = 0; axis < 3; ++axis)
    std::fill(std::copy_n(iPoints[axis], iCount, _coordinates[axis]), _coordinates[axis] + count,
              iPoints[axis][iCount - 1]);
  for (Step const& step : _steps)
    if (step.kernel == nullptr)
      Select(step, count);
    else
      step.kernel({step.out, count, 1, 1, {step.operands[0], 0, 0}, {step.operands[1], 0, 0}});
}

double const* SFDirectPoints::Row(std::size_t iResult)
{
  Operand& result = _operands[_tape->results[iResult]];
  if (result.row == nullptr) {
    result.row = AddRow(); // which no step writes to
    std::fill_n(result.row, BatchSize, *result.scalar);
  }
  return result.row;
}

} // namespace SF
