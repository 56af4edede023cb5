// The part of the runner that takes tapes to points instead of grids.

#include "ResourceToSF.h"
#include "tape/SFTapeRunner.h"

#include <algorithm>
#include <limits>

namespace SF {
namespace {

constexpr SFAxes AlongPoints = 1;

bool IsCoordinateCode(SFTapeCode iCode) { return FamilyOf(SFNodeType{iCode}) == SFNodeFamily::Coordinate; }
std::size_t AxisOf(SFTapeCode iCode) { return iCode - CodeOf(SFNodeType::X); }

} // namespace

SFTapeRunner SFTapeRunner::AtPoints(SFTape iTape, std::array<double, ELimitCount> const& iLimits)
{
  for (auto& instruction : iTape.instructions)
    instruction.axes = instruction.axes != 0 ? AlongPoints : SFAxes{0};
  constexpr unsigned int row[3] = {2, 1, 1}; // any number of points, so long as x is an axis
  SFTapeRunner runner(std::move(iTape), SFGrid(row, 0.0, nullptr), iLimits);
  runner.ComputeScalars();
  auto const& instructions = runner._tape.instructions;
  runner._isKept.assign(instructions.size(), Keeping::No);
  runner._list.results = runner._tape.results;
  for (SFValueId id = 0; id < instructions.size(); ++id) {
    auto const& instruction = instructions[id];
    if (IsCoordinateCode(instruction.code)) {
      runner._isKept[id] = Keeping::Stored;
      runner._pointInputs.push_back(id);
    } else if (instruction.axes != 0)
      runner._list.steps.push_back({id, instruction.code, instruction.axes, instruction.operands});
  }
  return runner;
}

void SFTapeRunner::SetPoints(std::array<double const*, 3> const& iCoordinates, SFTapeScratch& ioScratch) const
{
  // Their address changes from call to call, so a plan must look it up: they count as kept for the whole grid.
  for (SFValueId const id : _pointInputs)
    ioScratch.places[id] = {iCoordinates[AxisOf(_tape.instructions[id].code)], {1, 0, 0}, AlongPoints, false};
}

void SFTapeRunner::RunDerivative(SFTapeStep const& iStep, SFTile const& iTile, SFTapeScratch& ioScratch,
                                 double* oValues) const
{
  std::size_t const n = iStep.axes != 0 ? iTile.count[0] : 1;
  if (IsResourceCode(iStep.code)) {
    ComputeGradients(iStep, iTile, ioScratch);
    auto const& component = ioScratch.gradients.components[iStep.code - GradientCode];
    std::copy_n(component.begin(), n, oValues);
    return;
  }
  auto const operand = [&](std::size_t i) { return ioScratch.places[iStep.operands[i]]; };
  auto const [a, b, c] = std::array<SFTapePlace, 3>{operand(0), operand(1), operand(2)};
  std::ptrdiff_t const sa = a.strides[0];
  std::ptrdiff_t const sb = b.strides[0];
  std::ptrdiff_t const sc = c.strides[0];
  for (std::ptrdiff_t i = 0; i < static_cast<std::ptrdiff_t>(n); ++i)
    oValues[i] = a.data[i * sa] > 0.0 ? b.data[i * sb] : c.data[i * sc];
}

/// A resource gives all components at once, and is asked once a point: the steps of the other components follow
/// the first one.
void SFTapeRunner::ComputeGradients(SFTapeStep const& iStep, SFTile const& iTile, SFTapeScratch& ioScratch) const
{
  auto& cache = ioScratch.gradients;
  ResourceToSF const* const resource = _tape.instructions[iStep.id].resource;
  if (cache.known && _tape.instructions[cache.step.id].resource == resource && cache.step.operands == iStep.operands)
    return;
  cache.step = iStep;
  cache.known = true;
  for (auto& component : cache.components)
    component.assign(iTile.count[0], std::numeric_limits<double>::quiet_NaN());
  auto const coordinate = [&](std::size_t iAxis, std::size_t i) {
    auto const& place = ioScratch.places[iStep.operands[iAxis]];
    return place.data[place.strides[0] * static_cast<std::ptrdiff_t>(i)];
  };
  for (std::size_t i = 0; i < iTile.count[0]; ++i) {
    if (ioScratch.MustStop())
      return;
    double gradient[3] = {};
    if (Failed(resource->GetGradient(gradient, {coordinate(0, i), coordinate(1, i), coordinate(2, i)})))
      continue;
    for (std::size_t axis = 0; axis < 3; ++axis)
      if (gradient[axis] != ResourceToSF::MissingValue)
        cache.components[axis][i] = gradient[axis];
  }
}

} // namespace SF
