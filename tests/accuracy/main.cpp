// Measures the errors of the elementary functions: sf_accuracy [COUNT [FUNCTION...]], COUNT arguments each, ten million
// when nothing is said. Fails when one of them exceeds a unit in the last place.

#include "Accuracy.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string_view>

int main(int argc, char** argv)
{
  std::size_t const count = argc > 1 ? std::strtoull(argv[1], nullptr, 10) : 10'000'000;
  bool isWithin = true;
  for (SFTest::ElementaryFunction const& function : SFTest::ElementaryFunctions()) {
    if (argc > 2 && std::find(argv + 2, argv + argc, function.name) == argv + argc)
      continue;
    SFTest::LargestError const error = SFTest::MeasureError(function, count, 1);
    std::printf("%-6s %.4f ulp at %a, %a\n", function.name.data(), error.ulps, error.x, error.y);
    std::fflush(stdout);
    isWithin = isWithin && error.ulps <= 1.0;
  }
  return isWithin ? EXIT_SUCCESS : EXIT_FAILURE;
}
