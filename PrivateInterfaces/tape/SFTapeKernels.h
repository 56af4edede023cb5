#pragma once

#include "tape/SFRanges.h"
#include "tape/SFTape.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace SF {

/// One operand of a kernel: element (i, j, k) is data[i sx + j s1 + k s2], where sx is 1 or 0 (one value a row).
struct SFKernelOperand
{
  double const* data = nullptr;
  std::ptrdiff_t s1 = 0;
  std::ptrdiff_t s2 = 0;
};

/// A box of n0 x n1 x n2 elements, written contiguously. The output never overlaps an operand.
struct SFKernelBox
{
  double* out = nullptr;
  std::size_t n0 = 1;
  std::size_t n1 = 1;
  std::size_t n2 = 1;
  SFKernelOperand a;
  SFKernelOperand b;
};
using SFKernel = void (*)(SFKernelBox const&);

/// The forms of a kernel, by which of its operands vary along a row.
enum class SFKernelForm : std::size_t
{
  BothVary = 0,
  FirstVaries = 1,
  SecondVaries = 2
};
constexpr std::size_t SFKernelFormCount = 3;

/// One operation of a fused group: an operator or a selection with its other operand, or one of the codes below.
struct SFFusedOp
{
  SFTapeCode code = 0;
  bool swapped = false; ///< the value so far is the second operand
  bool varies = false;  ///< whether the other operand varies along a row
  /// The other operand; without data that of a binary operator is the value in the second register.
  SFKernelOperand operand;
};
/// Moves the value so far into the second register, until an operator takes it, and begins a new one with the operand.
constexpr SFTapeCode SFSpillCode = InputCode;
/// Names the condition, its operand, of the selection that follows. The two operands of the latter are its other two.
constexpr SFTapeCode SFConditionCode = LimitCode;
constexpr std::size_t SFMaxFusedOps = 32;

/// A fused group over a box whose rows are at least SFShortestRow long: each operator takes the value of the one before,
/// which stays in registers from the first operand to the last operator, as does the second register.
struct SFFusedBox
{
  std::size_t n0 = 1;
  std::size_t n1 = 1;
  std::size_t n2 = 1;
  SFKernelOperand first;
  bool firstVaries = true;
  SFFusedOp const* ops = nullptr;
  std::size_t opCount = 0;
  /// The values are written contiguously to `out`, or, when it is null, stored as floats: float (i, j, k) is
  /// floats[i + j s1 + k s2]. Neither overlaps an operand.
  double* out = nullptr;
  float* floats = nullptr;
  std::ptrdiff_t s1 = 0;
  std::ptrdiff_t s2 = 0;
  bool clamps = false; ///< to the diagonal, as rendering does
  double diagonal = 0.0;
  bool streams = false; ///< floats are stored past the caches, where rows are long
};
using SFFusedKernel = void (*)(SFFusedBox const&);
constexpr std::size_t SFShortestRow = 8;

/// Whether steps with this code may be fused.
constexpr bool IsFusable(SFTapeCode iCode) { return iCode == SelectCode || OperatorRow(SFNodeType{iCode}).isFusable; }

/// The floats of a box of n0 x n1 x n2 points: those of point (i, j, k) begin at out[i w + j s1 + k s2], where
/// w is how many there are for each. They may be stored past the caches, where rows are long.
struct SFFloatBox
{
  float* out = nullptr;
  std::ptrdiff_t s1 = 0;
  std::ptrdiff_t s2 = 0;
  std::size_t n0 = 1;
  std::size_t n1 = 1;
  std::size_t n2 = 1;
  bool streams = false;
};

/// Values to be stored as a float each.
struct SFStoreBox
{
  SFFloatBox floats;
  SFKernelOperand values;
  bool varies = true; ///< whether the values vary along a row
};

/// Writes values as the floats that a rendering stores, either limited to the diagonal or plain.
using SFStoreKernel = void (*)(SFStoreBox const&, double iDiagonal);

/// Vectors to be stored as floats x, y, z, x, y, z..., divided by their lengths.
struct SFNormalBox
{
  SFFloatBox floats;
  std::array<SFKernelOperand, 3> components;
  std::array<bool, 3> vary{true, true, true}; ///< whether the components vary along a row
};
using SFNormalKernel = void (*)(SFNormalBox const&);

/// The kernels of one instruction set.
struct SFTapeKernels
{
  std::string_view name;
  /// By code and form: of operators and AngleCode, null for other codes.
  SFKernel operators[AngleCode + 1][SFKernelFormCount];
  SFFusedKernel fused;
  /// Of operators over ranges, by code; null for others. The square of one value is recognised by both operands
  /// being one object.
  SFRangeKernel ranges[SFNodeTypeCount];
  SFRangeKernel rangesWithCentres[SFNodeTypeCount];
  SFConfineKernel confine[2]; ///< by whether the slope is that of the root
  /// Of the choices that narrow what matters of their operands, by code; null for others.
  SFNarrowKernel narrow[SFNodeTypeCount];
  SFWidenKernel widen;
  SFStoreKernel storeClamped;
  SFStoreKernel storePlain;
  SFNormalKernel storeNormals;
};

/// The kernel sets that this machine can run, the fastest first; the last one is "portable".
std::vector<SFTapeKernels const*> const& AvailableTapeKernels();

/// The set in use: the fastest, or the one that the environment variable SF_KERNELS names (see SFInstructionSets).
SFTapeKernels const& ActiveTapeKernels();

} // namespace SF
