#pragma once

#include "SFOperatorTable.h"
#include "SFTypes.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace SF {

class ResourceToSF;
struct SFSlopeTable;

/// Number of a value on a tape: the position of the instruction that computes it.
using SFValueId = std::uint32_t;

/// The operation of an instruction: the operators under the numbers of their node kinds, CONSTANT, X, Y and Z, and a few
/// codes more. The last four occur on tapes with derivatives only, which are run at points and not on grids.
using SFTapeCode = std::uint8_t;
constexpr SFTapeCode CodeOf(SFNodeType iType) { return static_cast<SFTapeCode>(iType); }
constexpr SFTapeCode ResourceCode = CodeOf(SFNodeType::RESOLVEDREF); ///< a resource at the point (a, b, c)
constexpr SFTapeCode AngleCode = SFNodeTypeCount;                    ///< the angle of (a, b) in (0, 2 pi]
constexpr SFTapeCode LimitCode = SFNodeTypeCount + 1;                ///< the cylinder limit number `a` of the grid
constexpr SFTapeCode InputCode = SFNodeTypeCount + 2;                ///< in lists: a value with a known range
constexpr SFTapeCode SelectCode = SFNodeTypeCount + 3;               ///< a > 0 ? b : c; c where a is NaN
constexpr SFTapeCode GradientCode = SFNodeTypeCount + 4; ///< and the next two: a component of a resource's gradient

/// Whether the instruction names a resource, at the point (a, b, c).
constexpr bool IsResourceCode(SFTapeCode iCode)
{
  return iCode == ResourceCode || (iCode >= GradientCode && iCode < GradientCode + 3);
}

/// Whether the instruction is a coordinate of the grid point: X, Y or Z.
constexpr bool IsCoordinateCode(SFTapeCode iCode)
{
  return iCode >= CodeOf(SFNodeType::X) && iCode <= CodeOf(SFNodeType::Z);
}
constexpr std::size_t AxisOf(SFTapeCode iCoordinate) { return iCoordinate - CodeOf(SFNodeType::X); }

constexpr bool IsOperatorCode(SFTapeCode iCode) { return IsOperator(SFNodeType{iCode}); }
/// How many of a, b, c name values.
constexpr int ArityOf(SFTapeCode iCode)
{
  if (IsResourceCode(iCode) || iCode == SelectCode)
    return 3;
  if (iCode == AngleCode)
    return 2;
  return IsOperatorCode(iCode) ? OperatorRow(SFNodeType{iCode}).arity : 0;
}

/// A set of axes, a bit each: x 1, y 2, z 4.
using SFAxes = std::uint8_t;
constexpr SFAxes AllAxes = 7;
/// The first axis of a set that is not empty.
constexpr std::size_t FirstAxis(SFAxes iAxes) { return static_cast<std::size_t>(std::countr_zero(iAxes)); }

struct SFTapeInstruction
{
  SFTapeCode code = 0;
  SFAxes axes = 0; ///< which coordinates the value depends on
  std::array<SFValueId, 3> operands{};
  union {
    double constant = 0.0;
    ResourceToSF const* resource;
  };
};

/// Replaces the values that an instruction names by `iRenumbered(value)`. A unary operator names its operand twice.
template <class Renumbered>
void RenumberOperands(SFTapeInstruction& ioInstruction, Renumbered iRenumbered)
{
  int const arity = ArityOf(ioInstruction.code);
  for (std::size_t i = 0; i < static_cast<std::size_t>(arity); ++i)
    ioInstruction.operands[i] = iRenumbered(ioInstruction.operands[i]);
  if (IsOperatorCode(ioInstruction.code) && arity == 1)
    ioInstruction.operands[1] = ioInstruction.operands[0];
}

/// What the caller has stated of a value: no difference quotient over points of space is larger.
struct SFStatedBound
{
  SFValueId value = 0;
  double lipschitz = 0.0;
};

/// A minimum or maximum, and the condition by which its derivatives are selected, and none but these.
struct SFTapeChoice
{
  SFValueId condition = 0;
  SFValueId chooser = 0;
};

/// A field as a list of instructions, each after its operands. Equal operations on equal values are one value.
struct SFTape
{
  std::vector<SFTapeInstruction> instructions;
  std::vector<SFStatedBound> bounds;
  std::vector<SFValueId> results; ///< one a root, in the order in which the roots were given
  /// The slopes of its values in the box that it has been restricted to; none for a tape that holds everywhere.
  std::shared_ptr<SFSlopeTable const> slopes;
  /// On tapes with first derivatives.
  std::vector<SFTapeChoice> choices;
  /// On these too: values of the field that derivatives of others than their readers read as well.
  std::vector<SFValueId> readAside;
};

/// Whether it asks the host, whose answers take any time.
inline bool HasResources(SFTape const& iTape)
{
  return std::any_of(iTape.instructions.begin(), iTape.instructions.end(),
                     [](SFTapeInstruction const& iInstruction) { return IsResourceCode(iInstruction.code); });
}

/// The grid-dependent constants: the limit of the cylinder correction, per kind of context.
enum SFTapeLimit : std::uint32_t
{
  EFieldLimit = 0,    ///< contexts with a domain size and perhaps a voxel size
  EGradientLimit = 1, ///< contexts with a position only
  ELimitCount = 2
};

} // namespace SF
