#pragma once

#include "tape/SFPointProgram.h"
#include "tape/SFProgramParts.h"
#include "tape/SFValueBuffer.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace SF {

/// Runs programs at points: each step is one kernel call over a batch of points, if any of these needs it. One thread's.
class SFDirectPoints
{
public:
  /// Points that Run takes at once.
  static constexpr std::size_t BatchSize = SFPointProgram::BatchSize;
  static constexpr std::size_t MostInstructions = 4096;
  static constexpr std::size_t MostWithDerivatives = 65536; ///< few of which run

  /// Whether it is short enough, and kernels compute all of it.
  static bool CanRun(SFTape const& iTape, bool iHasDerivatives);

  /// Gets ready for a program, which must stay until the last Row.
  void Bind(SFPointProgram const& iProgram);
  /// The program at some points; there may be no more than BatchSize of them. `iPart`: that all of them are in; null for
  /// points anywhere. Without the optional steps it computes the results that need none, as the field's value.
  void Run(std::size_t iCount, std::array<double const*, 3> const& iPoints, SFProgramPart const* iPart,
           bool iHasOptional);
  /// The values of a result at the points of the last run.
  double const* Row(std::size_t iResult);

private:
  using Place = SFPointProgram::Place;

  double* At(Place iPlace) const { return _base + iPlace; }
  void Call(SFPointProgram::Step const& iStep, std::size_t iCount) const;
  void Select(SFPointProgram::Step const& iStep, std::size_t iCount) const;
  void RunPart(SFProgramPart const& iPart, std::size_t iCount) const;
  void Copy(Place iFrom, Place iTo, std::size_t iCount) const;
  void RunOptional(std::size_t iCount);
  void RunOptional(SFPointProgram::OptionalStep const& iStep, std::size_t iCount) const;
  void Demand(std::int32_t iStep);
  unsigned int TakenBy(std::int32_t iCondition, std::size_t iCount);

  SFTapeKernels const& _kernels = ActiveTapeKernels();
  SFPointProgram const* _program = nullptr;
  SFValueBuffer _room; ///< for scalars and rows
  std::size_t _size = 0;
  double* _base = nullptr;                                ///< where the rows begin
  std::vector<std::uint64_t> _demanded;                   ///< optional steps, a bit each
  std::vector<std::uint8_t> _taken;                       ///< by condition
  std::vector<std::array<double, BatchSize>> _scalarRows; ///< by result
};

} // namespace SF
