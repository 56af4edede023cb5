#include "tape/SFTapePlanner.h"

#include "tape/SFLoopNest.h"

#include <algorithm>
#include <span>

namespace SF {
namespace {

/// A row of a fused group that is shorter than this costs more than the memory traffic that fusing saves.
constexpr std::size_t WorthFusing = 64;

bool IsUnary(SFTapeStep const& iStep) { return ArityOf(iStep.code) == 1; }

} // namespace

/// Steps of a group that one kernel call computes: what each does to the value in the registers.
class SFTapePlanner::FusedCall
{
public:
  struct Op
  {
    SFTapeCode code = 0;
    bool swapped = false;
    SFPlannedValue const* operand = nullptr;
  };
  /// How much of the group the call computes.
  struct Extent
  {
    SFTapeStep const* last = nullptr;
    SFTapeStep const* second = nullptr; ///< whose value is in the second register
    std::size_t steps = 0;
    std::size_t ops = 0;
    std::size_t operands = 0;
  };

  FusedCall(std::vector<SFPlannedValue> const& iValues, SFAxes iAxes, SFTapeShape const& iShape)
    : _values(iValues), _axes(iAxes), _shape(iShape)
  {
  }

  Extent const& Reach() const { return _reach; }
  void CutTo(Extent const& iReach) { _reach = iReach; }
  std::span<Op const> Ops() const { return {_ops.data(), _reach.ops}; }
  /// The first operand, those of the ops, the target.
  std::span<SFPlannedValue const* const> Operands() const { return {_operands.data(), _reach.operands}; }

  /// Whether rows are long enough, for all operands.
  bool HasLongRows()
  {
    if (_isChecked)
      return true;
    std::size_t const row = SFLoopNest(_axes, _shape, Operands()).Counts()[0];
    _isChecked = row >= WorthFusing || (row == _shape.volume && row >= SFShortestRow);
    return _isChecked;
  }

  /// False when there is no more room.
  bool Add(SFTapeStep const& iStep)
  {
    if (_reach.ops + 3 > SFMaxFusedOps)
      return false;
    std::size_t const lhs = iStep.code == SelectCode ? 1 : 0; // its first operand is the condition
    std::size_t const rhs = lhs + 1;
    auto const isIn = [&](SFTapeStep const* iOther, std::size_t iOperand) {
      return iOther != nullptr && iOther->id == iStep.operands[iOperand];
    };
    bool const unary = IsUnary(iStep);
    bool const swapped = !unary && isIn(_reach.last, rhs);
    if (swapped || isIn(_reach.last, lhs)) {
      std::size_t const other = swapped ? lhs : rhs;
      bool const takesSecond = !unary && isIn(_reach.second, other);
      AddStep(iStep, swapped, unary || takesSecond ? nullptr : &_values[iStep.operands[other]]);
      _reach.second = takesSecond ? nullptr : _reach.second;
    } else {
      if (_reach.last == nullptr)
        AddOperand(_values[iStep.operands[lhs]]);
      else
        AddOp(SFSpillCode, false, &_values[iStep.operands[lhs]]);
      _reach.second = _reach.last;
      AddStep(iStep, false, unary ? nullptr : &_values[iStep.operands[rhs]]);
    }
    _reach.last = &iStep;
    ++_reach.steps;
    return true;
  }

  void AddOperand(SFPlannedValue const& iValue)
  {
    // One that lies like the values that are computed shortens no row.
    _isChecked = _isChecked && SFLoopNest::IsContiguous(iValue, _axes);
    _operands[_reach.operands++] = &iValue;
  }

private:
  void AddStep(SFTapeStep const& iStep, bool iSwapped, SFPlannedValue const* iOperand)
  {
    if (iStep.code == SelectCode)
      AddOp(SFConditionCode, false, &_values[iStep.operands[0]]);
    AddOp(iStep.code, iSwapped, iOperand);
  }

  void AddOp(SFTapeCode iCode, bool iSwapped, SFPlannedValue const* iOperand)
  {
    _ops[_reach.ops++] = {iCode, iSwapped, iOperand};
    if (iOperand != nullptr)
      AddOperand(*iOperand);
  }

  std::vector<SFPlannedValue> const& _values;
  SFAxes _axes;
  SFTapeShape const& _shape;
  bool _isChecked = false; ///< the rows are known to be long enough
  Extent _reach;
  std::array<Op, SFMaxFusedOps> _ops;
  std::array<SFPlannedValue const*, SFMaxFusedOps + 2> _operands;
};

SFTapePlanner::SFTapePlanner(SFTapeInvariants const& iTape)
  : _tape(iTape), _fusion(iTape), _values(iTape.GetViews().size()), _slotOf(iTape.GetViews().size(), NoSlot)
{
  auto const& dims = iTape.GetGrid().dims;
  auto const row = static_cast<std::ptrdiff_t>(dims[0]);
  _target = {{SFArrayRef::Kind::Grid, 0}, {1, row, row * static_cast<std::ptrdiff_t>(dims[1])}, AllAxes};
  auto const& instructions = iTape.GetTape().instructions;
  for (SFValueId id = 0; id < _values.size(); ++id) {
    SFValueView const& view = iTape.GetViews()[id];
    SFArrayRef array{view.axes == 0 ? SFArrayRef::Kind::Scalar : SFArrayRef::Kind::Grid, id};
    if (iTape.IsAtPoints() && view.axes != 0)
      array = {SFArrayRef::Kind::Point, static_cast<std::uint32_t>(AxisOf(instructions[id].code))};
    _values[id] = {array, view.strides, view.axes};
  }
}

void SFTapePlanner::PlanTiles(SFTapeList const& iList, std::array<unsigned int, 3> const& iCount, bool iHasTarget,
                              SFTapePlan& oPlan)
{
  Begin(iList, iCount, oPlan);
  _hasTarget = iHasTarget;
  _isHoisting = false;
  _fusion.FindGroups(iList, oPlan.shapes);
  for (std::uint32_t at = 0; at < iList.steps.size(); ++at)
    if (!_tape.IsHoisted(iList.steps[at].id) && _fusion.EndsGroup(at))
      PlanGroup(at);
  End();
}

void SFTapePlanner::PlanHoisted(SFTapeList const& iList, std::array<unsigned int, 3> const& iCount, SFTapePlan& oPlan)
{
  Begin(iList, iCount, oPlan);
  _hasTarget = false;
  _isHoisting = true;
  _fusion.SeparateSteps(iList);
  for (std::uint32_t at = 0; at < iList.steps.size(); ++at) {
    PlanStep(iList.steps[at]);
    ReleaseOperands(iList.steps[at], at);
  }
  End();
}

void SFTapePlanner::Begin(SFTapeList const& iList, std::array<unsigned int, 3> const& iCount, SFTapePlan& oPlan)
{
  _list = &iList;
  _plan = &oPlan;
  oPlan.calls.clear();
  oPlan.kernelCalls.clear();
  oPlan.fusedCalls.clear();
  oPlan.pointwiseCalls.clear();
  oPlan.ops.clear();
  oPlan.opArrays.clear();
  oPlan.slots.clear();
  oPlan.results.clear();
  oPlan.storesResult = false;
  if (!SameSize(oPlan.count, iCount))
    oPlan.shapes = ShapesOf(iCount);
  oPlan.count = iCount;
  for (auto& slots : _freeSlots)
    slots.clear();
}

void SFTapePlanner::End()
{
  for (SFValueId const result : _list->results) {
    _plan->results.push_back(_values[result]);
    _slotOf[result] = NoSlot;
  }
}

// ---- calls ----------------------------------------------------------------------------------------------------

/// Plans the group that ends with a step: by one call, or by several where the rows would become too short.
void SFTapePlanner::PlanGroup(std::uint32_t iEnd)
{
  auto const& group = _fusion.GroupAt(*_list, iEnd);
  for (std::size_t from = 0; from < group.size();)
    from = PlanCall(group, from);
  for (std::uint32_t const at : group)
    ReleaseOperands(_list->steps[at], iEnd);
}

/// Plans the steps of a group from one on, as many as one call can compute. Returns which step is the next.
std::size_t SFTapePlanner::PlanCall(std::vector<std::uint32_t> const& iGroup, std::size_t iFrom)
{
  auto const& steps = _list->steps;
  SFTapeStep const& first = steps[iGroup[iFrom]];
  SFTapeShape const& shape = _plan->shapes[first.axes];
  if (!IsFusable(first.code) || shape.volume < SFShortestRow) {
    PlanStep(first);
    return iFrom + 1;
  }
  FusedCall call(_values, first.axes, shape);
  call.Add(first);
  FusedCall::Extent reach = call.Reach();
  for (std::size_t to = iFrom + 1; to < iGroup.size() && call.HasLongRows(); ++to) {
    if (!call.Add(steps[iGroup[to]]) || !call.HasLongRows())
      break;
    if (call.Reach().second == nullptr)
      reach = call.Reach();
  }
  call.CutTo(reach);

  bool stores = _hasTarget && iFrom + reach.steps == iGroup.size() && IsOnlyResult(*reach.last);
  if (stores) {
    call.AddOperand(_target);
    stores = call.HasLongRows();
    if (!stores)
      call.CutTo(reach);
  }
  if (reach.steps == 1 && !stores && (first.code != SelectCode || !call.HasLongRows()))
    PlanStep(first); // a selection has no kernel of its own
  else
    PlanFused(call, stores);
  return iFrom + reach.steps;
}

/// Whether a value is the one result, which nothing else reads, with all axes of the grid.
bool SFTapePlanner::IsOnlyResult(SFTapeStep const& iStep) const
{
  return _list->results.size() == 1 && _list->results[0] == iStep.id && _fusion.UsesOf(iStep.id) == 1 &&
         iStep.axes == _tape.GetAxes();
}

void SFTapePlanner::PlanFused(FusedCall const& iCall, bool iStores)
{
  SFTapeStep const& last = *iCall.Reach().last;
  SFPlannedValue const& first = *iCall.Operands()[0];
  SFLoopNest const loops(last.axes, _plan->shapes[last.axes], iCall.Operands());
  _plan->calls.push_back({SFTapePlan::CallKind::Fused, static_cast<std::uint32_t>(_plan->fusedCalls.size())});
  SFTapePlan::FusedCall& call = _plan->fusedCalls.emplace_back();
  call.firstOp = _plan->ops.size();
  for (FusedCall::Op const& op : iCall.Ops()) {
    SFFusedOp& planned = _plan->ops.emplace_back(SFFusedOp{op.code, op.swapped, false, {}});
    if (op.operand != nullptr) {
      planned.varies = loops.Varies(*op.operand);
      planned.operand = loops.Operand(*op.operand);
    }
    _plan->opArrays.push_back(op.operand != nullptr ? op.operand->array : SFArrayRef{});
  }
  auto const& [n0, n1, n2] = loops.Counts();
  call.box.n0 = n0;
  call.box.n1 = n1;
  call.box.n2 = n2;
  call.first = first.array;
  call.box.first = loops.Operand(first);
  call.box.firstVaries = loops.Varies(first);
  call.box.opCount = iCall.Ops().size();
  if (iStores) {
    call.box.s1 = loops.Stride(_target, 1);
    call.box.s2 = loops.Stride(_target, 2);
    _plan->storesResult = true;
  } else
    call.out = OutputOf(last);
}

void SFTapePlanner::PlanStep(SFTapeStep const& iStep)
{
  if (!IsOperatorCode(iStep.code) && iStep.code != AngleCode)
    return PlanPointwise(iStep);
  SFPlannedValue const& a = _values[iStep.operands[0]];
  SFPlannedValue const& b = _values[iStep.operands[1]];
  std::array<SFPlannedValue const*, 2> const operands{&a, &b};
  SFLoopNest const loops(iStep.axes, _plan->shapes[iStep.axes], operands);
  auto const form = !loops.Varies(a)   ? SFKernelForm::SecondVaries
                    : !loops.Varies(b) ? SFKernelForm::FirstVaries
                                       : SFKernelForm::BothVary;
  SFKernel const kernel = _tape.GetKernels().operators[iStep.code][static_cast<std::size_t>(form)];
  auto const& [n0, n1, n2] = loops.Counts();
  SFKernelBox const box{nullptr, n0, n1, n2, loops.Operand(a), loops.Operand(b)};
  _plan->calls.push_back({SFTapePlan::CallKind::Kernel, static_cast<std::uint32_t>(_plan->kernelCalls.size())});
  _plan->kernelCalls.push_back({kernel, box, OutputOf(iStep), a.array, b.array});
}

void SFTapePlanner::PlanPointwise(SFTapeStep const& iStep)
{
  _plan->calls.push_back({SFTapePlan::CallKind::Pointwise, static_cast<std::uint32_t>(_plan->pointwiseCalls.size())});
  SFTapePlan::PointwiseCall& call = _plan->pointwiseCalls.emplace_back();
  call.step = iStep;
  for (std::size_t i = 0; i < static_cast<std::size_t>(ArityOf(iStep.code)); ++i)
    call.operands[i] = _values[iStep.operands[i]];
  call.out = OutputOf(iStep);
}

// ---- slots ----------------------------------------------------------------------------------------------------

SFArrayRef SFTapePlanner::OutputOf(SFTapeStep const& iStep)
{
  return _isHoisting && _tape.IsStored(iStep.id) ? _values[iStep.id].array : TakeSlot(iStep);
}

/// A free slot for the values of a step.
SFArrayRef SFTapePlanner::TakeSlot(SFTapeStep const& iStep)
{
  auto& free = _freeSlots[iStep.axes];
  if (free.empty()) {
    free.push_back(static_cast<std::uint32_t>(_plan->slots.size()));
    _plan->slots.push_back(iStep.axes);
  }
  std::uint32_t const slot = free.back();
  free.pop_back();
  _slotOf[iStep.id] = static_cast<std::int32_t>(slot);
  _values[iStep.id] = {{SFArrayRef::Kind::Slot, slot}, _plan->shapes[iStep.axes].strides, iStep.axes};
  return _values[iStep.id].array;
}

/// Frees the slots of the operands of a step that no group after the one that ends at `iEnd` reads.
void SFTapePlanner::ReleaseOperands(SFTapeStep const& iStep, std::uint32_t iEnd)
{
  ForOperands(iStep, [&](SFValueId iId) {
    if (_slotOf[iId] == NoSlot || _fusion.LastUseOf(iId) != iEnd)
      return;
    auto const slot = static_cast<std::uint32_t>(_slotOf[iId]);
    _freeSlots[_plan->slots[slot]].push_back(slot);
    _slotOf[iId] = NoSlot;
  });
}

} // namespace SF
