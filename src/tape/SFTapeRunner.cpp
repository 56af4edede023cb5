#include "tape/SFTapeRunner.h"

namespace SF {

void SFTapeRunner::SetTarget(SFFloatTarget const& iTarget)
{
  if ((_target.floats == nullptr) != (iTarget.floats == nullptr))
    _plan.count = {};
  _target = iTarget;
}

void SFTapeRunner::Plan(SFTapeList const& iList, std::array<unsigned int, 3> const& iCount)
{
  if (_hoisted != nullptr)
    _planner.PlanHoisted(iList, iCount, _plan);
  else
    _planner.PlanTiles(iList, iCount, _target.floats != nullptr, _plan);
  BindSlots();
  _mostPlanned = iCount[0];
}

/// At points every array is one row, of one value or of one for each point; only the lengths of the rows differ.
bool SFTapeRunner::Recount(unsigned int iCount)
{
  if (iCount == _plan.count[0])
    return true;
  if (iCount < SFShortestRow || _plan.count[0] < SFShortestRow || iCount > _mostPlanned)
    return false;
  auto const recount = [&](std::size_t& ioLength) { ioLength = ioLength == 1 ? 1 : iCount; };
  for (auto& call : _plan.kernelCalls)
    recount(call.box.n0);
  for (auto& call : _plan.fusedCalls)
    recount(call.box.n0);
  _plan.count = {iCount, 1, 1};
  _plan.shapes = ShapesOf(_plan.count);
  return true;
}

/// Finds memory for the slots of the plan.
void SFTapeRunner::BindSlots()
{
  std::array<std::size_t, 8> used{};
  _slots.clear();
  for (SFAxes const axes : _plan.slots) {
    Pool& pool = _pools[axes];
    std::size_t const volume = _plan.shapes[axes].volume;
    if (pool.length < volume) {
      pool.buffers.clear();
      pool.length = volume;
    }
    if (used[axes] == pool.buffers.size())
      pool.buffers.emplace_back(SFValueBuffer::Stride(pool.length));
    _slots.push_back(pool.buffers[used[axes]++].get());
  }
}

double const* SFTapeRunner::Input(SFArrayRef iArray, SFTile const& iTile) const
{
  switch (iArray.kind) {
  case SFArrayRef::Kind::Slot:
    return _slots[iArray.index];
  case SFArrayRef::Kind::Scalar:
    return _tape.GetViews()[iArray.index].data;
  case SFArrayRef::Kind::Grid:
    return _tape.GetViews()[iArray.index].At(iTile);
  case SFArrayRef::Kind::Point:
    return _points[iArray.index];
  case SFArrayRef::Kind::None:
    break;
  }
  return nullptr;
}

double* SFTapeRunner::Output(SFArrayRef iArray, SFTile const& iTile) const
{
  if (iArray.kind == SFArrayRef::Kind::Slot)
    return _slots[iArray.index];
  return _hoisted + (Input(iArray, iTile) - _hoisted);
}

void SFTapeRunner::RunTile(SFTile const& iTile)
{
  _gradients.known = false;
  for (SFTapePlan::Call const call : _plan.calls) {
    if (_stop.MustStop())
      return;
    switch (call.kind) {
    case SFTapePlan::CallKind::Kernel:
      RunKernel(_plan.kernelCalls[call.number], iTile);
      break;
    case SFTapePlan::CallKind::Fused:
      RunFused(_plan.fusedCalls[call.number], iTile);
      break;
    case SFTapePlan::CallKind::Pointwise:
      RunPointwise(_plan.pointwiseCalls[call.number], iTile);
      break;
    }
  }
}

void SFTapeRunner::RunKernel(SFTapePlan::KernelCall& ioCall, SFTile const& iTile)
{
  ioCall.box.out = Output(ioCall.out, iTile);
  ioCall.box.a.data = Input(ioCall.a, iTile);
  ioCall.box.b.data = Input(ioCall.b, iTile);
  ioCall.kernel(ioCall.box);
}

void SFTapeRunner::RunFused(SFTapePlan::FusedCall& ioCall, SFTile const& iTile)
{
  SFFusedBox& box = ioCall.box;
  box.first.data = Input(ioCall.first, iTile);
  for (std::size_t l = ioCall.firstOp; l < ioCall.firstOp + box.opCount; ++l)
    _plan.ops[l].operand.data = Input(_plan.opArrays[l], iTile);
  box.ops = &_plan.ops[ioCall.firstOp];
  if (ioCall.out.kind != SFArrayRef::Kind::None)
    box.out = Output(ioCall.out, iTile);
  else {
    box.floats =
        _target.floats + _tape.GetGrid().Index(iTile.begin[0], iTile.begin[1], iTile.begin[2] - _target.firstSlice);
    box.clamps = _target.clamps;
    box.diagonal = _target.diagonal;
    box.streams = _target.streams;
  }
  _tape.GetKernels().fused(box);
}

double const* SFTapeRunner::ResultRow(std::size_t iResult, SFTile const& iTile, unsigned int iJ, unsigned int iK)
{
  SFValueView const view = Result(iResult, iTile);
  double const* const first =
      view.data + view.strides[1] * static_cast<std::ptrdiff_t>(iJ) + view.strides[2] * static_cast<std::ptrdiff_t>(iK);
  if (view.strides[0] != 0)
    return first;
  _rows.resize(_plan.results.size());
  auto& row = _rows[iResult];
  row.assign(iTile.count[0], *first);
  return row.data();
}

} // namespace SF
