// The part of the runner that settles, before a list runs on tiles of one size, where each value lies and which
// steps run as one chain.

#include "tape/SFTapeRunner.h"
#include "tape/SFTapeShape.h"

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

template <class Call>
void ForOperands(SFTapeStep const& iStep, Call iCall)
{
  for (int i = 0; i < ArityOf(iStep.code); ++i)
    iCall(iStep.operands[static_cast<std::size_t>(i)]);
}

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

/// Finds the steps whose value only one other step of a chain reads, and after which step a slot is free.
void SFTapeRunner::FindChains(SFTapeList const& iList, SFTapeScratch& ioScratch, bool iKept) const
{
  auto const& steps = iList.steps;
  auto const runs = [&](SFTapeStep const& iStep) { return IsKept(iStep.id) == iKept; };
  for (std::uint32_t at = 0; at < steps.size(); ++at)
    ioScratch.values[steps[at].id] = {at, 0, 0};
  for (SFTapeStep const& step : steps)
    if (runs(step))
      ForOperands(step, [&](SFValueId iId) { ++ioScratch.values[iId].uses; });
  for (SFValueId const result : iList.results)
    ++ioScratch.values[result].uses;

  ioScratch.absorbedBy.assign(steps.size(), Nobody);
  ioScratch.holds.assign(steps.size(), 0);
  for (std::uint32_t at = 0; at < steps.size(); ++at)
    if (!iKept && runs(steps[at]) && IsChainable(steps[at].code))
      Absorb(iList, at, ioScratch);

  // An absorbed step reads its operands when the chain runs, at its end.
  ioScratch.chainEnds.resize(steps.size());
  for (std::uint32_t at = static_cast<std::uint32_t>(steps.size()); at-- > 0;) {
    std::uint32_t const by = ioScratch.absorbedBy[at];
    std::uint32_t const end = ioScratch.chainEnds[at] = by == Nobody ? at : ioScratch.chainEnds[by];
    if (runs(steps[at]))
      ForOperands(steps[at],
                  [&](SFValueId iId) { ioScratch.values[iId].lastUse = std::max(ioScratch.values[iId].lastUse, end); });
  }
  for (SFValueId const result : iList.results)
    ioScratch.values[result].lastUse = UINT32_MAX;
}

/// Lets a step of a chain compute what only it reads.
void SFTapeRunner::Absorb(SFTapeList const& iList, std::uint32_t iAt, SFTapeScratch& ioScratch) const
{
  auto const& steps = iList.steps;
  auto const volumeOf = [&](SFTapeStep const& iStep) { return ioScratch.shapes[iStep.axes].volume; };
  std::array<std::uint32_t, 2> before{Nobody, Nobody};
  std::size_t count = 0;
  ForOperands(steps[iAt], [&](SFValueId iId) {
    auto const& value = ioScratch.values[iId];
    if (value.at >= iAt || steps[value.at].id != iId || value.uses != 1 || IsKept(iId))
      return;
    // Of fewer axes, perhaps, but not of fewer points: then none is computed more often in the chain.
    SFTapeStep const& last = steps[value.at];
    if (IsChainable(last.code) && volumeOf(last) == volumeOf(steps[iAt]))
      before[count++] = value.at;
  });
  // A chain holds one value while it computes another, so of two operands one at most may itself need that.
  auto const& holds = ioScratch.holds;
  if (count == 2 && holds[before[0]] != 0 && holds[before[1]] != 0)
    before[0] = before[--count];
  bool needsToHold = count == 2;
  for (std::size_t i = 0; i < count; ++i) {
    ioScratch.absorbedBy[before[i]] = iAt;
    needsToHold = needsToHold || holds[before[i]] != 0;
  }
  ioScratch.holds[iAt] = needsToHold ? 1 : 0;
}

/// Lists the steps of the chain that ends with one, in the order in which they run: of two operands that are both
/// computed in it the one that itself holds a value first, and otherwise the one that comes first in the list.
void SFTapeRunner::ListChain(SFTapeList const& iList, std::uint32_t iEnd, SFTapeScratch& ioScratch)
{
  auto& chain = ioScratch.positions;
  auto& open = ioScratch.openPositions;
  chain.clear();
  open.assign(1, iEnd);
  while (!open.empty()) { // backwards
    std::uint32_t const at = open.back();
    open.pop_back();
    chain.push_back(at);
    SFTapeStep const& step = iList.steps[at];
    std::size_t const known = open.size();
    ForOperands(step, [&](SFValueId iId) {
      std::uint32_t const before = ioScratch.values[iId].at; // an earlier list's, where this one only reads it
      if (before < at && iList.steps[before].id == iId && ioScratch.absorbedBy[before] == at)
        open.push_back(before);
    });
    if (open.size() == known + 2) {
      auto& first = open[known];
      auto& second = open[known + 1];
      if (ioScratch.holds[second] != 0 || (ioScratch.holds[first] == 0 && second < first))
        std::swap(first, second);
    }
  }
  std::reverse(chain.begin(), chain.end());
}

/// Plans the chain that ends with a step: in one piece, or in several where the rows would become too short.
void SFTapeRunner::PlanChain(SFTapeList const& iList, std::uint32_t iEnd, SFTapeScratch& ioScratch) const
{
  ListChain(iList, iEnd, ioScratch);
  auto const& chain = ioScratch.positions;
  for (std::size_t from = 0; from < chain.size();)
    from = PlanPiece(iList, from, ioScratch);
  for (std::uint32_t const at : chain)
    ForOperands(iList.steps[at], [&](SFValueId iId) {
      auto& slot = ioScratch.slotOf[iId];
      if (slot.number >= 0 && ioScratch.values[iId].lastUse == iEnd) {
        ioScratch.pools[slot.axes].free.push_back(slot.number);
        slot.number = -1;
      }
    });
}

/// A run of a chain's steps that one call is to compute: what each does to the value in the registers.
class SFTapeRunner::Piece
{
public:
  struct Link
  {
    SFTapeCode code = 0;
    bool swapped = false;
    SFTapePlace const* operand = nullptr;
  };
  /// How far the piece reaches.
  struct Extent
  {
    SFTapeStep const* last = nullptr;
    SFTapeStep const* held = nullptr;
    std::size_t steps = 0;
    std::size_t links = 0;
    std::size_t places = 0;
  };

  Piece(SFTapeScratch const& iScratch, SFAxes iAxes) : _scratch(iScratch), _axes(iAxes) {}

  Extent const& Reach() const { return _reach; }
  void CutTo(Extent const& iReach) { _reach = iReach; }
  std::span<Link const> Links() const { return {_links.data(), _reach.links}; }
  std::span<SFTapePlace const* const> Places() const { return {_places.data(), _reach.places}; }

  /// Whether rows are still as long as any, for all operands.
  bool RunsTogether()
  {
    if (_isUnchanged)
      return true;
    auto const& shape = _scratch.shapes[_axes];
    std::size_t const row = LoopPlan(_axes, shape, Places()).n[0];
    _isUnchanged = row >= WorthChaining || (row == shape.volume && row >= SFShortestRow);
    return _isUnchanged;
  }

  /// False when there is no more room.
  bool Add(SFTapeStep const& iStep)
  {
    if (_reach.links + 2 > SFLongestChain)
      return false;
    auto const isIn = [&](SFTapeStep const* iOther, std::size_t iOperand) {
      return iOther != nullptr && iOther->id == iStep.operands[iOperand];
    };
    bool const unary = IsUnary(iStep);
    bool const second = !unary && isIn(_reach.last, 1);
    if (second || isIn(_reach.last, 0)) {
      std::size_t const other = second ? 0 : 1;
      bool const joins = !unary && isIn(_reach.held, other);
      AddLink(iStep.code, second, unary || joins ? nullptr : &_scratch.places[iStep.operands[other]]);
      _reach.held = joins ? nullptr : _reach.held;
    } else {
      if (_reach.last == nullptr)
        AddPlace(_scratch.places[iStep.operands[0]]);
      else
        AddLink(SFHoldCode, false, &_scratch.places[iStep.operands[0]]);
      _reach.held = _reach.last;
      AddLink(iStep.code, false, unary ? nullptr : &_scratch.places[iStep.operands[1]]);
    }
    _reach.last = &iStep;
    ++_reach.steps;
    return true;
  }

  void AddPlace(SFTapePlace const& iPlace)
  {
    // What runs on wherever the values themselves do shortens no row.
    _isUnchanged = _isUnchanged && (iPlace.axes == 0 || (iPlace.inTile && iPlace.axes == _axes));
    _places[_reach.places++] = &iPlace;
  }

private:
  void AddLink(SFTapeCode iCode, bool iSwapped, SFTapePlace const* iOperand)
  {
    _links[_reach.links++] = {iCode, iSwapped, iOperand};
    if (iOperand != nullptr)
      AddPlace(*iOperand);
  }

  SFTapeScratch const& _scratch;
  SFAxes _axes;
  bool _isUnchanged = false;
  Extent _reach;
  std::array<Link, SFLongestChain> _links;
  std::array<SFTapePlace const*, SFLongestChain + 2> _places; ///< the first operand, those of the links, the target
};

/// Plans the steps of the chain from one on, as many as can run together. Returns which step is the next.
std::size_t SFTapeRunner::PlanPiece(SFTapeList const& iList, std::size_t iFrom, SFTapeScratch& ioScratch) const
{
  auto const& chain = ioScratch.positions;
  SFTapeStep const& first = iList.steps[chain[iFrom]];
  if (!IsChainable(first.code) || ioScratch.shapes[first.axes].volume < SFShortestRow) {
    PlanStep(first, ioScratch);
    return iFrom + 1;
  }
  Piece piece(ioScratch, first.axes);
  piece.Add(first);
  Piece::Extent reach = piece.Reach();
  for (std::size_t to = iFrom + 1; to < chain.size() && piece.RunsTogether(); ++to) {
    if (!piece.Add(iList.steps[chain[to]]) || !piece.RunsTogether())
      break;
    if (piece.Reach().held == nullptr)
      reach = piece.Reach();
  }
  piece.CutTo(reach);

  SFTapePlace const target{nullptr,
                           {1, static_cast<std::ptrdiff_t>(_grid.dims[0]),
                            static_cast<std::ptrdiff_t>(_grid.dims[0]) * static_cast<std::ptrdiff_t>(_grid.dims[1])},
                           AllAxes,
                           false};
  bool stores = ioScratch.target.floats != nullptr && iFrom + reach.steps == chain.size() &&
                iList.results.size() == 1 && iList.results[0] == reach.last->id &&
                ioScratch.values[iList.results[0]].uses == 1 && reach.last->axes == _present;
  if (stores) {
    piece.AddPlace(target);
    stores = piece.RunsTogether();
    if (!stores)
      piece.CutTo(reach);
  }
  if (reach.steps == 1 && !stores)
    PlanStep(first, ioScratch);
  else
    PlanLinks(piece, stores, ioScratch);
  return iFrom + reach.steps;
}

void SFTapeRunner::PlanLinks(Piece const& iPiece, bool iStores, SFTapeScratch& ioScratch) const
{
  SFTapeStep const& last = *iPiece.Reach().last;
  SFTapePlace const& start = *iPiece.Places()[0];
  SFTapePlace const& end = *iPiece.Places().back();
  LoopPlan const plan(last.axes, ioScratch.shapes[last.axes], iPiece.Places());
  SFTapeScratch::Call& call = ioScratch.plan.emplace_back();
  call.step = last;
  call.chain = static_cast<std::uint32_t>(ioScratch.chains.size());
  SFTapeScratch::Chain& planned = ioScratch.chains.emplace_back();
  planned.firstLink = ioScratch.links.size();
  for (Piece::Link const& link : iPiece.Links()) {
    SFChainLink& chained = ioScratch.links.emplace_back(SFChainLink{link.code, link.swapped, false, {}});
    if (link.operand != nullptr) {
      chained.varies = plan.Varies(*link.operand);
      chained.operand = plan.Operand(*link.operand);
    }
    ioScratch.linkPlaces.push_back(link.operand != nullptr ? Moving(*link.operand) : nullptr);
  }
  planned.first = Moving(start);
  planned.box.n0 = plan.n[0];
  planned.box.n1 = plan.n[1];
  planned.box.n2 = plan.n[2];
  planned.box.first = plan.Operand(start);
  planned.box.firstVaries = plan.Varies(start);
  planned.box.linkCount = iPiece.Links().size();
  planned.storesFloats = iStores;
  if (iStores) {
    planned.box.s1 = plan.Stride(end, 1);
    planned.box.s2 = plan.Stride(end, 2);
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
    pool.slots.emplace_back(SFValueBuffer::Stride(pool.slotSize));
  }
  std::int32_t const slot = pool.free.back();
  pool.free.pop_back();
  double* const values = pool.slots[static_cast<std::size_t>(slot)].get();
  ioScratch.slotOf[iStep.id] = {slot, iStep.axes};
  ioScratch.places[iStep.id] = {values, ioScratch.shapes[iStep.axes].strides, iStep.axes, true};
  return values;
}

} // namespace SF
