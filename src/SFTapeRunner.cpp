#include "SFTapeRunner.h"

#include "ResourceToSF.h"
#include "SFCylindricalTransform.h"
#include "SFScalarOps.h"

#include <algorithm>
#include <future>
#include <limits>

namespace SF {
namespace {

SFTapeStep StepOf(SFTape const& iTape, SFValueId iId)
{
  auto const& instruction = iTape.instructions[iId];
  return {iId, instruction.code, instruction.axes, instruction.operands};
}

bool Varies(SFAxes iAxes, std::size_t iAxis) { return (iAxes >> iAxis & 1U) != 0; }

/// The extents of a value over a box, 1 along the axes that it does not depend on.
std::array<std::size_t, 3> ExtentsOf(SFAxes iAxes, std::array<unsigned int, 3> const& iCount)
{
  std::array<std::size_t, 3> extents{};
  for (std::size_t axis = 0; axis < 3; ++axis)
    extents[axis] = Varies(iAxes, axis) ? iCount[axis] : 1;
  return extents;
}

std::size_t VolumeOf(SFAxes iAxes, std::array<unsigned int, 3> const& iCount)
{
  auto const extents = ExtentsOf(iAxes, iCount);
  return extents[0] * extents[1] * extents[2];
}

/// The strides of a value stored contiguously over a box, 0 along the axes that it does not depend on.
std::array<std::ptrdiff_t, 3> StridesOf(SFAxes iAxes, std::array<unsigned int, 3> const& iCount)
{
  std::array<std::ptrdiff_t, 3> strides{};
  std::ptrdiff_t next = 1;
  for (std::size_t axis = 0; axis < 3; ++axis)
    if (Varies(iAxes, axis)) {
      strides[axis] = next;
      next *= static_cast<std::ptrdiff_t>(iCount[axis]);
    }
  return strides;
}

int AxisCount(SFAxes iAxes) { return (iAxes & 1) + (iAxes >> 1 & 1) + (iAxes >> 2 & 1); }

/// The loop over a box for one or two operands: axes along which all operands run on are merged.
struct LoopPlan
{
  std::array<std::size_t, 3> n{1, 1, 1};
  std::array<std::ptrdiff_t, 3> a{};
  std::array<std::ptrdiff_t, 3> b{};
};

LoopPlan PlanLoop(std::array<std::size_t, 3> const& iExtents, SFTapePlace const& iA, SFTapePlace const& iB)
{
  LoopPlan plan;
  std::size_t used = 0;
  for (std::size_t axis = 0; axis < 3; ++axis) {
    if (iExtents[axis] == 1)
      continue;
    std::ptrdiff_t const a = iA.strides[axis];
    std::ptrdiff_t const b = iB.strides[axis];
    if (used > 0) {
      auto const inner = static_cast<std::ptrdiff_t>(plan.n[used - 1]);
      if (plan.a[used - 1] * inner == a && plan.b[used - 1] * inner == b) {
        plan.n[used - 1] *= iExtents[axis];
        continue;
      }
    }
    plan.n[used] = iExtents[axis];
    plan.a[used] = a;
    plan.b[used] = b;
    ++used;
  }
  return plan;
}

} // namespace

SFTapeRunner::SFTapeRunner(SFTape iTape, SFGrid const& iGrid, std::array<double, ELimitCount> const& iLimits,
                           std::size_t iBudget)
  : _tape(std::move(iTape)), _grid(iGrid), _budget(iBudget), _kernels(ActiveTapeKernels()), _limits(iLimits)
{
  _constants = static_cast<SFValueId>(_tape.instructions.size());
  for (double const value : {1.0, -1.0, -SFInterval::Infinity}) {
    SFTapeInstruction constant;
    constant.code = CodeOf(SFNodeType::CONSTANT);
    constant.constant = value;
    _tape.instructions.push_back(constant);
  }
  ReduceAxes();
}

/// An axis with one position is no axis.
void SFTapeRunner::ReduceAxes()
{
  SFAxes present = 0;
  for (std::size_t axis = 0; axis < 3; ++axis)
    if (_grid.dims[axis] > 1)
      present = static_cast<SFAxes>(present | 1U << axis);
  for (auto& instruction : _tape.instructions)
    instruction.axes &= present;
}

SFTapePlace SFTapeRunner::InTile(SFTapePlace const& iPlace, SFTile const& iTile)
{
  if (iPlace.inTile)
    return iPlace;
  SFTapePlace place = iPlace;
  for (std::size_t axis = 0; axis < 3; ++axis)
    place.data += iPlace.strides[axis] * static_cast<std::ptrdiff_t>(iTile.begin[axis]);
  return place;
}

// ---- what is kept for the whole grid --------------------------------------------------------------------------

void SFTapeRunner::ComputeScalars()
{
  auto const& instructions = _tape.instructions;
  _scalars.assign(instructions.size(), 0.0);
  _places.assign(instructions.size(), {});
  for (SFValueId id = 0; id < instructions.size(); ++id) {
    auto const& step = instructions[id];
    if (step.axes != 0)
      continue;
    auto const operand = [&](std::size_t i) { return _scalars[step.operands[i]]; };
    double& value = _scalars[id];
    if (IsOperatorCode(step.code))
      value = ScalarOps::Apply(SFNodeType{step.code}, operand(0), operand(1));
    else if (step.code == CodeOf(SFNodeType::CONSTANT))
      value = step.constant;
    else if (step.code == LimitCode)
      value = _limits[step.operands[0]];
    else if (step.code == AngleCode)
      value = SFCylindricalTransform::AngleOf(operand(0), operand(1));
    else if (step.code == ResourceCode)
      value = step.resource->GetScalar({operand(0), operand(1), operand(2)});
    else if (step.code == SelectCode)
      value = operand(0) > 0.0 ? operand(1) : operand(2);
    else
      value = _coordinates[step.code - CodeOf(SFNodeType::X)][0];
    _places[id].data = &_scalars[id];
  }
}

/// Chooses the values of one and two axes that are kept: those that a value of more axes, or a result, reads,
/// while they fit into the budget. Everything else is a step of the tiles.
void SFTapeRunner::ChooseKept()
{
  auto const& instructions = _tape.instructions;
  std::vector<char> wanted(instructions.size(), 0);
  for (auto const& instruction : instructions)
    for (int i = 0; i < ArityOf(instruction.code); ++i) {
      SFValueId const operand = instruction.operands[static_cast<std::size_t>(i)];
      if (instructions[operand].axes != instruction.axes)
        wanted[operand] = 1;
    }
  for (SFValueId const result : _tape.results)
    wanted[result] = 1;

  std::array<std::size_t, 8> cost{};
  for (std::size_t id = 0; id < instructions.size(); ++id)
    if (wanted[id] != 0)
      cost[instructions[id].axes] += VolumeOf(instructions[id].axes, _grid.dims) * sizeof(double);

  std::array<bool, 8> keep{};
  std::size_t spent = 0;
  for (int axisCount = 1; axisCount <= 2; ++axisCount)
    for (SFAxes axes = 1; axes < AllAxes; ++axes) {
      // A plane that is not extended along its missing axis is read once: nothing is saved by keeping it.
      std::size_t const copies = VolumeOf(static_cast<SFAxes>(AllAxes & ~axes), _grid.dims);
      if (AxisCount(axes) != axisCount || cost[axes] == 0 || copies < 4 || spent + cost[axes] > _budget)
        continue;
      keep[axes] = true;
      spent += cost[axes];
    }

  _isKept.assign(instructions.size(), Keeping::No);
  _list.results = _tape.results;
  for (SFValueId id = 0; id < instructions.size(); ++id) {
    SFAxes const axes = instructions[id].axes;
    if (axes == 0)
      continue;
    SFTapeStep step = StepOf(_tape, id);
    if (keep[axes]) {
      _keptLists[axes].steps.push_back(step);
      _isKept[id] = Keeping::ForOthers;
      if (wanted[id] != 0) {
        _isKept[id] = Keeping::Stored;
        _kept.push_back(std::make_unique_for_overwrite<double[]>(VolumeOf(axes, _grid.dims)));
        _places[id] = {_kept.back().get(), StridesOf(axes, _grid.dims), false};
      }
    }
    if (keep[axes] && AxisCount(axes) == 1) {
      if (_isKept[id] == Keeping::ForOthers)
        continue;
      step.code = InputCode;
    }
    _list.steps.push_back(step);
    _list.choices += IsChoice(step) ? 1 : 0;
  }
  if (!_grid.IsWithin(std::numeric_limits<double>::max()))
    _list.choices = 0; // ranges need coordinates that are numbers
}

bool SFTapeRunner::IsChoice(SFTapeStep const& iStep) const
{
  switch (SFNodeType{iStep.code}) {
  case SFNodeType::MIN:
  case SFNodeType::MAX:
  case SFNodeType::WITHOUT:
  case SFNodeType::ABS:
  case SFNodeType::SIGN:
    return !IsKept(iStep.id);
  default:
    return false;
  }
}

SFInterval SFTapeRunner::CoordinateRange(std::size_t iAxis, SFTile const& iBox) const
{
  // Rounding is monotone, so the ends of a run of positions are its extremes.
  double const a = _coordinates[iAxis][iBox.begin[iAxis]];
  double const b = _coordinates[iAxis][iBox.begin[iAxis] + iBox.count[iAxis] - 1];
  return {std::min(a, b), std::max(a, b), false};
}

/// The extremes of the kept values of one axis over short blocks, from which those over boxes follow.
void SFTapeRunner::ComputeBlockRanges()
{
  _firstBlock.assign(_tape.instructions.size(), 0);
  for (SFTapeStep const& step : _list.steps) {
    if (step.code != InputCode)
      continue;
    _firstBlock[step.id] = static_cast<std::uint32_t>(_blockRanges.size());
    std::size_t const count = VolumeOf(step.axes, _grid.dims);
    double const* const values = _places[step.id].data;
    for (std::size_t from = 0; from < count; from += BlockLength) {
      SFInterval range{SFInterval::Infinity, -SFInterval::Infinity, false};
      for (std::size_t i = from; i < std::min(count, from + BlockLength); ++i) {
        range.lo = values[i] < range.lo ? values[i] : range.lo;
        range.hi = values[i] > range.hi ? values[i] : range.hi;
        range.nan = range.nan || values[i] != values[i];
      }
      _blockRanges.push_back(range.nan ? SFInterval::Anything() : range);
    }
  }
}

SFInterval SFTapeRunner::InputRange(SFTapeStep const& iStep, SFTile const& iBox) const
{
  std::size_t const axis = Varies(iStep.axes, 0) ? 0 : Varies(iStep.axes, 1) ? 1 : 2;
  SFInterval const* const blocks = &_blockRanges[_firstBlock[iStep.id]];
  std::size_t const first = iBox.begin[axis] / BlockLength;
  std::size_t const last = (iBox.begin[axis] + iBox.count[axis] - 1) / BlockLength;
  SFInterval range = blocks[first];
  for (std::size_t i = first + 1; i <= last; ++i) {
    range.lo = std::min(range.lo, blocks[i].lo);
    range.hi = std::max(range.hi, blocks[i].hi);
    range.nan = range.nan || blocks[i].nan;
  }
  return range;
}

/// Computes the kept values of a set of axes piece by piece: the last axis cut among the threads, rows not too long
/// for the cache.
void SFTapeRunner::RunKept(SFAxes iAxes, unsigned int iThreads, SFStopRequest const& iStop)
{
  auto const& list = _keptLists[iAxes];
  if (list.steps.empty())
    return;
  constexpr unsigned int piece = 1024;
  std::size_t const first = Varies(iAxes, 0) ? 0 : Varies(iAxes, 1) ? 1 : 2;
  std::size_t const last = Varies(iAxes, 2) ? 2 : Varies(iAxes, 1) ? 1 : 0;
  bool const plane = first != last;
  auto const run = [&](unsigned int iBegin, unsigned int iEnd) {
    SFTapeScratch scratch = MakeScratch();
    scratch.stop = &iStop;
    SFTile tile{{0, 0, 0}, {1, 1, 1}};
    auto const runRow = [&](unsigned int iFrom, unsigned int iTo) {
      for (unsigned int at = iFrom; at < iTo && !scratch.stopped; at += tile.count[first]) {
        tile.begin[first] = at;
        tile.count[first] = std::min(piece, iTo - at);
        RunSteps(list, tile, scratch, true);
      }
    };
    if (!plane)
      runRow(iBegin, iEnd);
    for (tile.begin[last] = plane ? iBegin : iEnd; tile.begin[last] < iEnd && !scratch.stopped; ++tile.begin[last])
      runRow(0, _grid.dims[first]);
  };
  unsigned int const extent = _grid.dims[last];
  unsigned int const threads = plane ? std::min(iThreads, extent) : 1;
  std::vector<std::future<void>> futures;
  for (unsigned int t = 1; t < threads; ++t)
    futures.push_back(std::async(std::launch::async, run, extent / threads * (t - 1), extent / threads * t));
  run(extent / threads * (threads - 1), extent);
  for (auto& future : futures)
    future.get();
}

void SFTapeRunner::Prepare(unsigned int iThreads, SFStopRequest const& iStop)
{
  for (std::size_t axis = 0; axis < 3; ++axis) {
    _coordinates[axis].resize(std::max(1U, _grid.dims[axis]));
    for (unsigned int i = 0; i < _coordinates[axis].size(); ++i)
      _coordinates[axis][i] = _grid.Coordinate(axis, i);
  }
  ComputeScalars();
  ChooseKept();
  constexpr std::array<SFAxes, 6> axesThenPlanes{1, 2, 4, 3, 5, 6};
  for (SFAxes const axes : axesThenPlanes)
    RunKept(axes, iThreads, iStop);
  if (_list.choices > 0)
    ComputeBlockRanges();
}

// ---- tiles ----------------------------------------------------------------------------------------------------

SFTapeScratch SFTapeRunner::MakeScratch() const
{
  SFTapeScratch scratch;
  scratch.places = _places;
  scratch.lastUse.assign(_tape.instructions.size(), 0);
  scratch.slotOf.assign(_tape.instructions.size(), {});
  scratch.rows.resize(_tape.results.size());
  return scratch;
}

void SFTapeRunner::RunTile(SFTapeList const& iList, SFTile const& iTile, SFTapeScratch& ioScratch) const
{
  RunSteps(iList, iTile, ioScratch, false);
}

/// Runs the steps of a list that are, or are not, computed for the whole grid.
void SFTapeRunner::RunSteps(SFTapeList const& iList, SFTile const& iTile, SFTapeScratch& ioScratch, bool iKept) const
{
  auto const& steps = iList.steps;
  for (std::uint32_t at = 0; at < steps.size(); ++at)
    for (int i = 0; i < ArityOf(steps[at].code); ++i)
      ioScratch.lastUse[steps[at].operands[static_cast<std::size_t>(i)]] = at;
  for (SFValueId const result : iList.results)
    ioScratch.lastUse[result] = UINT32_MAX;

  ioScratch.gradients.known = false;
  for (SFAxes axes = 0; axes <= AllAxes; ++axes) {
    auto& pool = ioScratch.pools[axes];
    std::size_t const size = VolumeOf(axes, iTile.count);
    if (pool.slotSize < size) {
      pool.slots.clear();
      pool.slotSize = size;
    }
    pool.free.clear();
    for (std::size_t slot = pool.slots.size(); slot-- > 0;)
      pool.free.push_back(static_cast<std::int32_t>(slot));
  }

  for (std::uint32_t at = 0; at < steps.size(); ++at) {
    SFTapeStep const& step = steps[at];
    if (IsKept(step.id) != iKept)
      continue;
    if (ioScratch.MustStop())
      return;
    RunStep(step, iTile, ioScratch, ValuesFor(step, iTile, ioScratch), ExtentsOf(step.axes, iTile.count));
    for (int i = 0; i < ArityOf(step.code); ++i) {
      SFValueId const operand = step.operands[static_cast<std::size_t>(i)];
      auto& slot = ioScratch.slotOf[operand];
      if (slot.number >= 0 && ioScratch.lastUse[operand] == at) {
        ioScratch.pools[slot.axes].free.push_back(slot.number);
        slot.number = -1;
      }
    }
  }
  for (SFValueId const result : iList.results)
    ioScratch.slotOf[result].number = -1;
}

/// Where the values of a step go: to their place in the grid, or to a free slot.
double* SFTapeRunner::ValuesFor(SFTapeStep const& iStep, SFTile const& iTile, SFTapeScratch& ioScratch) const
{
  if (_isKept[iStep.id] == Keeping::Stored)
    return const_cast<double*>(InTile(_places[iStep.id], iTile).data);
  auto& pool = ioScratch.pools[iStep.axes];
  if (pool.free.empty()) {
    pool.free.push_back(static_cast<std::int32_t>(pool.slots.size()));
    pool.slots.push_back(std::make_unique_for_overwrite<double[]>(pool.slotSize));
  }
  std::int32_t const slot = pool.free.back();
  pool.free.pop_back();
  double* const values = pool.slots[static_cast<std::size_t>(slot)].get();
  ioScratch.slotOf[iStep.id] = {slot, iStep.axes};
  ioScratch.places[iStep.id] = {values, StridesOf(iStep.axes, iTile.count), true};
  return values;
}

void SFTapeRunner::RunStep(SFTapeStep const& iStep, SFTile const& iTile, SFTapeScratch& ioScratch, double* oValues,
                           Extents const& iExtents) const
{
  if (iStep.code >= SelectCode) {
    RunDerivative(iStep, iTile, ioScratch, oValues);
    return;
  }
  if (!IsOperatorCode(iStep.code)) {
    RunPointwise(iStep, iTile, ioScratch, oValues, iExtents);
    return;
  }
  SFTapePlace const a = InTile(ioScratch.places[iStep.operands[0]], iTile);
  SFTapePlace const b = InTile(ioScratch.places[iStep.operands[1]], iTile);
  LoopPlan const plan = PlanLoop(iExtents, a, b);
  auto const form = plan.a[0] == 0   ? SFKernelForm::SecondVaries
                    : plan.b[0] == 0 ? SFKernelForm::FirstVaries
                                     : SFKernelForm::BothVary;
  _kernels.operators[iStep.code][static_cast<std::size_t>(form)](
      {oValues, plan.n[0], plan.n[1], plan.n[2], {a.data, plan.a[1], plan.a[2]}, {b.data, plan.b[1], plan.b[2]}});
}

/// The few instructions that no kernel runs.
void SFTapeRunner::RunPointwise(SFTapeStep const& iStep, SFTile const& iTile, SFTapeScratch& ioScratch, double* oValues,
                                Extents const& iExtents) const
{
  std::array<SFTapePlace, 3> from;
  for (int i = 0; i < ArityOf(iStep.code); ++i)
    from[static_cast<std::size_t>(i)] = InTile(ioScratch.places[iStep.operands[static_cast<std::size_t>(i)]], iTile);
  std::array<std::size_t, 3> at{};
  auto const operand = [&](std::size_t i) {
    std::ptrdiff_t offset = 0;
    for (std::size_t axis = 0; axis < 3; ++axis)
      offset += from[i].strides[axis] * static_cast<std::ptrdiff_t>(at[axis]);
    return from[i].data[offset];
  };
  ResourceToSF const* const resource = _tape.instructions[iStep.id].resource;
  for (at[2] = 0; at[2] < iExtents[2]; ++at[2])
    for (at[1] = 0; at[1] < iExtents[1]; ++at[1])
      for (at[0] = 0; at[0] < iExtents[0]; ++at[0])
        if (iStep.code == ResourceCode) {
          if (ioScratch.MustStop()) // a host's field may take its time
            return;
          *oValues++ = resource->GetScalar({operand(0), operand(1), operand(2)});
        } else if (iStep.code == AngleCode)
          *oValues++ = SFCylindricalTransform::AngleOf(operand(0), operand(1));
        else {
          std::size_t const axis = iStep.code - CodeOf(SFNodeType::X);
          *oValues++ = _coordinates[axis][iTile.begin[axis] + at[axis]];
        }
}

double const* SFTapeRunner::ResultRow(SFTapeList const& iList, std::size_t iResult, SFTile const& iTile,
                                      unsigned int iJ, unsigned int iK, SFTapeScratch& ioScratch) const
{
  SFTapePlace const place = InTile(ioScratch.places[iList.results[iResult]], iTile);
  double const* const first = place.data + place.strides[1] * static_cast<std::ptrdiff_t>(iJ) +
                              place.strides[2] * static_cast<std::ptrdiff_t>(iK);
  if (place.strides[0] != 0)
    return first;
  auto& row = ioScratch.rows[iResult];
  row.assign(iTile.count[0], *first);
  return row.data();
}

} // namespace SF
