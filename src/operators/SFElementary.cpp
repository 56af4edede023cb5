#include "SFElementary.h"

#include "operators/elementary/SFHugeArgument.h"

#include <cstddef>
#include <cstdint>

namespace SF {
namespace Elementary {
namespace {
namespace Single {

#define SF_LANES 1
#define SF_LANES_FUNCTION inline
#include "operators/elementary/SFElementaryFunctions.inl"
#undef SF_LANES
#undef SF_LANES_FUNCTION

Reduced ReduceAny(double iX)
{
  double const x = Magnitude(iX);
  if (!IsHuge(x))
    return ReduceArgument(x);
  if (!(x < Infinity))
    return {x - x, 0.0, 0};
  ReducedArgument const reduced = ReduceHugeArgument(x);
  return {reduced.hi, reduced.lo, reduced.quadrant};
}

} // namespace Single
} // namespace

double Sin(double iX) { return Single::SinOf(iX, Single::ReduceAny(iX)); }
double Cos(double iX) { return Single::CosOf(iX, Single::ReduceAny(iX)); }
double Tan(double iX) { return Single::TanOf(iX, Single::ReduceAny(iX)); }
double Exp(double iX) { return Single::Exp(iX); }
double Log(double iX) { return Single::Log(iX); }
double Pow(double iX, double iY) { return Single::Pow(iX, iY); }
double Asin(double iX) { return Single::Asin(iX); }
double Acos(double iX) { return Single::Acos(iX); }
double Atan(double iX) { return Single::Atan(iX); }
double Atan2(double iY, double iX) { return Single::Atan2(iY, iX); }

double Hypot(double iX, double iY)
{
  double const x = Single::Magnitude(iX);
  double const y = Single::Magnitude(iY);
  if (x == Single::Infinity || y == Single::Infinity)
    return Single::Infinity;
  double const larger = x < y ? y : x;
  double const scale = larger > 0x1p500 ? 0x1p-600 : larger < 0x1p-400 ? 0x1p600 : 1.0;
  double const a = x * scale;
  double const b = y * scale;
  return Single::SquareRoot(a * a + b * b) / scale;
}

} // namespace Elementary
} // namespace SF
