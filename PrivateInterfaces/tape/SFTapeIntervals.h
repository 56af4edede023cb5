#pragma once

#include "operators/SFInterval.h"
#include "operators/SFScalarOps.h"
#include "tape/SFRanges.h"
#include "tape/SFSlopeTable.h"
#include "tape/SFTape.h"
#include "tape/SFTapeKernels.h"

#include <array>
#include <cstddef>
#include <limits>
#include <vector>

namespace SF {

/// The range of an operator over ranges of its operands, from the one meaning that it has. A unary operator reads
/// `iA` alone; the square of one value is recognised by `iA` and `iB` being one object.
SFInterval RangeOfOperator(SFTapeCode iOperator, SFInterval const& iA, SFInterval const& iB);

/// Where values are computed at, of a range of a coordinate; NaN for one without ends.
inline double MiddleOf(SFInterval const& iRange) { return iRange.lo + (iRange.hi - iRange.lo) / 2.0; }

/// The range of the angle of (u, w).
SFInterval RangeOfAngle(SFInterval const& iU, SFInterval const& iW);

/// The interval evaluation of a tape, an instruction at a time, over W boxes at once: `oRange` becomes the range of one
/// with some code and the ranges of its first two operands. That of a leaf is written by `iLeaf(oRange)`. `WithCentres`: the
/// values at the centres too, NaN where only the runner knows them.
template <bool WithCentres, std::size_t W, class Leaf>
void ComputeRange(SFTapeCode iCode, SFRanges<W> const& iA, SFRanges<W> const& iB, SFTapeKernels const& iKernels,
                  Leaf const& iLeaf, SFRanges<W>& oRange)
{
  if (IsOperatorCode(iCode)) {
    if constexpr (W == SFRangeLanes)
      return (WithCentres ? iKernels.rangesWithCentres : iKernels.ranges)[iCode](oRange, iA, iB);
    else {
      SFInterval const a = iA.At(0);
      SFInterval const b = iB.At(0);
      if constexpr (WithCentres)
        oRange.centre[0] = ScalarOps::Apply(SFNodeType{iCode}, iA.centre[0], iB.centre[0]);
      return oRange.Set(0, RangeOfOperator(iCode, a, &iA == &iB ? a : b));
    }
  }
  if constexpr (WithCentres)
    oRange.SetCentres(std::numeric_limits<double>::quiet_NaN());
  if (iCode == AngleCode)
    for (std::size_t lane = 0; lane < W; ++lane)
      oRange.Set(lane, RangeOfAngle(iA.At(lane), iB.At(lane)));
  else if (ArityOf(iCode) == 0)
    iLeaf(oRange);
  else // of a resource nothing is known
    oRange.SetAll(SFInterval::Anything());
}

/// The ranges of all values of a tape for points in a box, given by the ranges of its coordinates. Confined by slopes
/// that hold there.
std::vector<SFRanges<1>> RangesOverBox(SFTape const& iTape, SFPointBox const& iBox, SFSlopeTable const& iSlopes = {});
/// That of its first result.
SFInterval RangeOverBox(SFTape const& iTape, SFPointBox const& iBox, SFSlopeTable const& iSlopes = {});

} // namespace SF
