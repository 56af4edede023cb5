#pragma once

#include "SFElementary.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace SF {

/// An enclosure of a double: the value is in [lo, hi] or, if `nan` is set, perhaps NaN. The bounds are never NaN.
///
/// Endpoints are computed in round-to-nearest. For sums, products, quotients and square roots that bounds the
/// round-to-nearest results exactly, because rounding is monotone. The elementary functions are within a unit in the last
/// place of monotone ones, but not monotone themselves: their results are widened (Detail::Widened).
struct SFInterval
{
  static constexpr double Infinity = std::numeric_limits<double>::infinity();
  static constexpr double Largest = std::numeric_limits<double>::max();

  constexpr SFInterval() = default;
  constexpr explicit SFInterval(double iValue)
    : lo(iValue == iValue ? iValue : -Infinity), hi(iValue == iValue ? iValue : Infinity), nan(iValue != iValue)
  {
  }
  constexpr SFInterval(double iLo, double iHi, bool iNan) : lo(iLo), hi(iHi), nan(iNan) {}

  static constexpr SFInterval Anything() { return {-Infinity, Infinity, true}; }

  bool IsPoint() const { return lo == hi && !nan; }
  bool MayBeInfinite() const { return lo == -Infinity || hi == Infinity; }
  bool MayBeZero() const { return lo <= 0.0 && hi >= 0.0; }

  double lo = -Infinity;
  double hi = Infinity;
  bool nan = true;
};

/// The answer to a comparison of intervals.
enum class SFMaybe
{
  No,
  Yes,
  Unknown
};

namespace Detail {

/// An interval from endpoints that may be NaN, where an infinity met its opposite.
inline SFInterval FromEnds(double iLo, double iHi, bool iNan)
{
  return {std::isnan(iLo) ? -SFInterval::Infinity : iLo, std::isnan(iHi) ? SFInterval::Infinity : iHi, iNan};
}

/// `iA` moved outwards by at least 3.5 units in the last place. Where a function has its exact values to the right of an
/// end, its computed ones are below that of the end by no more than the errors of both, a unit each, of which one may be
/// twice as large beyond a power of 2.
inline SFInterval Widened(SFInterval iA)
{
  constexpr double relative = 0x1p-50;
  constexpr double tiny = 0x1p-1072;
  double const lo = iA.lo < SFInterval::Largest ? iA.lo : SFInterval::Largest;
  double const hi = iA.hi > -SFInterval::Largest ? iA.hi : -SFInterval::Largest;
  return {lo - (std::abs(lo) * relative + tiny), hi + (std::abs(hi) * relative + tiny), iA.nan};
}
/// The same for a function without negative values.
inline SFInterval WidenedAbove0(SFInterval const& iA)
{
  SFInterval const wide = Widened(iA);
  return {wide.lo > 0.0 ? wide.lo : 0.0, wide.hi, wide.nan};
}

/// The smallest and largest of four candidates; anything when one of them is NaN.
inline SFInterval Hull4(double iA, double iB, double iC, double iD, bool iNan)
{
  if (std::isnan(iA) || std::isnan(iB) || std::isnan(iC) || std::isnan(iD))
    return {-SFInterval::Infinity, SFInterval::Infinity, iNan};
  return {std::min({iA, iB, iC, iD}), std::max({iA, iB, iC, iD}), iNan};
}

/// The range of sine over an interval, given the phase of its maxima: 1/4 for sine, 0 for cosine, in turns.
template <class Function>
SFInterval PeriodicRange(SFInterval const& iA, double iPhase, Function iFunction)
{
  bool const nan = iA.nan || iA.MayBeInfinite();
  constexpr double turn = 6.283185307179586;
  constexpr double slack = 1e-9; // far above the rounding of the turns below, far below any useful width
  if (!(iA.hi - iA.lo < turn) || !(std::abs(iA.lo) < 1e5) || !(std::abs(iA.hi) < 1e5))
    return Widened({-1.0, 1.0, nan});
  auto const meets = [&](double iAt) {
    double const from = iA.lo / turn - iAt - slack;
    double const to = iA.hi / turn - iAt + slack;
    return std::floor(to) >= std::ceil(from);
  };
  double const a = iFunction(iA.lo);
  double const b = iFunction(iA.hi);
  return Widened({meets(iPhase + 0.5) ? -1.0 : std::min(a, b), meets(iPhase) ? 1.0 : std::max(a, b), nan});
}

} // namespace Detail

inline SFInterval operator-(SFInterval const& iA) { return {-iA.hi, -iA.lo, iA.nan}; }

inline SFInterval operator+(SFInterval const& iA, SFInterval const& iB)
{
  bool const opposite = (iA.hi == SFInterval::Infinity && iB.lo == -SFInterval::Infinity) ||
                        (iA.lo == -SFInterval::Infinity && iB.hi == SFInterval::Infinity);
  return Detail::FromEnds(iA.lo + iB.lo, iA.hi + iB.hi, iA.nan || iB.nan || opposite);
}

inline SFInterval operator-(SFInterval const& iA, SFInterval const& iB) { return iA + (-iB); }

inline SFInterval operator*(SFInterval const& iA, SFInterval const& iB)
{
  bool const nan = iA.nan || iB.nan || (iA.MayBeZero() && iB.MayBeInfinite()) || (iB.MayBeZero() && iA.MayBeInfinite());
  if (&iA == &iB && !iA.MayBeInfinite()) { // the square of one value
    double const a = iA.lo * iA.lo;
    double const b = iA.hi * iA.hi;
    return {iA.MayBeZero() ? 0.0 : std::min(a, b), std::max(a, b), nan};
  }
  return Detail::Hull4(iA.lo * iB.lo, iA.lo * iB.hi, iA.hi * iB.lo, iA.hi * iB.hi, nan);
}

inline SFInterval operator/(SFInterval const& iA, SFInterval const& iB)
{
  if (iB.MayBeZero())
    return SFInterval::Anything();
  bool const nan = iA.nan || iB.nan || (iA.MayBeInfinite() && iB.MayBeInfinite());
  return Detail::Hull4(iA.lo / iB.lo, iA.lo / iB.hi, iA.hi / iB.lo, iA.hi / iB.hi, nan);
}

/// The comparisons of which NaN makes "no".
inline SFMaybe operator>(SFInterval const& iA, SFInterval const& iB)
{
  if (iA.hi <= iB.lo)
    return SFMaybe::No;
  return iA.lo > iB.hi && !iA.nan && !iB.nan ? SFMaybe::Yes : SFMaybe::Unknown;
}

inline SFInterval Select(SFMaybe iCondition, SFInterval const& iThen, SFInterval const& iElse)
{
  switch (iCondition) {
  case SFMaybe::Yes:
    return iThen;
  case SFMaybe::No:
    return iElse;
  case SFMaybe::Unknown:
    break;
  }
  return {std::min(iThen.lo, iElse.lo), std::max(iThen.hi, iElse.hi), iThen.nan || iElse.nan};
}

/// Of b < a ? b : a. A NaN in `iB` gives `iA`.
inline SFInterval Minimum(SFInterval const& iA, SFInterval const& iB)
{
  return {std::min(iA.lo, iB.lo), iB.nan ? iA.hi : std::min(iA.hi, iB.hi), iA.nan};
}
inline SFInterval Maximum(SFInterval const& iA, SFInterval const& iB)
{
  return {iB.nan ? iA.lo : std::max(iA.lo, iB.lo), std::max(iA.hi, iB.hi), iA.nan};
}

inline SFInterval abs(SFInterval const& iA)
{
  double const a = std::abs(iA.lo);
  double const b = std::abs(iA.hi);
  return {iA.MayBeZero() ? 0.0 : std::min(a, b), std::max(a, b), iA.nan};
}

inline SFInterval sqrt(SFInterval const& iA)
{
  if (iA.hi < 0.0)
    return SFInterval::Anything();
  return {iA.lo > 0.0 ? std::sqrt(iA.lo) : 0.0, std::sqrt(iA.hi), iA.nan || iA.lo < 0.0};
}

inline SFInterval Exp(SFInterval const& iA)
{
  return Detail::WidenedAbove0({Elementary::Exp(iA.lo), Elementary::Exp(iA.hi), iA.nan});
}

inline SFInterval Log(SFInterval const& iA)
{
  if (iA.hi < 0.0)
    return SFInterval::Anything();
  return Detail::Widened({iA.lo > 0.0 ? Elementary::Log(iA.lo) : -SFInterval::Infinity,
                          iA.hi > 0.0 ? Elementary::Log(iA.hi) : -SFInterval::Infinity, iA.nan || iA.lo < 0.0});
}

inline SFInterval Sin(SFInterval const& iA) { return Detail::PeriodicRange(iA, 0.25, Elementary::Sin); }
inline SFInterval Cos(SFInterval const& iA) { return Detail::PeriodicRange(iA, 0.0, Elementary::Cos); }
inline SFInterval Tan(SFInterval const& iA)
{
  return {-SFInterval::Infinity, SFInterval::Infinity, iA.nan || iA.MayBeInfinite()};
}

inline SFInterval Asin(SFInterval const& iA)
{
  double const lo = std::clamp(iA.lo, -1.0, 1.0);
  double const hi = std::clamp(iA.hi, -1.0, 1.0);
  return Detail::Widened({Elementary::Asin(lo), Elementary::Asin(hi), iA.nan || iA.lo < -1.0 || iA.hi > 1.0});
}
inline SFInterval Acos(SFInterval const& iA)
{
  double const lo = std::clamp(iA.lo, -1.0, 1.0);
  double const hi = std::clamp(iA.hi, -1.0, 1.0);
  return Detail::Widened({Elementary::Acos(hi), Elementary::Acos(lo), iA.nan || iA.lo < -1.0 || iA.hi > 1.0});
}
inline SFInterval Atan(SFInterval const& iA)
{
  return Detail::Widened({Elementary::Atan(iA.lo), Elementary::Atan(iA.hi), iA.nan});
}

namespace Detail {

/// The range of a power with an integer exponent, which any base has: monotone on each side of 0, even or odd.
inline SFInterval IntegerPower(SFInterval const& iA, double iExponent)
{
  bool const isEven = std::fmod(iExponent, 2.0) == 0.0;
  if (iExponent < 0.0 && !isEven && iA.MayBeZero()) // either infinity
    return SFInterval::Anything();
  SFInterval const base = isEven ? abs(iA) : iA;
  double const a = Elementary::Pow(base.lo, iExponent);
  double const b = Elementary::Pow(base.hi, iExponent);
  SFInterval const range(std::min(a, b), std::max(a, b), iA.nan);
  return isEven ? WidenedAbove0(range) : Widened(range);
}

} // namespace Detail

/// Tight for one exponent and a base that is not negative, or an exponent that is an integer; anything else is anything. So
/// is 0 with a negative exponent: -0 may give the other infinity.
inline SFInterval Pow(SFInterval const& iA, SFInterval const& iB)
{
  if (iB.IsPoint() && std::isfinite(iB.lo) && std::trunc(iB.lo) == iB.lo)
    return Detail::IntegerPower(iA, iB.lo);
  if (!iB.IsPoint() || iA.lo < 0.0 || (iA.lo == 0.0 && iB.lo < 0.0))
    return SFInterval::Anything();
  double const a = Elementary::Pow(iA.lo, iB.lo);
  double const b = Elementary::Pow(iA.hi, iB.lo);
  return Detail::WidenedAbove0({std::min(a, b), std::max(a, b), iA.nan});
}

} // namespace SF
