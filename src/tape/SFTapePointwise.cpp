// The part of the runner for the instructions that no kernel computes: coordinates, angles, resources and, on tapes
// with derivatives, selections and gradients.

#include "tape/SFTapeRunner.h"

#include <algorithm>
#include <limits>

namespace SF {
namespace {

/// Calls `iCall(a, b, c)` with the operands' values at each point of a box.
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
        iCall(operand(0), operand(1), operand(2));
}

/// Whether the values over a box lie one after the other, x fastest.
bool IsContiguous(SFValueView const& iView, std::array<std::size_t, 3> const& iExtents)
{
  std::size_t stride = 1;
  for (std::size_t axis = 0; axis < 3; ++axis) {
    if (iExtents[axis] > 1 && iView.strides[axis] != static_cast<std::ptrdiff_t>(stride))
      return false;
    stride *= iExtents[axis];
  }
  return iView.data != nullptr;
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
  if (code == ResourceCode)
    return RunResource(iCall, iTile, values);
  ForEachPoint({ViewOf(iCall.operands[0], iTile), ViewOf(iCall.operands[1], iTile), ViewOf(iCall.operands[2], iTile)},
               _plan.shapes[iCall.step.axes].extents,
               [&](double iA, double iB, double iC) { *values++ = iA > 0.0 ? iB : iC; }); // SelectCode
}

/// The points that a resource is asked at, in arrays: where they lie in ones already, those.
ResourceToSF::Points SFTapeRunner::ContiguousPoints(SFTapePlan::PointwiseCall const& iCall, SFTile const& iTile)
{
  SFTapeShape const& shape = _plan.shapes[iCall.step.axes];
  ResourceToSF::Points points{};
  for (std::size_t axis = 0; axis < 3; ++axis) {
    SFValueView const view = ViewOf(iCall.operands[axis], iTile);
    points[axis] = view.data;
    if (IsContiguous(view, shape.extents))
      continue;
    _gathered[axis].resize(shape.volume);
    double* gathered = _gathered[axis].data();
    points[axis] = gathered;
    ForEachPoint({view, {}, {}}, shape.extents, [&](double iCoordinate, double, double) { *gathered++ = iCoordinate; });
  }
  return points;
}

void SFTapeRunner::RunResource(SFTapePlan::PointwiseCall const& iCall, SFTile const& iTile, double* oValues)
{
  ResourceToSF const* const resource = _tape.GetTape().instructions[iCall.step.id].resource;
  resource->GetScalars(_plan.shapes[iCall.step.axes].volume, ContiguousPoints(iCall, iTile), oValues,
                       [this] { return _stop.MustStop(); }); // a host's field may take its time
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

/// A resource gives all components at once, and is asked once: the steps of the other components follow
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
  std::size_t const volume = _plan.shapes[iCall.step.axes].volume;
  for (auto& component : _gradients.components)
    component.resize(volume);
  auto& [x, y, z] = _gradients.components;
  resource->GetGradients(volume, ContiguousPoints(iCall, iTile), {x.data(), y.data(), z.data()},
                         [this] { return _stop.MustStop(); });
  for (auto& component : _gradients.components)
    std::replace(component.begin(), component.end(), ResourceToSF::MissingValue,
                 std::numeric_limits<double>::quiet_NaN());
}

} // namespace SF
