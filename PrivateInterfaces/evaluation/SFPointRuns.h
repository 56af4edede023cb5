#pragma once

#include "tape/SFDirectPoints.h"
#include "tape/SFTapePoints.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

namespace SF {

/// Runs a tape at points. One that has been restricted runs a few of them directly: there may be many such tapes, each with
/// little to do. Once there have been enough of them, derivatives are run part by part of its box. What many points need is
/// prepared when first asked for. Calls may come from several threads at once.
class SFPointRuns
{
public:
  /// The working memory of a thread.
  struct Worker
  {
    SFPointProgrammer programmer;
    SFDirectPoints runner;
    SFStopState stop;
    bool runsValueAlone = false;
    std::vector<std::uint8_t> parts;    ///< by point
    std::vector<std::uint32_t> numbers; ///< of points, part by part
    std::array<std::vector<double>, 3> coordinates;
  };
  using Scratch = SFPool<Worker>;

  /// `iHasDerivatives`: the tape has, and is kept for this alone. `iBox`: what it has been restricted to. The scratch is
  /// shared by many; the options must outlive the object.
  SFPointRuns(std::shared_ptr<SFTape const> iTape, bool iHasDerivatives, std::optional<SFPointBox> const& iBox,
              SFCompiledFieldOptions const& iOptions, std::shared_ptr<Scratch> iScratch)
    : _tape(std::move(iTape)), _hasDerivatives(iHasDerivatives), _box(iBox),
      _isDirect(iBox && SFDirectPoints::CanRun(*_tape, iHasDerivatives)), _options(iOptions),
      _scratch(std::move(iScratch))
  {
  }

  HRESULT Run(std::size_t iCount, SFTapePoints::Points const& iPoints, SFFieldCall& ioCall,
              SFTapePoints::Sink const& iSink) const;

  /// Whether points of a part of its box cost less.
  bool HasParts() const { return _hasParts; }
  /// Its first result alone at a few points, of a tape with parts. For the sink it is the only one.
  HRESULT RunValue(std::size_t iCount, SFTapePoints::Points const& iPoints, SFFieldCall& ioCall,
                   SFTapePoints::Sink const& iSink) const;

  /// Bytes that are taken between calls, about.
  std::size_t GetBytes() const;

private:
  void RunDirectly(std::size_t iCount, SFTapePoints::Points const& iPoints, SFFieldCall& ioCall,
                   SFTapePoints::Sink const& iSink, bool iIsValueAlone) const;
  void RunInParts(SFProgramParts const& iParts, std::size_t iCount, SFTapePoints::Points const& iPoints,
                  SFTapePoints::Sink const& iSink, Worker& ioWorker) const;
  void RunBatches(SFPointPlaces const& iPlaces, std::array<double const*, 3> const& iPoints, SFProgramPart const* iPart,
                  SFTapePoints::Sink const& iSink, Worker& ioWorker) const;
  SFProgramParts const* Parts(std::size_t iCount) const;
  SFTapePoints const& Prepared() const;
  SFPointProgram const& Program(Worker& ioWorker) const;

  std::shared_ptr<SFTape const> _tape;
  bool _hasDerivatives;
  std::optional<SFPointBox> _box;
  bool _isDirect;
  SFCompiledFieldOptions const& _options;
  std::shared_ptr<Scratch> _scratch;
  mutable std::once_flag _programOnce;
  mutable SFPointProgram _program;
  mutable std::atomic<std::size_t> _programBytes{0}; ///< and of the parts
  mutable std::atomic<std::size_t> _seen{0};         ///< points of all calls, until there are parts
  mutable std::once_flag _partsOnce;
  mutable std::optional<SFProgramParts> _parts;
  mutable std::atomic<bool> _hasParts{false};
  mutable std::once_flag _once;
  mutable std::unique_ptr<SFTapePoints> _made;
  mutable std::atomic<SFTapePoints const*> _prepared{nullptr};
};

} // namespace SF
