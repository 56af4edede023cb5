#pragma once

#include "operators/SFInterval.h"
#include "tape/SFTape.h"

#include <array>
#include <span>
#include <vector>

namespace SF {

/// How much a value can differ between two points of a box, from what the tape shows and what has been stated of it.
struct SFSlope
{
  /// Of the exact values: |f(p) - f(q)| <= lipschitz |p - q|.
  double lipschitz = SFInterval::Infinity;
  /// The same for the root of the exact values, none of which is then below 0. A sum of squares has no other bound that
  /// is worth having.
  double ofRoot = SFInterval::Infinity;
  /// No computed value is further from the exact one.
  double error = SFInterval::Infinity;
  /// Whether a bound follows from a stated one. Such a bound holds for the values of the tape and not for those that
  /// pruning leaves where they do not matter.
  bool isStated = false;
};

/// The slopes of all values of a tape, for points in the box where the values have these ranges.
///
/// Affine functions of the point are known by their gradients, and what is pieced together of them by the gradients of its
/// pieces, so that the length of a vector of such functions has the norm of its Jacobian as its bound: 1 for the distance
/// from a segment, however it is written. Everything else follows operator by operator. Errors are forward error bounds.
/// (N. J. Higham, Accuracy and Stability of Numerical Algorithms, 2002, chapter 3; F. H. Clarke, Optimization and Nonsmooth
/// Analysis, 1983, for the gradients of pieces.)
///
/// `iNeeded`: by value, whether it is wanted; it must be of the operands of what is. All where it is empty.
std::vector<SFSlope> SlopesOf(SFTape const& iTape, std::span<SFInterval const> iRanges,
                              std::span<char const> iNeeded = {});

/// No vector grows by more under these three columns: an upper bound of the largest singular value, at most half a percent
/// above it.
double NormBound(std::span<std::array<double, 3> const> iRows);

} // namespace SF
