#pragma once

#include "SFOperatorTable.h"
#include "operators/SFInterval.h"

#include <cmath>
#include <cstddef>
#include <cstdint>

namespace SF {

/// The ranges of one value over several boxes, a lane each. Plain arrays, as wide as the vector units like them.
template <std::size_t W>
struct SFRanges
{
  alignas(8 * W) double lo[W];
  double hi[W];
  double centre[W];     ///< the value at a point of the box, NaN where it is not known; of use with a slope alone
  std::uint64_t nan[W]; ///< 1 where the value may be NaN, 0 elsewhere

  SFInterval At(std::size_t iLane) const { return {lo[iLane], hi[iLane], nan[iLane] != 0}; }
  void Set(std::size_t iLane, SFInterval const& iRange)
  {
    lo[iLane] = iRange.lo;
    hi[iLane] = iRange.hi;
    nan[iLane] = iRange.nan ? 1 : 0;
  }
  void SetCentres(double iValue)
  {
    for (double& value : centre)
      value = iValue;
  }
  void SetAll(SFInterval const& iRange)
  {
    for (std::size_t lane = 0; lane < W; ++lane)
      Set(lane, iRange);
  }
};

/// By how much a value can differ from the one at the centre of each box.
template <std::size_t W>
struct SFSpread
{
  /// Of computed values from those of a function with the slope: at both of the points together, and of the bounds.
  double margin;
  double rootOfMargin;
  /// By box: the slope times the greatest distance of a point from the centre. Of the root of the value if `isOfRoot`.
  alignas(8 * W) double reach[W];
};

/// Confines ranges to what can be reached from the values at the centres. What is not known there changes nothing.
template <bool OfRoot, std::size_t W>
inline void Confine(SFRanges<W>& ioRanges, SFSpread<W> const& iSpread)
{
  for (std::size_t lane = 0; lane < W; ++lane) {
    double const value = ioRanges.centre[lane];
    double lo = 0.0;
    double hi = 0.0;
    if constexpr (OfRoot) {
      double const root = std::sqrt(value > 0.0 ? value : 0.0);
      double const reach = iSpread.reach[lane] + iSpread.rootOfMargin;
      double const least = root > reach ? root - reach : 0.0;
      lo = least * least - iSpread.margin;
      hi = (root + reach) * (root + reach) + iSpread.margin;
      hi = value == value ? hi : SFInterval::Infinity;
    } else {
      lo = value - (iSpread.reach[lane] + iSpread.margin);
      hi = value + (iSpread.reach[lane] + iSpread.margin);
    }
    ioRanges.lo[lane] = lo > ioRanges.lo[lane] ? lo : ioRanges.lo[lane];
    ioRanges.hi[lane] = hi < ioRanges.hi[lane] ? hi : ioRanges.hi[lane];
  }
}

/// The demanded range of a value, for several boxes: a value above `upper` may be any other value above it, one below
/// `lower` any other below. Nothing is demanded yet where `lower` is above `upper`.
template <std::size_t W>
struct SFDemand
{
  alignas(8 * W) double lower[W];
  double upper[W];
};

/// A set of boxes out of those that are pruned for together, a bit each.
using SFBoxes = std::uint8_t;

/// Widens demanded ranges in some boxes.
template <std::size_t W>
inline void Widen(SFDemand<W>& ioDemand, SFDemand<W> const& iBy, SFBoxes iBoxes)
{
  for (std::size_t lane = 0; lane < W; ++lane) {
    bool const widens = (std::uint64_t{iBoxes} >> lane & 1U) != 0;
    double const lower = iBy.lower[lane] < ioDemand.lower[lane] ? iBy.lower[lane] : ioDemand.lower[lane];
    double const upper = iBy.upper[lane] > ioDemand.upper[lane] ? iBy.upper[lane] : ioDemand.upper[lane];
    ioDemand.lower[lane] = widens ? lower : ioDemand.lower[lane];
    ioDemand.upper[lane] = widens ? upper : ioDemand.upper[lane];
  }
}

/// The demanded ranges of the operands of a choice, and the boxes where one of them is never chosen.
template <std::size_t W>
struct SFNarrowed
{
  SFDemand<W> a;
  SFDemand<W> b;
  SFBoxes withoutA;
  SFBoxes withoutB;
};

/// A choice between two operands is their minimum, some of them negated, and its result perhaps too: bounds are negated
/// on the way in and out, so that there is one rule for all of them.
struct SFChoice
{
  bool negatesResult;
  bool negatesA;
  bool negatesB;
};
constexpr SFChoice ChoiceOf(SFPruning iPruning)
{
  bool const isMinimum = iPruning == SFPruning::Minimum;
  return {!isMinimum, !isMinimum, iPruning == SFPruning::Maximum};
}
constexpr bool IsNarrowing(SFPruning iPruning)
{
  return iPruning == SFPruning::Minimum || iPruning == SFPruning::Maximum || iPruning == SFPruning::Difference;
}

/// Only strict comparisons leave an operand out, and none where an operand may be NaN.
template <SFPruning Pruning, std::size_t W>
inline void Narrow(SFRanges<W> const& iA, SFRanges<W> const& iB, SFDemand<W> const& iDemand, SFNarrowed<W>& oNarrowed)
{
  constexpr SFChoice choice = ChoiceOf(Pruning);
  constexpr double infinity = SFInterval::Infinity;
  std::uint64_t withoutA = 0;
  std::uint64_t withoutB = 0;
  for (std::size_t lane = 0; lane < W; ++lane) {
    bool const nan = (iA.nan[lane] | iB.nan[lane]) != 0;
    double const lower = choice.negatesResult ? -iDemand.upper[lane] : iDemand.lower[lane];
    double const upper = choice.negatesResult ? -iDemand.lower[lane] : iDemand.upper[lane];
    double const highestA = choice.negatesA ? -iA.lo[lane] : iA.hi[lane];
    double const highestB = choice.negatesB ? -iB.lo[lane] : iB.hi[lane];
    double const lowestA = choice.negatesA ? -iA.hi[lane] : iA.lo[lane];
    double const lowestB = choice.negatesB ? -iB.hi[lane] : iB.lo[lane];
    double const highest = highestA < highestB ? highestA : highestB;
    double const least = highest < upper ? highest : upper;
    double const bound = nan ? infinity : least;
    double const from = nan ? -infinity : lower;
    withoutA |= (lowestA > bound ? std::uint64_t{1} : std::uint64_t{0}) << lane;
    withoutB |= (lowestB > bound ? std::uint64_t{1} : std::uint64_t{0}) << lane;
    oNarrowed.a.lower[lane] = choice.negatesA ? -bound : from;
    oNarrowed.a.upper[lane] = choice.negatesA ? -from : bound;
    oNarrowed.b.lower[lane] = choice.negatesB ? -bound : from;
    oNarrowed.b.upper[lane] = choice.negatesB ? -from : bound;
  }
  oNarrowed.withoutA = static_cast<SFBoxes>(withoutA & ~withoutB);
  oNarrowed.withoutB = static_cast<SFBoxes>(withoutB);
}

/// How many boxes the kernels take at once.
constexpr std::size_t SFRangeLanes = 8;
using SFRangeKernel = void (*)(SFRanges<SFRangeLanes>& oRanges, SFRanges<SFRangeLanes> const& iA,
                               SFRanges<SFRangeLanes> const& iB);
using SFConfineKernel = void (*)(SFRanges<SFRangeLanes>& ioRanges, SFSpread<SFRangeLanes> const& iSpread);
using SFWidenKernel = void (*)(SFDemand<SFRangeLanes>& ioDemand, SFDemand<SFRangeLanes> const& iBy, SFBoxes iBoxes);
using SFNarrowKernel = void (*)(SFRanges<SFRangeLanes> const& iA, SFRanges<SFRangeLanes> const& iB,
                                SFDemand<SFRangeLanes> const& iDemand, SFNarrowed<SFRangeLanes>& oNarrowed);

} // namespace SF
