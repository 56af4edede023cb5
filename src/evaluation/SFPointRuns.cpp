#include "evaluation/SFPointRuns.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace SF {

SFTapePoints const& SFPointRuns::Prepared() const
{
  std::call_once(_once, [this] {
    _made = std::make_unique<SFTapePoints>(*_tape, _options);
    _prepared = _made.get();
  });
  return *_made;
}

SFPointProgram const& SFPointRuns::Program(Worker& ioWorker) const
{
  std::call_once(_programOnce, [&] {
    _program = ioWorker.programmer.Run(*_tape);
    _programBytes = _program.GetBytes();
  });
  return _program;
}

std::size_t SFPointRuns::GetBytes() const
{
  SFTapePoints const* const prepared = _prepared;
  return sizeof(*this) + (_hasDerivatives ? _tape->instructions.size() * sizeof(SFTapeInstruction) : 0) +
         _programBytes + (prepared != nullptr ? prepared->GetBytes() : 0);
}

HRESULT SFPointRuns::Run(std::size_t iCount, SFTapePoints::Points const& iPoints, SFFieldCall& ioCall,
                         SFTapePoints::Sink const& iSink) const
{
  // Beyond these, fused steps and several threads are worth preparing. Of derivatives, most need not be computed directly.
  constexpr std::size_t mostPoints = 1023;
  constexpr std::size_t mostWithDerivatives = 8191;
  if (!_isDirect || iCount > (_hasDerivatives ? mostWithDerivatives : mostPoints) || iPoints.source != nullptr)
    return Prepared().Run(iCount, iPoints, ioCall, iSink);
  return ioCall.Run(1, [&](bool) { RunDirectly(iCount, iPoints, ioCall, iSink, false); });
}

HRESULT SFPointRuns::RunValue(std::size_t iCount, SFTapePoints::Points const& iPoints, SFFieldCall& ioCall,
                              SFTapePoints::Sink const& iSink) const
{
  return ioCall.Run(1, [&](bool) { RunDirectly(iCount, iPoints, ioCall, iSink, true); });
}

/// Those of the program, once they are worth it.
SFProgramParts const* SFPointRuns::Parts(std::size_t iCount) const
{
  constexpr std::size_t leastSeen = 512;
  constexpr std::size_t leastSteps = 64;
  if (_tape->choices.empty() || _program.optional.size() < leastSteps ||
      (_seen < leastSeen && (_seen += iCount) < leastSeen))
    return nullptr;
  std::call_once(_partsOnce, [this] {
    auto const hasSize = [](SFInterval const& iRange) { return std::isfinite(iRange.hi - iRange.lo); };
    if (std::all_of(_box->begin(), _box->end(), hasSize)) {
      _parts.emplace(_program, *_tape, *_box);
      _programBytes += _parts->GetBytes();
      _hasParts = true;
    }
  });
  return _parts ? &*_parts : nullptr;
}

void SFPointRuns::RunDirectly(std::size_t iCount, SFTapePoints::Points const& iPoints, SFFieldCall& ioCall,
                              SFTapePoints::Sink const& iSink, bool iIsValueAlone) const
{
  constexpr std::size_t mostKept = 64;
  if (iCount == 0)
    return;
  auto worker = _scratch->Take([] { return std::make_unique<Worker>(); });
  worker->runner.Bind(Program(*worker));
  worker->runsValueAlone = iIsValueAlone;
  worker->stop.Restart(&ioCall.GetStopRequest());
  if (SFProgramParts const* const parts = Parts(iCount))
    RunInParts(*parts, iCount, iPoints, iSink, *worker);
  else
    RunBatches({0, iCount, nullptr}, iPoints.arrays, nullptr, iSink, *worker);
  if (worker->stop.IsStopped())
    return;
  worker->stop.Restart(nullptr);
  _scratch->GiveBack(std::move(worker), mostKept);
}

void SFPointRuns::RunInParts(SFProgramParts const& iParts, std::size_t iCount, SFTapePoints::Points const& iPoints,
                             SFTapePoints::Sink const& iSink, Worker& ioWorker) const
{
  constexpr std::size_t leastDivided = 128;
  auto const& [x, y, z] = iPoints.arrays;
  std::array<std::uint32_t, SFProgramParts::Count + 2> ends{};
  auto& parts = ioWorker.parts;
  parts.resize(std::max(parts.size(), iCount));
  for (std::size_t i = 0; i < iCount; ++i) {
    std::size_t const part = iParts.PartOf(x[i], y[i], z[i]);
    parts[i] = static_cast<std::uint8_t>(part);
    ++ends[part + 1];
  }
  auto const partAt = [&iParts](std::size_t iPart) { return iPart < iParts.Count ? &iParts[iPart] : nullptr; };
  if (ends[parts[0] + 1U] == iCount)
    return RunBatches({0, iCount, nullptr}, iPoints.arrays, partAt(parts[0]), iSink, ioWorker);
  if (iCount < leastDivided)
    return RunBatches({0, iCount, nullptr}, iPoints.arrays, nullptr, iSink, ioWorker);
  std::partial_sum(ends.begin(), ends.end(), ends.begin());
  ioWorker.numbers.resize(std::max(ioWorker.numbers.size(), iCount));
  for (auto& coordinates : ioWorker.coordinates)
    coordinates.resize(std::max(coordinates.size(), iCount));
  auto next = ends;
  for (std::size_t i = 0; i < iCount; ++i) {
    std::uint32_t const to = next[parts[i]]++;
    ioWorker.numbers[to] = static_cast<std::uint32_t>(i);
    for (std::size_t axis = 0; axis < 3; ++axis)
      ioWorker.coordinates[axis][to] = iPoints.arrays[axis][i];
  }
  for (std::size_t part = 0; part <= SFProgramParts::Count; ++part)
    if (std::size_t const first = ends[part], count = ends[part + 1] - first; count != 0)
      RunBatches({0, count, &ioWorker.numbers[first]},
                 {&ioWorker.coordinates[0][first], &ioWorker.coordinates[1][first], &ioWorker.coordinates[2][first]},
                 partAt(part), iSink, ioWorker);
}

/// In batches of about one length.
void SFPointRuns::RunBatches(SFPointPlaces const& iPlaces, std::array<double const*, 3> const& iPoints,
                             SFProgramPart const* iPart, SFTapePoints::Sink const& iSink, Worker& ioWorker) const
{
  std::size_t const batches = (iPlaces.count + SFDirectPoints::BatchSize - 1) / SFDirectPoints::BatchSize;
  std::size_t const length = (iPlaces.count + batches - 1) / batches;
  for (std::size_t from = 0; from < iPlaces.count && !ioWorker.stop.MustStop(); from += length) {
    SFPointPlaces places{iPlaces.first, std::min(length, iPlaces.count - from), nullptr};
    if (iPlaces.numbers != nullptr)
      places.numbers = iPlaces.numbers + from;
    else
      places.first += from;
    ioWorker.runner.Run(places.count, {iPoints[0] + from, iPoints[1] + from, iPoints[2] + from}, iPart,
                        !ioWorker.runsValueAlone);
    iSink(places, [&](std::size_t iResult) { return ioWorker.runner.Row(iResult); });
  }
}

} // namespace SF
