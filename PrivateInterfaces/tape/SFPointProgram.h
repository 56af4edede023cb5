#pragma once

#include "tape/SFTape.h"
#include "tape/SFTapeKernels.h"
#include "tape/SFValueBuffer.h"

#include <array>
#include <cstdint>
#include <vector>

namespace SF {

/// A tape as kernel calls over rows of points, a call an instruction. On tapes with derivatives most instructions are read
/// by operands of selections alone: these steps come second, and run only where a point takes that operand.
struct SFPointProgram
{
  /// Points of a batch.
  static constexpr std::size_t BatchSize = 128;
  /// How far apart rows begin. Not a divisor of a page: see SFValueBuffer::Stride.
  static constexpr std::size_t Stride = BatchSize + SFValueBuffer::LineValues;

  /// Where a value is in memory, in values: rows begin at multiples of the stride, scalars lie before them.
  using Place = std::int32_t;
  static constexpr Place None = -1; ///< as a step or a condition

  struct Step
  {
    SFKernel kernel = nullptr; ///< null for a selection
    SFValueId id = 0;          ///< what it computes
    Place out = 0;
    std::array<Place, 3> operands{};

    bool Varies(std::size_t i) const { return operands[i] >= 0; }
  };
  /// What selections are made by.
  struct Condition
  {
    Step step;               ///< its `out` is the row
    bool isComputed = false; ///< among the first steps; others are where they are asked for
  };
  struct OptionalStep
  {
    Step step;
    std::array<std::int32_t, 3> operands{None, None, None}; ///< those that are optional steps: their numbers
    std::int32_t condition = None;                          ///< of a selection that takes one operand at a point
  };
  struct Result
  {
    Place place = 0;
    std::int32_t step = None; ///< the optional step that computes it
  };

  std::vector<Step> steps; ///< that always run
  std::vector<Condition> conditions;
  std::vector<OptionalStep> optional;
  std::vector<Result> results;
  std::vector<double> scalars; ///< in the order of falling places, the first one at -1
  std::size_t rows = 0;        ///< how many it needs; the first three are the coordinates

  std::size_t GetBytes() const
  {
    return steps.capacity() * sizeof(Step) + conditions.capacity() * sizeof(Condition) +
           optional.capacity() * sizeof(OptionalStep) + scalars.capacity() * sizeof(double);
  }
};

/// Writes programs. The memory is used again.
class SFPointProgrammer
{
public:
  /// Of a tape without resources.
  SFPointProgram Run(SFTape const& iTape);

private:
  enum class Phase : std::uint8_t
  {
    Known, ///< coordinates and scalars
    Always,
    Condition,
    Optional
  };
  struct Value
  {
    Phase phase = Phase::Optional;
    bool hasSelection = false; ///< it, or what it is computed from
    SFPointProgram::Place place = 0;
    std::uint32_t lastUse = 0;                  ///< in the order of the steps
    std::int32_t number = SFPointProgram::None; ///< among the conditions or the optional steps
  };

  bool IsReady(SFValueId iId) const { return _values[iId].phase <= Phase::Always; }
  void FindKnown();
  void FindPhases();
  void MakeOperandsReady();
  void FindOrder();
  void AddStep(SFValueId iId, std::uint32_t iPosition);
  double ScalarOf(SFTapeInstruction const& iInstruction) const;
  SFPointProgram::Step StepOf(SFTapeInstruction const& iInstruction, SFValueId iId);
  void AddOptional(SFTapeInstruction const& iInstruction, SFPointProgram::Step const& iStep);
  void Free(SFTapeInstruction const& iInstruction, std::uint32_t iPosition);

  SFTapeKernels const& _kernels = ActiveTapeKernels();
  SFTape const* _tape = nullptr;
  SFPointProgram _program;
  std::vector<Value> _values;
  std::vector<SFValueId> _order;
  std::vector<SFPointProgram::Place> _free;
};

} // namespace SF
