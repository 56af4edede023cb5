#pragma once

#include "tape/SFTapeKernels.h"
#include "tape/SFTapeList.h"
#include "tape/SFTapeShape.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace SF {

/// Names the array of a value, whose address the runner looks up.
struct SFArrayRef
{
  enum class Kind : std::uint8_t
  {
    None,
    Slot,   ///< of the tile; the index is its number in the plan
    Scalar, ///< a value without axes; the index is the value
    Grid,   ///< a hoisted value; the index is the value
    Point   ///< at points: a coordinate; the index is the axis
  };
  Kind kind = Kind::None;
  std::uint32_t index = 0;
};

/// The array of a value and the layout of its elements.
struct SFPlannedValue
{
  SFArrayRef array;
  std::array<std::ptrdiff_t, 3> strides{};
  SFAxes axes = 0;

  bool IsInSlot() const { return array.kind == SFArrayRef::Kind::Slot; }
};

/// The calls that compute a list over tiles of one size. Nothing in it depends on where the tile lies: the addresses in
/// its boxes are filled in by the runner.
struct SFTapePlan
{
  /// An operator.
  struct KernelCall
  {
    SFKernel kernel = nullptr;
    SFKernelBox box;
    SFArrayRef out, a, b;
  };
  /// A fused group, or a part of one.
  struct FusedCall
  {
    SFFusedBox box;
    SFArrayRef out; ///< none where the values are the result and go to the target
    SFArrayRef first;
    std::size_t firstOp = 0; ///< its first op among those of the plan
  };
  /// An instruction that no kernel computes.
  struct PointwiseCall
  {
    SFTapeStep step;
    SFArrayRef out;
    std::array<SFPlannedValue, 3> operands;
  };
  enum class CallKind : std::uint8_t
  {
    Kernel,
    Fused,
    Pointwise
  };
  /// One of the calls above.
  struct Call
  {
    CallKind kind;
    std::uint32_t number;
  };

  std::vector<Call> calls; ///< in the order in which they run
  std::vector<KernelCall> kernelCalls;
  std::vector<FusedCall> fusedCalls;
  std::vector<PointwiseCall> pointwiseCalls;
  std::vector<SFFusedOp> ops;
  std::vector<SFArrayRef> opArrays; ///< by op

  std::array<unsigned int, 3> count{}; ///< the size of the tiles
  SFTapeShapes shapes;
  std::vector<SFAxes> slots;           ///< by number: the axes of the values that it takes in turn
  std::vector<SFPlannedValue> results; ///< by result of the list
  bool storesResult = false;           ///< whether the last call stores the one result into the target
};

} // namespace SF
