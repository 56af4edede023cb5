#pragma once

#include "SFExport.h"

namespace SF {

/// The elementary functions of the system, which its operators mean: within 1 unit in the last place of the exact
/// value, with the same bits on every machine, compiler and C library, in compiled fields and outside. Results that are
/// doubles come out exactly, special values are those of annex F of the C standard (but for floating-point exceptions
/// and the signs of NaN), odd and even functions are odd and even to the bit, and Pow(x, 2) is x * x. Angles are in
/// radians. Any number of threads may call them.
namespace Elementary {

SF_EXPORT double Sin(double iX);            ///< Sine of an angle; NaN for infinity.
SF_EXPORT double Cos(double iX);            ///< Cosine of an angle; NaN for infinity.
SF_EXPORT double Tan(double iX);            ///< Tangent of an angle; NaN for infinity.
SF_EXPORT double Exp(double iX);            ///< e to the power x.
SF_EXPORT double Log(double iX);            ///< Natural logarithm; -infinity at 0, NaN below.
SF_EXPORT double Pow(double iX, double iY); ///< x to the power y; NaN for a negative x and a y that is no whole number.
SF_EXPORT double Asin(double iX);           ///< In [-pi/2, pi/2]; NaN beyond 1 in magnitude.
SF_EXPORT double Acos(double iX);           ///< In [0, pi]; NaN beyond 1 in magnitude.
SF_EXPORT double Atan(double iX);           ///< In [-pi/2, pi/2].
SF_EXPORT double Atan2(double iY, double iX); ///< The angle of the point (x, y), in [-pi, pi].
/// The square root of x^2 + y^2, without overflow or underflow on the way.
SF_EXPORT double Hypot(double iX, double iY);

} // namespace Elementary
} // namespace SF
