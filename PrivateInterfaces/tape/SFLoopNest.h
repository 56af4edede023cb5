#pragma once

#include "tape/SFTapePlan.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <span>

namespace SF {

/// The loops over a box for some operands. Axes along which all operands are contiguous are collapsed into one loop.
/// Along the innermost one the strides are 0 or 1, as the kernels expect.
class SFLoopNest
{
public:
  /// `iAxes` and `iShape`: those of the values that are computed.
  SFLoopNest(SFAxes iAxes, SFTapeShape const& iShape, std::span<SFPlannedValue const* const> iOperands)
  {
    if (std::all_of(iOperands.begin(), iOperands.end(),
                    [iAxes](SFPlannedValue const* iValue) { return IsContiguous(*iValue, iAxes); })) {
      _counts[0] = iShape.volume; // most calls of most tiles
      _axes[0] = iAxes != 0 ? FirstAxis(iAxes) : NoAxis;
      return;
    }
    std::size_t used = 0;
    for (std::size_t axis = 0; axis < 3; ++axis) {
      std::size_t const extent = iShape.extents[axis];
      if (extent == 1)
        continue;
      // A box one point wide, out of values of a wider grid: rows of one.
      if (used == 0 && std::any_of(iOperands.begin(), iOperands.end(),
                                   [axis](SFPlannedValue const* iValue) { return iValue->strides[axis] > 1; }))
        used = 1;
      bool const collapses =
          used > 0 && std::all_of(iOperands.begin(), iOperands.end(), [&](SFPlannedValue const* iValue) {
            return Stride(*iValue, used - 1) * static_cast<std::ptrdiff_t>(_counts[used - 1]) == iValue->strides[axis];
          });
      if (collapses) {
        _counts[used - 1] *= extent;
        continue;
      }
      _counts[used] = extent;
      _axes[used++] = axis;
    }
  }

  /// Whether a value lies like those that are computed, or is one number.
  static bool IsContiguous(SFPlannedValue const& iValue, SFAxes iAxes)
  {
    return iValue.axes == 0 || (iValue.IsInSlot() && iValue.axes == iAxes);
  }

  /// The lengths of the loops, the innermost first.
  std::array<std::size_t, 3> const& Counts() const { return _counts; }
  std::ptrdiff_t Stride(SFPlannedValue const& iValue, std::size_t iLevel) const
  {
    return _axes[iLevel] == NoAxis ? 0 : iValue.strides[_axes[iLevel]];
  }
  /// The address is filled in later.
  SFKernelOperand Operand(SFPlannedValue const& iValue) const
  {
    return {nullptr, Stride(iValue, 1), Stride(iValue, 2)};
  }
  bool Varies(SFPlannedValue const& iValue) const { return Stride(iValue, 0) != 0; }

private:
  static constexpr std::size_t NoAxis = 3;
  std::array<std::size_t, 3> _counts{1, 1, 1};
  std::array<std::size_t, 3> _axes{NoAxis, NoAxis, NoAxis}; ///< by loop: the first axis that it runs along
};

} // namespace SF
