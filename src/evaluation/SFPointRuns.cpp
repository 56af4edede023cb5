#include "evaluation/SFPointRuns.h"

#include <algorithm>

namespace SF {

SFTapePoints const& SFPointRuns::Prepared() const
{
  std::call_once(_once, [this] {
    _made = std::make_unique<SFTapePoints>(*_tape, _options);
    _prepared = _made.get();
  });
  return *_made;
}

std::size_t SFPointRuns::GetBytes() const
{
  SFTapePoints const* const prepared = _prepared;
  return sizeof(*this) + _tape->instructions.size() * sizeof(SFTapeInstruction) +
         (prepared != nullptr ? prepared->GetBytes() : 0);
}

HRESULT SFPointRuns::Run(std::size_t iCount, SFTapePoints::Points const& iPoints, SFFieldCall& ioCall,
                         SFTapePoints::Sink const& iSink) const
{
  if (!_isDirect || iCount > SFDirectPoints::MostPoints || iPoints.source != nullptr)
    return Prepared().Run(iCount, iPoints, ioCall, iSink);
  return ioCall.Run(1, [&](bool) { RunDirectly(iCount, iPoints, iSink); });
}

void SFPointRuns::RunDirectly(std::size_t iCount, SFTapePoints::Points const& iPoints,
                              SFTapePoints::Sink const& iSink) const
{
  constexpr std::size_t mostKept = 64;
  if (iCount == 0)
    return;
  auto runner = _scratch->Take([] { return std::make_unique<SFDirectPoints>(); });
  runner->Bind(_tape);
  std::size_t const batches = (iCount + SFDirectPoints::BatchSize - 1) / SFDirectPoints::BatchSize;
  std::size_t const length = (iCount + batches - 1) / batches;
  auto const& [x, y, z] = iPoints.arrays;
  for (std::size_t from = 0; from < iCount; from += length) {
    std::size_t const count = std::min(length, iCount - from);
    runner->Run(count, {x + from, y + from, z + from});
    iSink({from, count, nullptr}, [&](std::size_t iResult) { return runner->Row(iResult); });
  }
  _scratch->GiveBack(std::move(runner), mostKept);
}

} // namespace SF
