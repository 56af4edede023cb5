#pragma once

#include <cstddef>
#include <cstdint>
#include <random>
#include <string_view>
#include <vector>

#include <mpfr.h>

namespace SFTest {

/// An elementary function of one or two arguments, and the same in arbitrary precision.
struct ElementaryFunction
{
  std::string_view name;
  double (*value)(double, double);
  void (*exact)(mpfr_ptr, mpfr_srcptr, mpfr_srcptr);
  /// Draws arguments, mostly where the function is hard.
  void (*draw)(std::mt19937_64&, double&, double&);
};
std::vector<ElementaryFunction> const& ElementaryFunctions();

/// The largest error in units in the last place of the exact value, and where it is; infinite where a NaN is on one side
/// only.
struct LargestError
{
  double ulps = 0.0;
  double x = 0.0;
  double y = 0.0;
};
LargestError MeasureError(ElementaryFunction const& iFunction, std::size_t iCount, std::uint64_t iSeed);

} // namespace SFTest
