// The part of the runner for the instructions that no kernel computes: coordinates, angles, resources and, on tapes
// with derivatives, selections and gradients.

#include "ResourceToSF.h"
#include "tape/SFTapeRunner.h"

#include <algorithm>
#include <limits>

namespace SF {
namespace {

/// Calls `iCall(a, b, c)` with the operands' values at each point of a box, until it returns false.
template <class Call>
void ForEachPoint(std::array<SFValueView, 3> const& iOperands, std::array<std::size_t, 3> const& iExtents, Call iCall)
{
  std::array<std::ptrdiff_t, 3> at{};
  auto const end = [&](std::size_t iAxis) { return static_cast<std::ptrdiff_t>(iExtents[iAxis]); };
  auto const operand = [&](std::size_t i) {
    auto const& [data, strides, axes] = iOperands[i];
    return data == nullptr ? 0.0 : data[strides[0] * at[0] + strides[1] * at[1] + strides[2] * at[2]];
  };
  for (at[2] = 0; at[2] < end(2); ++at[2])
    for (at[1] = 0; at[1] < end(1); ++at[1])
      for (at[0] = 0; at[0] < end(0); ++at[0])
        if (!iCall(operand(0), operand(1), operand(2)))
          return;
}

} // namespace

void SFTapeRunner::RunPointwise(SFTapePlan::PointwiseCall const& iCall, SFTile const& iTile)
{
  double* values = Output(iCall.out, iTile);
  SFTapeCode const code = iCall.step.code;
  if (IsCoordinateCode(code))
    return RunCoordinate(iCall, iTile, values);
  if (IsResourceCode(code) && code != ResourceCode)
    return RunGradient(iCall, iTile, values);
  ResourceToSF const* const resource = _tape.GetTape().instructions[iCall.step.id].resource;
  ForEachPoint({ViewOf(iCall.operands[0], iTile), ViewOf(iCall.operands[1], iTile), ViewOf(iCall.operands[2], iTile)},
               _plan.shapes[iCall.step.axes].extents, [&](double iA, double iB, double iC) {
                 if (code == ResourceCode) {
                   if (_stop.MustStop()) // a host's field may take its time
                     return false;
                   *values++ = resource->GetScalar({iA, iB, iC});
                 } else // SelectCode
                   *values++ = iA > 0.0 ? iB : iC;
                 return true;
               });
}

void SFTapeRunner::RunCoordinate(SFTapePlan::PointwiseCall const& iCall, SFTile const& iTile, double* oValues) const
{
  std::size_t const axis = AxisOf(iCall.step.code);
  for (unsigned int i = 0; i < iTile.count[axis]; ++i)
    oValues[i] = _tape.Coordinate(axis, iTile.begin[axis] + i);
}

void SFTapeRunner::RunGradient(SFTapePlan::PointwiseCall const& iCall, SFTile const& iTile, double* oValues)
{
  ComputeGradients(iCall, iTile);
  auto const& component = _gradients.components[iCall.step.code - GradientCode];
  std::copy_n(component.begin(), _plan.shapes[iCall.step.axes].volume, oValues);
}

/// A resource gives all components at once, and is asked once a point: the steps of the other components follow
/// the first one.
void SFTapeRunner::ComputeGradients(SFTapePlan::PointwiseCall const& iCall, SFTile const& iTile)
{
  auto const& instructions = _tape.GetTape().instructions;
  ResourceToSF const* const resource = instructions[iCall.step.id].resource;
  if (_gradients.known && instructions[_gradients.step.id].resource == resource &&
      _gradients.step.operands == iCall.step.operands)
    return;
  _gradients.step = iCall.step;
  _gradients.known = true;
  auto const& extents = _plan.shapes[iCall.step.axes].extents;
  for (auto& component : _gradients.components)
    component.assign(extents[0] * extents[1] * extents[2], std::numeric_limits<double>::quiet_NaN());
  std::size_t at = 0;
  ForEachPoint({ViewOf(iCall.operands[0], iTile), ViewOf(iCall.operands[1], iTile), ViewOf(iCall.operands[2], iTile)},
               extents, [&](double iA, double iB, double iC) {
                 if (_stop.MustStop())
                   return false;
                 double gradient[3] = {};
                 bool const isKnown = Succeeded(resource->GetGradient(gradient, {iA, iB, iC}));
                 for (std::size_t axis = 0; axis < 3; ++axis)
                   if (isKnown && gradient[axis] != ResourceToSF::MissingValue)
                     _gradients.components[axis][at] = gradient[axis];
                 ++at;
                 return true;
               });
}

} // namespace SF
