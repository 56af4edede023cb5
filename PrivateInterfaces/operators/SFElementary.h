#pragma once

#include <cstdint>

namespace SF {

/// The elementary functions of the system: within 1 unit in the last place of the exact value, with the same bits on
/// every machine, compiler and C library, in kernels and outside. Results that are doubles come out exactly, special
/// values are those of annex F of the C standard (but for its floating-point exceptions and the signs of NaN), odd and
/// even functions are odd and even to the bit, and Pow(x, 2) is x * x.
namespace Elementary {

double Sin(double iX);
double Cos(double iX);
double Tan(double iX);
double Exp(double iX);
double Log(double iX);
double Pow(double iX, double iY);
double Asin(double iX);
double Acos(double iX);
double Atan(double iX);
double Atan2(double iY, double iX);

/// An argument less a multiple of pi/2: hi + lo in [-pi/4, pi/4], to a relative error of 2^-74, and the multiple
/// modulo 4.
struct ReducedArgument
{
  double hi, lo;
  std::uint64_t quadrant;
};

/// For finite arguments of at least 2^16 (M. H. Payne, R. N. Hanek, "Radian reduction for trigonometric functions",
/// 1983).
ReducedArgument ReduceHugeArgument(double iX);

} // namespace Elementary
} // namespace SF
