#pragma once

#include "tape/SFTape.h"
#include "tape/SFTapeKernels.h"
#include "tape/SFValueBuffer.h"

#include <array>
#include <cstddef>
#include <memory>
#include <vector>

namespace SF {

/// Runs short tapes at a few points: nothing is prepared of them but rows for the values, free again after their last use,
/// and each instruction is one kernel call over a batch of points. One thread's.
class SFDirectPoints
{
public:
  /// Points that Run takes at once.
  static constexpr std::size_t BatchSize = 128;
  /// A point costs more than in fused steps, and a call much less than preparing: so many points are worth it.
  static constexpr std::size_t MostPoints = 1023;
  static constexpr std::size_t MostInstructions = 4096;

  /// Whether it is short, and kernels compute all of it.
  static bool CanRun(SFTape const& iTape);

  /// Gets ready for a tape; the last one is ready.
  void Bind(std::shared_ptr<SFTape const> const& iTape);
  /// The tape at some points; there may be no more than BatchSize of them.
  void Run(std::size_t iCount, std::array<double const*, 3> const& iPoints);
  /// The values of a result at the points of the last run.
  double const* Row(std::size_t iResult);

private:
  struct Operand
  {
    double* row = nullptr;          ///< null where it is one value
    double const* scalar = nullptr; ///< the one value
    std::uint32_t lastUse = 0;      ///< the instruction
  };
  struct Step
  {
    SFKernel kernel; ///< null for a selection
    double* out;
    std::array<double const*, 3> operands;
    std::array<bool, 3> varies;
  };

  void BindAnew(SFTape const& iTape);
  void FindLastUses(SFTape const& iTape);
  double* TakeRow();
  double* AddRow();
  void BindScalar(SFTapeInstruction const& iInstruction, SFValueId iId);
  void BindStep(SFTapeInstruction const& iInstruction, SFValueId iId);
  void Select(Step const& iStep, std::size_t iCount) const;

  SFTapeKernels const& _kernels = ActiveTapeKernels();
  std::shared_ptr<SFTape const> _tape; ///< that it is ready for
  std::vector<Operand> _operands;      ///< by value
  std::vector<double> _scalars;        ///< by value
  std::vector<Step> _steps;
  std::array<double*, 3> _coordinates{};
  std::vector<SFValueBuffer> _rows;
  std::size_t _usedRows = 0;
  std::vector<double*> _free;
};

} // namespace SF
