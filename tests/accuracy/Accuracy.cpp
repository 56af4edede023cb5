#include "Accuracy.h"

#include "SFElementary.h"

#include <bit>
#include <cmath>
#include <limits>

namespace SFTest {
namespace {

using namespace SF;
using Random = std::mt19937_64;

constexpr double Infinity = std::numeric_limits<double>::infinity();

double Uniform(Random& ioRandom, double iLow, double iHigh)
{
  return iLow + static_cast<double>(ioRandom() >> 11) * 0x1p-53 * (iHigh - iLow);
}
double AnyBits(Random& ioRandom) { return std::bit_cast<double>(std::uint64_t{ioRandom()}); }
double Spread(Random& ioRandom, double iLowest, double iHighest)
{
  double const magnitude = std::exp2(Uniform(ioRandom, iLowest, iHighest));
  return ioRandom() % 2 == 0 ? magnitude : -magnitude;
}
/// Some doubles beside a place.
double Near(Random& ioRandom, double iPlace)
{
  auto const steps = static_cast<std::int64_t>(ioRandom() % 65) - 32;
  return std::bit_cast<double>(std::bit_cast<std::int64_t>(iPlace) + steps);
}

double DrawAngle(Random& ioRandom)
{
  constexpr double halfPi = 1.5707963267948966;
  switch (ioRandom() % 8) {
  case 0:
    return AnyBits(ioRandom);
  case 1:
    return Near(ioRandom, static_cast<double>(ioRandom() % 300000) * halfPi);
  case 2:
    return Near(ioRandom, static_cast<double>(ioRandom() % 40) * 0.5 * halfPi);
  case 3:
    return Near(ioRandom,
                std::ldexp(halfPi * static_cast<double>(ioRandom() >> 11), static_cast<int>(ioRandom() % 960)));
  case 4:
    return Uniform(ioRandom, -5e5, 5e5);
  case 5:
    return Spread(ioRandom, -30.0, 30.0);
  default:
    return Uniform(ioRandom, -7.0, 7.0);
  }
}

double DrawExponent(Random& ioRandom)
{
  switch (ioRandom() % 8) {
  case 0:
    return Spread(ioRandom, -1074.0, 10.0);
  case 1:
    return Near(ioRandom, 709.782712893384);
  case 2:
    return Uniform(ioRandom, -745.3, -708.3);
  case 3:
    return Near(ioRandom, 0.34657359027997264 * static_cast<double>(static_cast<int>(ioRandom() % 4000) - 2000));
  case 4:
    return Uniform(ioRandom, -745.0, 710.0);
  default:
    return Uniform(ioRandom, -2.0, 2.0);
  }
}

double DrawPositive(Random& ioRandom)
{
  switch (ioRandom() % 8) {
  case 0:
    return std::abs(AnyBits(ioRandom));
  case 1:
    return std::bit_cast<double>(ioRandom() >> (12 + ioRandom() % 52)); // subnormal
  case 2:
    return Near(ioRandom, 1.0);
  case 3:
    return Near(ioRandom, std::ldexp(0.7071067811865476, static_cast<int>(ioRandom() % 40) - 20));
  case 4:
    return 1.0 + Spread(ioRandom, -53.0, -1.0);
  default:
    return Uniform(ioRandom, 0.25, 4.0);
  }
}

double DrawSineValue(Random& ioRandom)
{
  switch (ioRandom() % 8) {
  case 0:
    return Spread(ioRandom, -1074.0, 0.0);
  case 1:
    return std::copysign(Near(ioRandom, 1.0), AnyBits(ioRandom));
  case 2:
    return Near(ioRandom, 0.5);
  case 3:
    return std::copysign(1.0 - std::exp2(Uniform(ioRandom, -53.0, -1.0)), AnyBits(ioRandom));
  default:
    return Uniform(ioRandom, -1.0, 1.0);
  }
}

double DrawTangent(Random& ioRandom)
{
  switch (ioRandom() % 8) {
  case 0:
    return AnyBits(ioRandom);
  case 1:
    return Near(ioRandom, 0.41421356237309503);
  case 2:
    return Near(ioRandom, 2.414213562373095);
  case 3:
    return Near(ioRandom, 1.0);
  case 4:
    return Spread(ioRandom, -40.0, 60.0);
  default:
    return Uniform(ioRandom, -3.0, 3.0);
  }
}

void DrawPoint(Random& ioRandom, double& oY, double& oX)
{
  bool const isAny = ioRandom() % 8 == 0;
  oX = isAny ? AnyBits(ioRandom) : Uniform(ioRandom, -2.0, 2.0);
  oY = isAny ? AnyBits(ioRandom) : oX * DrawTangent(ioRandom);
  if (ioRandom() % 8 == 0) { // both at an end of the range
    double const scale = ioRandom() % 2 == 0 ? 0x1p-1070 : 0x1p1022;
    oX *= scale;
    oY *= scale;
  }
}

void DrawPower(Random& ioRandom, double& oX, double& oY)
{
  oX = DrawPositive(ioRandom);
  switch (ioRandom() % 8) {
  case 0:
    oY = AnyBits(ioRandom);
    break;
  case 1:
    oX = static_cast<double>(ioRandom() % 40) - 20.0;
    oY = static_cast<double>(ioRandom() % 80) * 0.5 - 20.0;
    break;
  case 2: // results next to the ends of the range
    oY = (ioRandom() % 2 == 0 ? 709.78 : -745.0) * Uniform(ioRandom, 0.95, 1.001) / std::log(oX);
    break;
  case 3:
    oY = static_cast<double>(ioRandom() % 9) * 0.5 - 2.0;
    break;
  default:
    oY = Uniform(ioRandom, -700.0, 700.0) / std::log(oX);
  }
}

template <auto Function>
void Unary(mpfr_ptr oResult, mpfr_srcptr iX, mpfr_srcptr)
{
  Function(oResult, iX, MPFR_RNDN);
}
template <auto Function>
void Binary(mpfr_ptr oResult, mpfr_srcptr iX, mpfr_srcptr iY)
{
  Function(oResult, iX, iY, MPFR_RNDN);
}
template <double (*Function)(double)>
double OfFirst(double iX, double)
{
  return Function(iX);
}
template <double (*Draw)(Random&)>
void DrawFirst(Random& ioRandom, double& oX, double&)
{
  oX = Draw(ioRandom);
}

double ErrorInUlps(double iValue, mpfr_srcptr iExact)
{
  if (std::isnan(iValue) || mpfr_nan_p(iExact) != 0)
    return std::isnan(iValue) && mpfr_nan_p(iExact) != 0 ? 0.0 : Infinity;
  if (mpfr_regular_p(iExact) == 0) // 0 with its sign, or infinite
    return std::bit_cast<std::uint64_t>(iValue) == std::bit_cast<std::uint64_t>(mpfr_get_d(iExact, MPFR_RNDN))
               ? 0.0
               : Infinity;
  mpfr_t difference;
  mpfr_init2(difference, mpfr_get_prec(iExact));
  if (std::isinf(iValue)) { // stands for the double after the largest one, for anything beyond, too
    mpfr_set_si_2exp(difference, iValue > 0.0 ? 1 : -1, 1024, MPFR_RNDN);
    if (mpfr_cmpabs(iExact, difference) >= 0 && mpfr_sgn(iExact) == mpfr_sgn(difference))
      mpfr_set(difference, iExact, MPFR_RNDN);
  } else
    mpfr_set_d(difference, iValue, MPFR_RNDN);
  mpfr_sub(difference, difference, iExact, MPFR_RNDN);
  long const exponent = mpfr_get_exp(iExact) - 53;
  mpfr_mul_2si(difference, difference, exponent < -1074 ? 1074 : exponent > 971 ? -971 : -exponent, MPFR_RNDN);
  double const ulps = std::abs(mpfr_get_d(difference, MPFR_RNDN));
  mpfr_clear(difference);
  return ulps;
}

} // namespace

std::vector<ElementaryFunction> const& ElementaryFunctions()
{
  using namespace Elementary;
  static std::vector<ElementaryFunction> const functions{
      {"sin", OfFirst<Sin>, Unary<mpfr_sin>, DrawFirst<DrawAngle>},
      {"cos", OfFirst<Cos>, Unary<mpfr_cos>, DrawFirst<DrawAngle>},
      {"tan", OfFirst<Tan>, Unary<mpfr_tan>, DrawFirst<DrawAngle>},
      {"exp", OfFirst<Exp>, Unary<mpfr_exp>, DrawFirst<DrawExponent>},
      {"log", OfFirst<Log>, Unary<mpfr_log>, DrawFirst<DrawPositive>},
      {"pow", Pow, Binary<mpfr_pow>, DrawPower},
      {"asin", OfFirst<Asin>, Unary<mpfr_asin>, DrawFirst<DrawSineValue>},
      {"acos", OfFirst<Acos>, Unary<mpfr_acos>, DrawFirst<DrawSineValue>},
      {"atan", OfFirst<Atan>, Unary<mpfr_atan>, DrawFirst<DrawTangent>},
      {"atan2", Atan2, Binary<mpfr_atan2>, DrawPoint},
  };
  return functions;
}

LargestError MeasureError(ElementaryFunction const& iFunction, std::size_t iCount, std::uint64_t iSeed)
{
  constexpr mpfr_prec_t precision = 120;
  mpfr_t x, y, exact;
  mpfr_inits2(precision, x, y, exact, static_cast<mpfr_ptr>(nullptr));
  Random random(iSeed);
  LargestError largest;
  for (std::size_t i = 0; i < iCount; ++i) {
    double a = 0.0;
    double b = 0.0;
    iFunction.draw(random, a, b);
    mpfr_set_d(x, a, MPFR_RNDN);
    mpfr_set_d(y, b, MPFR_RNDN);
    iFunction.exact(exact, x, y);
    double const ulps = ErrorInUlps(iFunction.value(a, b), exact);
    if (ulps > largest.ulps)
      largest = {ulps, a, b};
  }
  mpfr_clears(x, y, exact, static_cast<mpfr_ptr>(nullptr));
  return largest;
}

} // namespace SFTest
