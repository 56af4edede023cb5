#pragma once

#include <cstdint>

namespace SF {
namespace Elementary {

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
