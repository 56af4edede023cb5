#include "tape/SFTapeInvariants.h"

#include "ResourceToSF.h"
#include "SFCylindricalTransform.h"
#include "operators/SFScalarOps.h"
#include "tape/SFBoxSizes.h"
#include "tape/SFTapeRunner.h"
#include "tape/SFTapeShape.h"

#include <algorithm>
#include <atomic>
#include <future>
#include <limits>

namespace SF {

SFTapeInvariants::SFTapeInvariants(SFTape iTape, SFGrid const& iGrid, std::array<double, ELimitCount> const& iLimits,
                                   std::size_t iBudget)
  : _tape(std::move(iTape)), _grid(iGrid), _budget(iBudget), _kernels(ActiveTapeKernels()), _limits(iLimits),
    _runners(std::make_unique<SFPool<SFTapeRunner>>())
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

SFTapeInvariants::SFTapeInvariants(SFTapeInvariants&&) noexcept = default;
SFTapeInvariants::~SFTapeInvariants() = default;

/// An axis with one position is no axis.
void SFTapeInvariants::ReduceAxes()
{
  for (std::size_t axis = 0; axis < 3; ++axis)
    if (_grid.dims[axis] > 1)
      _axes = static_cast<SFAxes>(_axes | 1U << axis);
  for (auto& instruction : _tape.instructions)
    instruction.axes &= _axes;
}

SFTapeInvariants SFTapeInvariants::AtPoints(SFTape iTape, std::array<double, ELimitCount> const& iLimits)
{
  constexpr SFAxes alongPoints = 1;
  for (auto& instruction : iTape.instructions)
    instruction.axes = instruction.axes != 0 ? alongPoints : SFAxes{0};
  constexpr unsigned int row[3] = {2, 1, 1}; // any number of points, so long as x is an axis
  SFTapeInvariants tape(std::move(iTape), SFGrid(row, 0.0, nullptr), iLimits);
  tape._atPoints = true;
  tape.ComputeScalars();
  auto const& instructions = tape._tape.instructions;
  tape._hoisting.assign(instructions.size(), SFHoisting::No);
  tape._list.results = tape._tape.results;
  for (SFValueId id = 0; id < instructions.size(); ++id) {
    auto const& instruction = instructions[id];
    bool const isCoordinate = IsCoordinateCode(instruction.code);
    if (isCoordinate)
      tape._views[id] = {nullptr, {1, 0, 0}, alongPoints};
    if (isCoordinate || instruction.axes == 0)
      tape._hoisting[id] = SFHoisting::Stored;
    else
      tape._list.steps.push_back(StepOf(instruction, id));
  }
  return tape;
}

// ---- values of the whole grid ---------------------------------------------------------------------------------

void SFTapeInvariants::ComputeScalars()
{
  auto const& instructions = _tape.instructions;
  _scalars.resize(instructions.size());
  _views.resize(instructions.size());
  for (SFValueId id = 0; id < instructions.size(); ++id) {
    auto const& instruction = instructions[id];
    if (instruction.axes != 0)
      continue;
    auto const operand = [&](std::size_t i) { return _scalars[instruction.operands[i]]; };
    double& value = _scalars[id];
    if (IsOperatorCode(instruction.code))
      value = ScalarOps::Apply(SFNodeType{instruction.code}, operand(0), operand(1));
    else if (instruction.code == CodeOf(SFNodeType::CONSTANT))
      value = instruction.constant;
    else if (instruction.code == LimitCode)
      value = _limits[instruction.operands[0]];
    else if (instruction.code == AngleCode)
      value = SFCylindricalTransform::AngleOf(operand(0), operand(1));
    else if (instruction.code == ResourceCode)
      value = instruction.resource->GetScalar({operand(0), operand(1), operand(2)});
    else if (instruction.code == SelectCode)
      value = operand(0) > 0.0 ? operand(1) : operand(2);
    else
      value = _coordinates[AxisOf(instruction.code)][0];
    _views[id].data = &_scalars[id];
  }
}

/// Room for the stored values in one buffer: those of one axis are many and small.
void SFTapeInvariants::AllocateHoisted()
{
  std::size_t total = 0;
  std::vector<std::pair<SFValueId, std::size_t>> offsets;
  for (SFValueId id = 0; id < _tape.instructions.size(); ++id) {
    SFAxes const axes = _tape.instructions[id].axes;
    if (!IsStored(id) || axes == 0)
      continue;
    offsets.emplace_back(id, total);
    bool const isAxis = (axes & (axes - 1)) == 0;
    total += SFValueBuffer::Stride(isAxis ? _coordinates[FirstAxis(axes)].size() : VolumeOf(axes, _grid.dims));
    _views[id] = {nullptr, StridesOf(axes, _grid.dims), axes};
  }
  _hoisted = SFValueBuffer(total);
  _hoistedCount = total;
  for (auto const& [id, offset] : offsets)
    _views[id].data = _hoisted.get() + offset;
}

/// Whether pruning might drop a step. Ranges need coordinates that are numbers.
bool SFTapeInvariants::MayPrune() const
{
  return _grid.IsWithin(std::numeric_limits<double>::max()) &&
         std::any_of(_list.steps.begin(), _list.steps.end(),
                     [](SFTapeStep const& iStep) { return IsChoice(SFNodeType{iStep.code}); });
}

bool SFTapeInvariants::HoistsResources() const
{
  for (SFValueId id = 0; id < _hoisting.size(); ++id)
    if (IsHoisted(id) && IsResourceCode(_tape.instructions[id].code))
      return true;
  return false;
}

void SFTapeInvariants::FillCoordinates()
{
  for (std::size_t axis = 0; axis < 3; ++axis) {
    _coordinates[axis].resize(std::max(1U, _grid.dims[axis]));
    for (unsigned int i = 0; i < _coordinates[axis].size(); ++i)
      _coordinates[axis][i] = _grid.Coordinate(axis, i);
    if (_hasCentres)
      SFBlockCentres::Append(_coordinates[axis], ShortestSide(_grid.dims));
  }
}

/// Decides what to hoist, and makes room for it.
void SFTapeInvariants::PlanValues()
{
  SFHoistingPlan plan = PlanHoisting(_tape, _grid.dims, _budget);
  _hoisting = std::move(plan.hoisting);
  _axesLists = std::move(plan.axesLists);
  _list = std::move(plan.tileList);
  _hasCentres = MayPrune();
  FillCoordinates();
  AllocateHoisted();
  _isPlanned = true;
}

void SFTapeInvariants::MoveTo(SFGrid const& iGrid, std::array<double, ELimitCount> const& iLimits)
{
  _grid = iGrid;
  _limits = iLimits;
}

void SFTapeInvariants::Prepare(unsigned int iThreads, SFStopRequest const& iStop)
{
  FillCoordinates();
  ComputeScalars();
  if (!_isPlanned)
    PlanValues();
  ComputeAxes(iThreads, iStop);
  for (SFAxes const plane : {SFAxes{3}, SFAxes{5}, SFAxes{6}})
    ComputePlanes(plane, iThreads, iStop);
}

// ---- the work of the threads ----------------------------------------------------------------------------------

namespace {

/// Rows of hoisted values are cut into segments short enough for the cache, and so long that planning takes no time.
constexpr unsigned int LongestSegment = 1024;
constexpr unsigned int ShortestSegment = 512;

/// Values for which another thread is worth its start.
constexpr std::size_t WorthSharing = 65536;

/// Computes the hoisted values of a set of axes over a box, row by row.
void ComputeBox(SFTapeList const& iList, SFAxes iAxes, SFTile const& iBox, SFTapeRunner& ioRunner)
{
  std::size_t const first = FirstAxis(iAxes);
  std::size_t const last = Varies(iAxes, 2) ? 2 : Varies(iAxes, 1) ? 1 : 0;
  SFTile tile{iBox.begin, {1, 1, 1}};
  unsigned int const end = iBox.begin[first] + iBox.count[first];
  bool isPlanned = false;
  for (unsigned int row = 0; row < (first == last ? 1 : iBox.count[last]); ++row)
    for (unsigned int at = iBox.begin[first]; at < end && !ioRunner.GetStop().IsStopped(); at += tile.count[first]) {
      if (first != last)
        tile.begin[last] = iBox.begin[last] + row;
      tile.begin[first] = at;
      tile.count[first] = std::min(LongestSegment, end - at);
      if (!isPlanned || !SameSize(ioRunner.PlannedCount(), tile.count))
        ioRunner.Plan(iList, tile.count);
      isPlanned = true;
      ioRunner.RunTile(tile);
    }
}

} // namespace

/// Calls `iCall(n, runner)` for the numbers below `iCount`, with up to `iThreads` threads of a runner each, which writes
/// hoisted values.
template <class Call>
void SFTapeInvariants::ForEachNumber(std::size_t iCount, std::size_t iThreads, SFStopRequest const& iStop,
                                     Call const& iCall)
{
  std::atomic<std::size_t> next{0};
  auto const work = [&] {
    auto runner = _runners->Take([&] { return std::make_unique<SFTapeRunner>(*this, _hoisted); });
    runner->GetStop().Restart(&iStop);
    for (std::size_t number = next++; number < iCount; number = next++)
      iCall(number, *runner);
    runner->GetStop().Restart(nullptr);
    _runners->GiveBack(std::move(runner), iThreads);
  };
  std::vector<std::future<void>> futures;
  for (std::size_t t = 1; t < std::min(iCount, iThreads); ++t)
    futures.push_back(std::async(work)); // deferred, and then with nothing left to do, where no thread can be made
  if (iCount > 0)
    work();
  for (auto& future : futures)
    future.get();
}

/// A part of the positions of an axis.
struct SFTapeInvariants::Segment
{
  std::size_t axis;
  SFTile tile;
};

std::vector<SFTapeInvariants::Segment> SFTapeInvariants::AxisSegments(unsigned int iThreads) const
{
  auto const longest = static_cast<unsigned int>(_blockRanges.LongestBlock());
  std::vector<Segment> segments;
  for (std::size_t axis = 0; axis < 3; ++axis) {
    if (_axesLists[1U << axis].steps.empty())
      continue;
    auto const count = static_cast<unsigned int>(_coordinates[axis].size());
    unsigned int const share = (count / std::max(1U, iThreads) + longest) / longest * longest;
    unsigned int const length = std::clamp(share, ShortestSegment, LongestSegment);
    SFTile tile{{0, 0, 0}, {1, 1, 1}};
    for (unsigned int at = 0; at < count; at += tile.count[axis]) {
      tile.begin[axis] = at;
      tile.count[axis] = std::min(length, count - at);
      segments.push_back({axis, tile});
    }
  }
  return segments;
}

/// Computes the hoisted values of single axes, and the ranges of those that pruning reads.
void SFTapeInvariants::ComputeAxes(unsigned int iThreads, SFStopRequest const& iStop)
{
  bool const needsRanges = MayPrune();
  if (needsRanges && _blockRanges.IsEmpty())
    _blockRanges.Reserve(_views, _hoisting, _grid.dims);
  std::size_t values = 0;
  for (std::size_t axis = 0; axis < 3; ++axis)
    values += _axesLists[1U << axis].steps.size() * _grid.dims[axis];
  auto const segments = AxisSegments(iThreads);
  ForEachNumber(segments.size(), values < WorthSharing ? 1 : iThreads, iStop,
                [&](std::size_t iNumber, SFTapeRunner& ioRunner) {
                  auto const& [axis, tile] = segments[iNumber];
                  auto const axes = static_cast<SFAxes>(1U << axis);
                  ComputeBox(_axesLists[axes], axes, tile, ioRunner);
                  std::size_t const end = std::min(tile.begin[axis] + tile.count[axis], _grid.dims[axis]);
                  if (needsRanges && tile.begin[axis] < end)
                    _blockRanges.Compute(_views, axis, tile.begin[axis], end);
                });
}

/// Computes the hoisted planes of a pair of axes, cut along the last one among the threads.
void SFTapeInvariants::ComputePlanes(SFAxes iAxes, unsigned int iThreads, SFStopRequest const& iStop)
{
  if (_axesLists[iAxes].steps.empty())
    return;
  std::size_t const first = FirstAxis(iAxes);
  std::size_t const last = Varies(iAxes, 2) ? 2 : 1;
  unsigned int const extent = _grid.dims[last];
  std::size_t const values = _axesLists[iAxes].steps.size() * _grid.dims[first] * extent;
  unsigned int const threads = values < WorthSharing ? 1 : std::clamp(iThreads, 1U, extent);
  ForEachNumber(threads, threads, iStop, [&](std::size_t iNumber, SFTapeRunner& ioRunner) {
    auto const t = static_cast<unsigned int>(iNumber);
    unsigned int const begin = extent / threads * t;
    SFTile box{{0, 0, 0}, {1, 1, 1}};
    box.count[first] = _grid.dims[first];
    box.begin[last] = begin;
    box.count[last] = t + 1 < threads ? extent / threads : extent - begin;
    ComputeBox(_axesLists[iAxes], iAxes, box, ioRunner);
  });
}

} // namespace SF
