#pragma once

#include "tape/SFDirectPoints.h"
#include "tape/SFTapePoints.h"

#include <atomic>
#include <memory>
#include <mutex>

namespace SF {

/// Runs a tape at points. One that has been restricted runs a few of them directly: there may be many such tapes, each with
/// little to do. What many points need is prepared when first asked for. Calls may come from several threads at once.
class SFPointRuns
{
public:
  using Scratch = SFPool<SFDirectPoints>;

  /// The scratch is shared by many; the options must outlive the object.
  SFPointRuns(std::shared_ptr<SFTape const> iTape, bool iIsRestricted, SFCompiledFieldOptions const& iOptions,
              std::shared_ptr<Scratch> iScratch)
    : _tape(std::move(iTape)), _isDirect(iIsRestricted && SFDirectPoints::CanRun(*_tape)), _options(iOptions),
      _scratch(std::move(iScratch))
  {
  }

  HRESULT Run(std::size_t iCount, SFTapePoints::Points const& iPoints, SFFieldCall& ioCall,
              SFTapePoints::Sink const& iSink) const;

  /// Bytes that are taken between calls, about.
  std::size_t GetBytes() const;

private:
  void RunDirectly(std::size_t iCount, SFTapePoints::Points const& iPoints, SFTapePoints::Sink const& iSink) const;
  SFTapePoints const& Prepared() const;

  std::shared_ptr<SFTape const> _tape;
  bool _isDirect;
  SFCompiledFieldOptions const& _options;
  std::shared_ptr<Scratch> _scratch;
  mutable std::once_flag _once;
  mutable std::unique_ptr<SFTapePoints> _made;
  mutable std::atomic<SFTapePoints const*> _prepared{nullptr};
};

} // namespace SF
