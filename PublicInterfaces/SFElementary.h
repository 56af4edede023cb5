#pragma once

#include "SFExport.h"

namespace SF {

/// The elementary functions of the system, which its operators mean: within 1 unit in the last place of the exact value,
/// with the same bits on every machine, compiler and C library, in compiled fields and outside. Results that are doubles
/// come out exactly, special values are those of annex F of the C standard (but for floating-point exceptions and the
/// signs of NaN), odd and even functions are odd and even to the bit, and Pow(x, 2) is x * x. Angles are in radians.
/// Any number of threads may call them.
namespace Elementary {

SF_EXPORT double Sin(double iX);
SF_EXPORT double Cos(double iX);
SF_EXPORT double Tan(double iX);
SF_EXPORT double Exp(double iX);
SF_EXPORT double Log(double iX);
SF_EXPORT double Pow(double iX, double iY);
SF_EXPORT double Asin(double iX);
SF_EXPORT double Acos(double iX);
SF_EXPORT double Atan(double iX);
SF_EXPORT double Atan2(double iY, double iX);
/// The square root of x^2 + y^2, without overflow or underflow on the way.
SF_EXPORT double Hypot(double iX, double iY);

} // namespace Elementary
} // namespace SF
