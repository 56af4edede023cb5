#include "tape/SFTapeRunner.h"

#include "ResourceToSF.h"
#include "SFCylindricalTransform.h"
#include "operators/SFScalarOps.h"
#include "tape/SFTapeShape.h"

#include <algorithm>
#include <limits>

namespace SF {
namespace {

SFTapeStep StepOf(SFTape const& iTape, SFValueId iId)
{
  auto const& instruction = iTape.instructions[iId];
  return {iId, instruction.code, instruction.axes, instruction.operands};
}

int AxisCount(SFAxes iAxes) { return (iAxes & 1) + (iAxes >> 1 & 1) + (iAxes >> 2 & 1); }

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
  for (std::size_t axis = 0; axis < 3; ++axis)
    if (_grid.dims[axis] > 1)
      _present = static_cast<SFAxes>(_present | 1U << axis);
  for (auto& instruction : _tape.instructions)
    instruction.axes &= _present;
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

/// What it costs to compute the dearest plane of each set of two axes from the values of one, in additions.
std::array<std::size_t, 8> SFTapeRunner::DearestPlanes() const
{
  auto const& instructions = _tape.instructions;
  constexpr std::size_t most = 1000;
  std::vector<std::size_t> costs(instructions.size(), 0);
  std::array<std::size_t, 8> dearest{};
  for (std::size_t id = 0; id < instructions.size(); ++id) {
    auto const& instruction = instructions[id];
    if (AxisCount(instruction.axes) != 2)
      continue;
    costs[id] = CostOf(instruction.code);
    for (int i = 0; i < ArityOf(instruction.code); ++i) {
      SFValueId const operand = instruction.operands[static_cast<std::size_t>(i)];
      if (instructions[operand].axes == instruction.axes)
        costs[id] = std::min(most, costs[id] + costs[operand]);
    }
    dearest[instruction.axes] = std::max(dearest[instruction.axes], costs[id]);
  }
  return dearest;
}

/// Chooses the values of one and two axes that are kept: those that a value of more axes, or a result, reads,
/// while they fit into the budget. Everything else is a step of the tiles.
void SFTapeRunner::ChooseKept()
{
  // Planes of the whole grid that do not fit into a near cache take longer to read than a few operations on the values
  // of their axes take.
  constexpr std::size_t worthKeeping = 8;
  constexpr std::size_t nearBytes = std::size_t{512} << 10;
  std::array<std::size_t, 8> const dearest = DearestPlanes();
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
  keep[0] = true;
  std::size_t spent = 0;
  for (int axisCount = 1; axisCount <= 2; ++axisCount)
    for (SFAxes axes = 1; axes < AllAxes; ++axes) {
      // A plane that is not extended along its missing axis is read once: nothing is saved by keeping it.
      std::size_t const copies = VolumeOf(static_cast<SFAxes>(AllAxes & ~axes), _grid.dims);
      if (AxisCount(axes) != axisCount || copies < 4 || spent + cost[axes] > _budget)
        continue;
      // The values of a plane are computed from those of its axes.
      bool const isWorthIt = dearest[axes] >= worthKeeping || cost[axes] <= nearBytes;
      if (axisCount == 2 && (!isWorthIt || !(keep[axes & 1] && keep[axes & 2] && keep[axes & 4])))
        continue;
      keep[axes] = true;
      spent += cost[axes];
    }

  _isKept.assign(instructions.size(), Keeping::No);
  _list.results = _tape.results;
  for (SFValueId id = 0; id < instructions.size(); ++id)
    if (instructions[id].axes == 0)
      _isKept[id] = Keeping::Stored;
  for (SFValueId id = _constants; id < instructions.size(); ++id)
    AddToList(id, InputCode); // first: any step may come to name them
  for (SFValueId id = 0; id < _constants; ++id) {
    SFAxes const axes = instructions[id].axes;
    if (axes == 0) {
      if (wanted[id] != 0)
        AddToList(id, InputCode);
      continue;
    }
    if (keep[axes]) {
      _keptLists[axes].steps.push_back(StepOf(_tape, id));
      _isKept[id] = Keeping::ForOthers;
      if (wanted[id] != 0) {
        _isKept[id] = Keeping::Stored;
        _places[id] = {nullptr, StridesOf(axes, _grid.dims), axes, false};
      }
    }
    if (!keep[axes] || AxisCount(axes) != 1)
      AddToList(id, instructions[id].code);
    else if (_isKept[id] == Keeping::Stored)
      AddToList(id, InputCode);
  }
  AllocateKept();
  if (!_grid.IsWithin(std::numeric_limits<double>::max()))
    _list.choices = 0; // ranges need coordinates that are numbers
  if (_list.choices == 0)
    std::erase_if(_list.steps, [](SFTapeStep const& iStep) { return iStep.code == InputCode; });
}

/// Room for the kept values in one piece: those of one axis are many and small.
void SFTapeRunner::AllocateKept()
{
  std::size_t total = 0;
  std::vector<std::pair<SFValueId, std::size_t>> offsets;
  for (SFValueId id = 0; id < _constants; ++id) {
    SFTapePlace const& place = _places[id];
    if (_isKept[id] != Keeping::Stored || place.axes == 0)
      continue;
    offsets.emplace_back(id, total);
    total += SFValueBuffer::Stride(VolumeOf(place.axes, _grid.dims));
  }
  _kept = SFValueBuffer(total);
  for (auto const& [id, offset] : offsets)
    _places[id].data = _kept.get() + offset;
}

void SFTapeRunner::AddToList(SFValueId iId, SFTapeCode iCode)
{
  SFTapeStep step = StepOf(_tape, iId);
  step.code = iCode;
  Append(step, _list);
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
  RunKeptAxes(iThreads, iStop);
  for (SFAxes const plane : {SFAxes{3}, SFAxes{5}, SFAxes{6}})
    RunKeptPlanes(plane, iThreads, iStop);
}

// ---- tiles ----------------------------------------------------------------------------------------------------

SFTapeScratch SFTapeRunner::MakeScratch() const
{
  SFTapeScratch scratch;
  scratch.places = _places;
  scratch.values.assign(_tape.instructions.size(), {});
  scratch.slotOf.assign(_tape.instructions.size(), {});
  scratch.rows.resize(_tape.results.size());
  return scratch;
}

void SFTapeRunner::RunTile(SFTile const& iTile, SFTapeScratch& ioScratch) const
{
  ioScratch.gradients.known = false;
  for (auto& call : ioScratch.plan) {
    if (ioScratch.MustStop())
      return;
    if (call.out != nullptr)
      call.box.out = const_cast<double*>(InTile(*call.out, iTile).data);
    if (call.a != nullptr)
      call.box.a.data = InTile(*call.a, iTile).data;
    if (call.b != nullptr)
      call.box.b.data = InTile(*call.b, iTile).data;
    if (call.kernel != nullptr)
      call.kernel(call.box);
    else if (call.chain != SFTapeScratch::Call::NoChain)
      RunChain(call, iTile, ioScratch);
    else
      RunStep(call, iTile, ioScratch);
  }
}

void SFTapeRunner::RunChain(SFTapeScratch::Call const& iCall, SFTile const& iTile, SFTapeScratch& ioScratch) const
{
  SFTapeScratch::Chain& chain = ioScratch.chains[iCall.chain];
  SFChainBox& box = chain.box;
  if (chain.first != nullptr)
    box.first.data = InTile(*chain.first, iTile).data;
  for (std::size_t l = chain.firstLink; l < chain.firstLink + box.linkCount; ++l)
    if (SFTapePlace const* const place = ioScratch.linkPlaces[l])
      ioScratch.links[l].operand.data = InTile(*place, iTile).data;
  box.links = &ioScratch.links[chain.firstLink];
  box.out = iCall.box.out;
  if (chain.storesFloats)
    box.floats = ioScratch.target.floats + _grid.Index(iTile.begin[0], iTile.begin[1], iTile.begin[2]);
  _kernels.chain(box);
}

void SFTapeRunner::RunStep(SFTapeScratch::Call const& iCall, SFTile const& iTile, SFTapeScratch& ioScratch) const
{
  if (iCall.step.code >= SelectCode)
    RunDerivative(iCall.step, iTile, ioScratch, iCall.box.out);
  else
    RunPointwise(iCall.step, iTile, ioScratch, iCall.box.out, ioScratch.shapes[iCall.step.axes].extents);
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
  SFTapePlace const place = ResultPlace(iList, iResult, iTile, ioScratch);
  double const* const first = place.data + place.strides[1] * static_cast<std::ptrdiff_t>(iJ) +
                              place.strides[2] * static_cast<std::ptrdiff_t>(iK);
  if (place.strides[0] != 0)
    return first;
  auto& row = ioScratch.rows[iResult];
  row.assign(iTile.count[0], *first);
  return row.data();
}

} // namespace SF
