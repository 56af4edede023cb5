#include "tape/SFDirectPoints.h"

#include <algorithm>
#include <bit>
#include <functional>

namespace SF {

bool SFDirectPoints::CanRun(SFTape const& iTape, bool iHasDerivatives)
{
  return iTape.instructions.size() <= (iHasDerivatives ? MostWithDerivatives : MostInstructions) &&
         !HasResources(iTape);
}

void SFDirectPoints::Bind(SFPointProgram const& iProgram)
{
  _program = &iProgram;
  std::size_t const before = SFValueBuffer::Stride(iProgram.scalars.size());
  if (std::size_t const size = before + iProgram.rows * SFPointProgram::Stride; size > _size) {
    _size = size + size / 2;
    _room = SFValueBuffer(_size);
    std::fill_n(_room.get(), _size, 0.0); // selections read rows of steps that did not run
  }
  _base = _room.get() + before;
  std::reverse_copy(iProgram.scalars.begin(), iProgram.scalars.end(), _base - iProgram.scalars.size());
  _scalarRows.resize(iProgram.results.size());
}

void SFDirectPoints::Call(SFPointProgram::Step const& iStep, std::size_t iCount) const
{
  if (iStep.kernel == nullptr)
    return Select(iStep, iCount);
  iStep.kernel({At(iStep.out), iCount, 1, 1, {At(iStep.operands[0]), 0, 0}, {At(iStep.operands[1]), 0, 0}});
}

/// Selections have no kernel of their own.
void SFDirectPoints::Select(SFPointProgram::Step const& iStep, std::size_t iCount) const
{
  std::array<SFFusedOp, 2> const ops{{{SFConditionCode, false, iStep.Varies(0), {At(iStep.operands[0]), 0, 0}},
                                      {SelectCode, false, iStep.Varies(2), {At(iStep.operands[2]), 0, 0}}}};
  SFFusedBox box;
  box.n0 = iCount;
  box.first = {At(iStep.operands[1]), 0, 0};
  box.firstVaries = iStep.Varies(1);
  box.ops = ops.data();
  box.opCount = ops.size();
  box.out = At(iStep.out);
  _kernels.fused(box);
}

void SFDirectPoints::Run(std::size_t iCount, std::array<double const*, 3> const& iPoints, SFProgramPart const* iPart,
                         bool iHasOptional)
{
  // Rows that are shorter than the kernels like are filled up with the last point.
  std::size_t const count = std::max(iCount, SFShortestRow);
  for (std::size_t axis = 0; axis < 3; ++axis) {
    double* const row = _base + axis * SFPointProgram::Stride;
    std::fill(std::copy_n(iPoints[axis], iCount, row), row + count, iPoints[axis][iCount - 1]);
  }
  if (iPart != nullptr) {
    RunPart(*iPart, count);
    _taken = iPart->taken;
  } else {
    for (SFPointProgram::Step const& step : _program->steps)
      Call(step, count);
    _taken.assign(_program->conditions.size(), SFProgramPart::Unknown);
  }
  if (iHasOptional && !_program->optional.empty())
    RunOptional(count);
}

void SFDirectPoints::RunPart(SFProgramPart const& iPart, std::size_t iCount) const
{
  for (auto const [number, action] : iPart.steps) {
    SFPointProgram::Step const& step = _program->steps[number];
    switch (action) {
    case SFProgramPart::Action::Run:
      Call(step, iCount);
      break;
    case SFProgramPart::Action::First:
      Copy(step.operands[0], step.out, iCount);
      break;
    case SFProgramPart::Action::Second:
      Copy(step.operands[1], step.out, iCount);
      break;
    case SFProgramPart::Action::NegatedSecond:
      Copy(step.operands[1], step.out, iCount);
      std::transform(At(step.out), At(step.out) + iCount, At(step.out), std::negate<double>());
      break;
    case SFProgramPart::Action::One:
    case SFProgramPart::Action::MinusOne:
      std::fill_n(At(step.out), iCount, action == SFProgramPart::Action::One ? 1.0 : -1.0);
      break;
    }
  }
}

void SFDirectPoints::Copy(Place iFrom, Place iTo, std::size_t iCount) const
{
  if (iFrom >= 0)
    std::copy_n(At(iFrom), iCount, At(iTo));
  else
    std::fill_n(At(iTo), iCount, *At(iFrom));
}

void SFDirectPoints::Demand(std::int32_t iStep)
{
  if (iStep != SFPointProgram::None)
    _demanded[static_cast<std::size_t>(iStep) / 64] |= std::uint64_t{1} << (iStep % 64);
}

/// Asks for the steps against their order, then runs them along it.
void SFDirectPoints::RunOptional(std::size_t iCount)
{
  _demanded.assign(_program->optional.size() / 64 + 1, 0);
  for (SFPointProgram::Result const& result : _program->results)
    Demand(result.step);
  for (std::size_t word = _demanded.size(); word-- > 0;)
    for (std::uint64_t left = _demanded[word]; left != 0;) {
      auto const bit = static_cast<std::size_t>(63 - std::countl_zero(left));
      SFPointProgram::OptionalStep const& step = _program->optional[64 * word + bit];
      unsigned int const taken =
          step.condition != SFPointProgram::None ? TakenBy(step.condition, iCount) : unsigned{SFProgramPart::Both};
      Demand(step.operands[0]);
      if ((taken & SFProgramPart::First) != 0)
        Demand(step.operands[1]);
      if ((taken & SFProgramPart::Second) != 0)
        Demand(step.operands[2]);
      left = _demanded[word] & ((std::uint64_t{1} << bit) - 1); // operands come first
    }
  for (std::size_t word = 0; word < _demanded.size(); ++word)
    for (std::uint64_t left = _demanded[word]; left != 0; left &= left - 1)
      RunOptional(_program->optional[64 * word + static_cast<std::size_t>(std::countr_zero(left))], iCount);
}

void SFDirectPoints::RunOptional(SFPointProgram::OptionalStep const& iStep, std::size_t iCount) const
{
  unsigned int const taken = iStep.condition != SFPointProgram::None ? _taken[static_cast<std::size_t>(iStep.condition)]
                                                                     : unsigned{SFProgramPart::Both};
  if (taken == SFProgramPart::Both)
    return Call(iStep.step, iCount);
  Copy(iStep.step.operands[taken == SFProgramPart::First ? 1 : 2], iStep.step.out, iCount);
}

unsigned int SFDirectPoints::TakenBy(std::int32_t iCondition, std::size_t iCount)
{
  auto const number = static_cast<std::size_t>(iCondition);
  if (_taken[number] != SFProgramPart::Unknown)
    return _taken[number];
  SFPointProgram::Condition const& condition = _program->conditions[number];
  if (!condition.isComputed)
    Call(condition.step, iCount);
  double const* const values = At(condition.step.out);
  std::size_t above = 0;
  for (std::size_t i = 0; i < iCount; ++i)
    above += values[i] > 0.0 ? 1U : 0U;
  _taken[number] = static_cast<std::uint8_t>((above != 0 ? SFProgramPart::First : 0) |
                                             (above != iCount ? SFProgramPart::Second : 0));
  return _taken[number];
}

double const* SFDirectPoints::Row(std::size_t iResult)
{
  Place const place = _program->results[iResult].place;
  if (place >= 0)
    return At(place);
  _scalarRows[iResult].fill(*At(place));
  return _scalarRows[iResult].data();
}

} // namespace SF
