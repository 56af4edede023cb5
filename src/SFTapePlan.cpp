// The part of the runner that settles, before a list runs on tiles of one size, where each value lies and which
// steps run as one chain.

#include "SFTapeRunner.h"
#include "SFTapeShape.h"

#include <algorithm>
#include <span>

namespace SF {
namespace {

constexpr std::uint32_t Nobody = UINT32_MAX;

/// A row of a chain that is shorter than this costs more than the memory traffic that chaining saves.
constexpr std::size_t WorthChaining = 64;

/// The loop over a box for some operands: axes along which all of them run on are merged. Along a row the strides
/// are 0 or 1, as the kernels expect.
struct LoopPlan
{
  static constexpr std::size_t NoAxis = 3;
  std::array<std::size_t, 3> n{1, 1, 1};
  std::array<std::size_t, 3> axes{NoAxis, NoAxis, NoAxis}; ///< the first axis that each level of the loop runs along

  LoopPlan(SFAxes iAxes, SFTapeScratch::Shape const& iShape, std::span<SFTapePlace const* const> iOperands)
  {
    if (std::all_of(iOperands.begin(), iOperands.end(), [iAxes](SFTapePlace const* iPlace) {
          return iPlace->axes == 0 || (iPlace->inTile && iPlace->axes == iAxes);
        })) { // most steps of most tiles: one row
      n[0] = iShape.volume;
      axes[0] = iAxes != 0 ? FirstAxis(iAxes) : NoAxis;
      return;
    }
    auto const& extents = iShape.extents;
    std::size_t used = 0;
    for (std::size_t axis = 0; axis < 3; ++axis) {
      if (extents[axis] == 1)
        continue;
      // A box one point wide, out of values that are kept for a wider grid: rows of one.
      if (used == 0 && std::any_of(iOperands.begin(), iOperands.end(),
                                   [axis](SFTapePlace const* iPlace) { return iPlace->strides[axis] > 1; }))
        used = 1;
      bool const runsOn =
          used > 0 && std::all_of(iOperands.begin(), iOperands.end(), [&](SFTapePlace const* iPlace) {
            return Stride(*iPlace, used - 1) * static_cast<std::ptrdiff_t>(n[used - 1]) == iPlace->strides[axis];
          });
      if (runsOn) {
        n[used - 1] *= extents[axis];
        continue;
      }
      n[used] = extents[axis];
      axes[used++] = axis;
    }
  }

  std::ptrdiff_t Stride(SFTapePlace const& iPlace, std::size_t iLevel) const
  {
    return axes[iLevel] == NoAxis ? 0 : iPlace.strides[axes[iLevel]];
  }
  SFKernelOperand Operand(SFTapePlace const& iPlace) const
  {
    return {iPlace.data, Stride(iPlace, 1), Stride(iPlace, 2)};
  }
  bool Varies(SFTapePlace const& iPlace) const { return Stride(iPlace, 0) != 0; }
};

/// The place to look up at each tile, null when it is the same for all of them.
SFTapePlace const* Moving(SFTapePlace const& iPlace) { return iPlace.inTile || iPlace.axes == 0 ? nullptr : &iPlace; }

bool IsUnary(SFTapeStep const& iStep) { return ArityOf(iStep.code) == 1; }

} // namespace

/// Plans the steps of a list that are, or are not, computed for the whole grid.
void SFTapeRunner::PlanSteps(SFTapeList const& iList, std::array<unsigned int, 3> const& iCount,
                             SFTapeScratch& ioScratch, bool iKept) const
{
  ShapeFor(iCount, ioScratch);
  for (auto& pool : ioScratch.pools) {
    pool.free.clear();
    for (std::size_t slot = pool.slots.size(); slot-- > 0;)
      pool.free.push_back(static_cast<std::int32_t>(slot));
  }
  ioScratch.plan.clear();
  ioScratch.chains.clear();
  ioScratch.links.clear();
  ioScratch.linkPlaces.clear();
  ioScratch.targetIsDone = false;

  FindChains(iList, ioScratch, iKept);
  for (std::uint32_t at = 0; at < iList.steps.size(); ++at)
    if (IsKept(iList.steps[at].id) == iKept && ioScratch.absorbedBy[at] == Nobody)
      PlanChain(iList, at, ioScratch);
  for (SFValueId const result : iList.results)
    ioScratch.slotOf[result].number = -1;
}

/// Finds the steps whose value only the next step of a chain reads, and after which step a slot is free.
void SFTapeRunner::FindChains(SFTapeList const& iList, SFTapeScratch& ioScratch, bool iKept) const
{
  auto const& steps = iList.steps;
  auto const forOperands = [](SFTapeStep const& iStep, auto iCall) {
    for (int i = 0; i < ArityOf(iStep.code); ++i)
      iCall(iStep.operands[static_cast<std::size_t>(i)]);
  };
  auto const runs = [&](SFTapeStep const& iStep) { return IsKept(iStep.id) == iKept; };
  for (std::uint32_t at = 0; at < steps.size(); ++at)
    ioScratch.values[steps[at].id] = {at, 0, 0};
  for (SFTapeStep const& step : steps)
    if (runs(step))
      forOperands(step, [&](SFValueId iId) { ++ioScratch.values[iId].uses; });
  for (SFValueId const result : iList.results)
    ++ioScratch.values[result].uses;

  ioScratch.absorbedBy.assign(steps.size(), Nobody);
  for (std::uint32_t at = 0; at < steps.size(); ++at) {
    SFTapeStep const& step = steps[at];
    if (!runs(step) || iKept || !IsChainable(step.code))
      continue;
    std::uint32_t latest = Nobody;
    forOperands(step, [&](SFValueId iId) {
      auto const& value = ioScratch.values[iId];
      if (value.at >= at || steps[value.at].id != iId || value.uses != 1 || IsKept(iId))
        return;
      SFTapeStep const& before = steps[value.at];
      // Of fewer axes, perhaps, but not of fewer points: then none is computed more often in the chain.
      bool const isAsLarge = ioScratch.shapes[before.axes].volume == ioScratch.shapes[step.axes].volume;
      if (IsChainable(before.code) && isAsLarge && (latest == Nobody || value.at > latest))
        latest = value.at;
    });
    if (latest != Nobody)
      ioScratch.absorbedBy[latest] = at;
  }

  // An absorbed step reads its operands when the chain runs, at its end.
  ioScratch.chainEnds.resize(steps.size());
  for (std::uint32_t at = static_cast<std::uint32_t>(steps.size()); at-- > 0;) {
    std::uint32_t const by = ioScratch.absorbedBy[at];
    std::uint32_t const end = ioScratch.chainEnds[at] = by == Nobody ? at : ioScratch.chainEnds[by];
    if (runs(steps[at]))
      forOperands(steps[at],
                  [&](SFValueId iId) { ioScratch.values[iId].lastUse = std::max(ioScratch.values[iId].lastUse, end); });
  }
  for (SFValueId const result : iList.results)
    ioScratch.values[result].lastUse = UINT32_MAX;
}

/// Plans the chain that ends with a step: in one piece, or in several where the rows would become too short.
void SFTapeRunner::PlanChain(SFTapeList const& iList, std::uint32_t iEnd, SFTapeScratch& ioScratch) const
{
  auto& chain = ioScratch.positions;
  chain.assign(1, iEnd);
  for (;;) {
    SFTapeStep const& step = iList.steps[chain.back()];
    std::uint32_t before = Nobody;
    for (int i = 0; i < ArityOf(step.code); ++i) {
      std::uint32_t const at = ioScratch.values[step.operands[static_cast<std::size_t>(i)]].at;
      if (at < chain.back() && ioScratch.absorbedBy[at] == chain.back())
        before = at;
    }
    if (before == Nobody)
      break;
    chain.push_back(before);
  }
  std::reverse(chain.begin(), chain.end());

  for (std::size_t from = 0; from < chain.size();) {
    std::size_t const to = PlanPiece(iList, from, ioScratch);
    from = to;
  }
  for (std::uint32_t const at : chain)
    for (int i = 0; i < ArityOf(iList.steps[at].code); ++i) {
      SFValueId const operand = iList.steps[at].operands[static_cast<std::size_t>(i)];
      auto& slot = ioScratch.slotOf[operand];
      if (slot.number >= 0 && ioScratch.values[operand].lastUse == iEnd) {
        ioScratch.pools[slot.axes].free.push_back(slot.number);
        slot.number = -1;
      }
    }
}

/// Plans the steps of the chain from one on, as many as can run together. Returns which step is the next.
std::size_t SFTapeRunner::PlanPiece(SFTapeList const& iList, std::size_t iFrom, SFTapeScratch& ioScratch) const
{
  auto const& chain = ioScratch.positions;
  auto const stepAt = [&](std::size_t i) -> SFTapeStep const& { return iList.steps[chain[i]]; };
  auto const place = [&](SFValueId iId) { return &ioScratch.places[iId]; };
  SFTapeStep const& first = stepAt(iFrom);
  auto const& shape = ioScratch.shapes[first.axes];
  std::array<SFTapePlace const*, SFLongestChain + 2> places{};
  std::size_t placeCount = 0;
  auto const runsTogether = [&] {
    std::size_t const row = LoopPlan(first.axes, shape, {places.data(), placeCount}).n[0];
    return row >= WorthChaining || (row == shape.volume && row >= SFShortestRow);
  };

  std::size_t to = iFrom + 1;
  if (IsChainable(first.code) && shape.volume >= SFShortestRow) {
    places[placeCount++] = place(first.operands[0]);
    if (!IsUnary(first))
      places[placeCount++] = place(first.operands[1]);
    for (; runsTogether() && to < chain.size() && to - iFrom < SFLongestChain; ++to) {
      SFTapeStep const& step = stepAt(to);
      if (IsUnary(step))
        continue;
      SFValueId const before = stepAt(to - 1).id;
      places[placeCount++] = place(step.operands[0] == before ? step.operands[1] : step.operands[0]);
      if (!runsTogether()) {
        --placeCount;
        break;
      }
    }
  }
  SFTapePlace const target{nullptr,
                           {1, static_cast<std::ptrdiff_t>(_grid.dims[0]),
                            static_cast<std::ptrdiff_t>(_grid.dims[0]) * static_cast<std::ptrdiff_t>(_grid.dims[1])},
                           AllAxes,
                           false};
  bool stores = ioScratch.target.floats != nullptr && to == chain.size() && iList.results.size() == 1 &&
                iList.results[0] == stepAt(to - 1).id && ioScratch.values[iList.results[0]].uses == 1 &&
                placeCount > 0 && stepAt(to - 1).axes == _present;
  if (stores) {
    places[placeCount++] = &target;
    stores = runsTogether();
    placeCount -= stores ? 0 : 1;
  }
  if (to - iFrom == 1 && !stores)
    PlanStep(first, ioScratch);
  else
    PlanLinks(iList, iFrom, to, {places.data(), placeCount}, stores, ioScratch);
  return to;
}

void SFTapeRunner::PlanLinks(SFTapeList const& iList, std::size_t iFrom, std::size_t iTo,
                             std::span<SFTapePlace const* const> iPlaces, bool iStores, SFTapeScratch& ioScratch) const
{
  auto const& chain = ioScratch.positions;
  SFTapeStep const& last = iList.steps[chain[iTo - 1]];
  LoopPlan const plan(last.axes, ioScratch.shapes[last.axes], iPlaces);
  SFTapeScratch::Call& call = ioScratch.plan.emplace_back();
  call.step = last;
  call.chain = static_cast<std::uint32_t>(ioScratch.chains.size());
  SFTapeScratch::Chain& planned = ioScratch.chains.emplace_back();
  planned.firstLink = ioScratch.links.size();
  auto const addLink = [&](SFTapeStep const& iStep, bool iSwapped, SFTapePlace const* iOperand) {
    SFChainLink link{iStep.code, iSwapped, false, {}};
    if (iOperand != nullptr) {
      link.varies = plan.Varies(*iOperand);
      link.operand = plan.Operand(*iOperand);
    }
    ioScratch.links.push_back(link);
    ioScratch.linkPlaces.push_back(iOperand != nullptr ? Moving(*iOperand) : nullptr);
  };

  SFTapePlace const& start = *iPlaces[0];
  std::size_t operand = 1;
  for (std::size_t i = iFrom; i < iTo; ++i) {
    SFTapeStep const& step = iList.steps[chain[i]];
    bool const swapped = i > iFrom && !IsUnary(step) && step.operands[0] != iList.steps[chain[i - 1]].id;
    addLink(step, swapped, IsUnary(step) ? nullptr : iPlaces[operand++]);
  }
  planned.first = Moving(start);
  planned.box.n0 = plan.n[0];
  planned.box.n1 = plan.n[1];
  planned.box.n2 = plan.n[2];
  planned.box.first = plan.Operand(start);
  planned.box.firstVaries = plan.Varies(start);
  planned.box.linkCount = iTo - iFrom;
  planned.storesFloats = iStores;
  if (iStores) {
    planned.box.s1 = plan.Stride(*iPlaces.back(), 1);
    planned.box.s2 = plan.Stride(*iPlaces.back(), 2);
    planned.box.clamps = ioScratch.target.clamps;
    planned.box.diagonal = ioScratch.target.diagonal;
    ioScratch.targetIsDone = true;
  } else
    call.box.out = SlotFor(last, ioScratch);
}

void SFTapeRunner::PlanStep(SFTapeStep const& iStep, SFTapeScratch& ioScratch) const
{
  SFTapeScratch::Call& call = ioScratch.plan.emplace_back();
  call.step = iStep;
  if (_isKept[iStep.id] == Keeping::Stored)
    call.out = &_places[iStep.id];
  else
    call.box.out = SlotFor(iStep, ioScratch);
  if (IsOperatorCode(iStep.code)) {
    SFTapePlace const& a = ioScratch.places[iStep.operands[0]];
    SFTapePlace const& b = ioScratch.places[iStep.operands[1]];
    std::array<SFTapePlace const*, 2> const operands{&a, &b};
    LoopPlan const plan(iStep.axes, ioScratch.shapes[iStep.axes], operands);
    auto const form = !plan.Varies(a)   ? SFKernelForm::SecondVaries
                      : !plan.Varies(b) ? SFKernelForm::FirstVaries
                                        : SFKernelForm::BothVary;
    call.kernel = _kernels.operators[iStep.code][static_cast<std::size_t>(form)];
    call.box = {call.box.out, plan.n[0], plan.n[1], plan.n[2], plan.Operand(a), plan.Operand(b)};
    call.a = Moving(a);
    call.b = Moving(b);
  }
}

/// Slots large enough, and what else follows from the size of the tiles.
void SFTapeRunner::ShapeFor(std::array<unsigned int, 3> const& iCount, SFTapeScratch& ioScratch)
{
  if (ioScratch.count == iCount)
    return;
  ioScratch.count = iCount;
  for (SFAxes axes = 0; axes <= AllAxes; ++axes) {
    std::size_t const volume = VolumeOf(axes, iCount);
    ioScratch.shapes[axes] = {ExtentsOf(axes, iCount), StridesOf(axes, iCount), volume};
    auto& pool = ioScratch.pools[axes];
    if (pool.slotSize < volume) {
      pool.slots.clear();
      pool.slotSize = volume;
    }
  }
}

/// A free slot for the values of a step, which becomes their place.
double* SFTapeRunner::SlotFor(SFTapeStep const& iStep, SFTapeScratch& ioScratch) const
{
  auto& pool = ioScratch.pools[iStep.axes];
  if (pool.free.empty()) {
    pool.free.push_back(static_cast<std::int32_t>(pool.slots.size()));
    pool.slots.push_back(std::make_unique_for_overwrite<double[]>(pool.slotSize));
  }
  std::int32_t const slot = pool.free.back();
  pool.free.pop_back();
  double* const values = pool.slots[static_cast<std::size_t>(slot)].get();
  ioScratch.slotOf[iStep.id] = {slot, iStep.axes};
  ioScratch.places[iStep.id] = {values, ioScratch.shapes[iStep.axes].strides, iStep.axes, true};
  return values;
}

} // namespace SF
