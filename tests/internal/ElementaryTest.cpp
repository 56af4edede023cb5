#include "Accuracy.h"
#include "Fields.h"

#include "SFElementary.h"
#include "tape/SFTapeKernels.h"

#include <gtest/gtest.h>

#include <algorithm>

using namespace SFTest;
using namespace SF::Elementary;

// Against arbitrary precision, where they are hard; sf_accuracy does the same for as many arguments as one likes.
TEST(Elementary, ErrorsAreWithinAUnitInTheLastPlace)
{
  for (ElementaryFunction const& function : ElementaryFunctions()) {
    LargestError const error = MeasureError(function, Scaled(100'000), 2);
    EXPECT_LE(error.ulps, 1.0) << function.name << " of " << error.x << ", " << error.y;
    EXPECT_GT(error.ulps, 0.5) << function.name << " is measured with itself";
  }
}

// Whole rows, in which huge arguments stand between ordinary ones, have the bits of single values.
TEST(Elementary, KernelsHaveTheBitsOfSingleValues)
{
  std::size_t const count = Scaled(50'000) + 3;
  for (auto const& [type, name] : {std::pair{SIN, "sin"},
                                   {COS, "cos"},
                                   {TAN, "tan"},
                                   {EXP, "exp"},
                                   {LN, "log"},
                                   {POW, "pow"},
                                   {ASIN, "asin"},
                                   {ACOS, "acos"},
                                   {ATAN, "atan"}}) {
    auto const& all = ElementaryFunctions();
    auto const function =
        std::find_if(all.begin(), all.end(), [&wanted = name](auto const& iOne) { return iOne.name == wanted; });
    std::mt19937_64 random(3);
    Values x(count), y(count), expected(count), got(count);
    for (std::size_t i = 0; i < count; ++i) {
      function->draw(random, x[i], y[i]);
      expected[i] = function->value(x[i], y[i]);
    }
    for (SFTapeKernels const* const kernels : AvailableTapeKernels()) {
      kernels->operators[CodeOf(type)][0]({got.data(), count, 1, 1, {x.data(), 0, 0}, {y.data(), 0, 0}});
      std::size_t const at = FirstDifference(got, expected);
      EXPECT_EQ(at, count) << kernels->name << ' ' << name << " of " << x[at % count] << ", " << y[at % count];
    }
  }
}

namespace {

struct Case
{
  char const* what;
  double got, expected;
};
void ExpectAll(std::vector<Case> const& iCases)
{
  for (Case const& c : iCases)
    EXPECT_TRUE(Same(c.got, c.expected)) << c.what << " is " << c.got << " instead of " << c.expected;
}
#define SF_CASE(iCall, iExpected)                                                                                      \
  {                                                                                                                    \
#iCall, iCall, iExpected                                                                                           \
  }

constexpr double Pi = 3.141592653589793;

} // namespace

// Annex F of the C standard, and results that are doubles.
TEST(Elementary, SpecialValuesOfOneArgument)
{
  ExpectAll({
      SF_CASE(Sin(0.0), 0.0),
      SF_CASE(Sin(-0.0), -0.0),
      SF_CASE(Sin(Inf), NaN),
      SF_CASE(Sin(-Inf), NaN),
      SF_CASE(Sin(NaN), NaN),
      SF_CASE(Sin(-Tiny), -Tiny),
      SF_CASE(Cos(0.0), 1.0),
      SF_CASE(Cos(-0.0), 1.0),
      SF_CASE(Cos(-Inf), NaN),
      SF_CASE(Cos(NaN), NaN),
      SF_CASE(Tan(0.0), 0.0),
      SF_CASE(Tan(-0.0), -0.0),
      SF_CASE(Tan(Inf), NaN),
      SF_CASE(Tan(NaN), NaN),
      SF_CASE(Tan(Tiny), Tiny),
      SF_CASE(Exp(0.0), 1.0),
      SF_CASE(Exp(-0.0), 1.0),
      SF_CASE(Exp(Inf), Inf),
      SF_CASE(Exp(-Inf), 0.0),
      SF_CASE(Exp(NaN), NaN),
      SF_CASE(Exp(Largest), Inf),
      SF_CASE(Exp(-Largest), 0.0),
      SF_CASE(Log(1.0), 0.0),
      SF_CASE(Log(0.0), -Inf),
      SF_CASE(Log(-0.0), -Inf),
      SF_CASE(Log(-1.0), NaN),
      SF_CASE(Log(-Tiny), NaN),
      SF_CASE(Log(-Inf), NaN),
      SF_CASE(Log(Inf), Inf),
      SF_CASE(Log(NaN), NaN),
      SF_CASE(Asin(0.0), 0.0),
      SF_CASE(Asin(-0.0), -0.0),
      SF_CASE(Asin(1.0), Pi / 2),
      SF_CASE(Asin(-1.0), -Pi / 2),
      SF_CASE(Asin(1.0 + 0x1p-52), NaN),
      SF_CASE(Asin(-Inf), NaN),
      SF_CASE(Asin(NaN), NaN),
      SF_CASE(Asin(Tiny), Tiny),
      SF_CASE(Acos(1.0), 0.0),
      SF_CASE(Acos(-1.0), Pi),
      SF_CASE(Acos(0.0), Pi / 2),
      SF_CASE(Acos(Inf), NaN),
      SF_CASE(Acos(-1.0 - 0x1p-52), NaN),
      SF_CASE(Acos(NaN), NaN),
      SF_CASE(Atan(0.0), 0.0),
      SF_CASE(Atan(-0.0), -0.0),
      SF_CASE(Atan(Inf), Pi / 2),
      SF_CASE(Atan(-Inf), -Pi / 2),
      SF_CASE(Atan(NaN), NaN),
      SF_CASE(Atan(1.0), Pi / 4),
      SF_CASE(Atan(-Tiny), -Tiny),
  });
}

TEST(Elementary, SpecialValuesOfPowers)
{
  std::vector<Case> cases{
      SF_CASE(Pow(-1.0, Inf), 1.0),         SF_CASE(Pow(-1.0, -Inf), 1.0),
      SF_CASE(Pow(-8.0, 1.0 / 3.0), NaN),   SF_CASE(Pow(-Tiny, -0.5), NaN),
      SF_CASE(Pow(-Inf, 0.5), Inf),         SF_CASE(Pow(-Inf, -0.5), 0.0),
      SF_CASE(Pow(-2.0, 0x1p53), Inf),      SF_CASE(Pow(-1.0, 0x1p53 - 1.0), -1.0),
      SF_CASE(Pow(-1.0, 0x1p60), 1.0),      SF_CASE(Pow(NaN, 0.5), NaN),
      SF_CASE(Pow(2.0, NaN), NaN),          SF_CASE(Pow(-1.0, NaN), NaN),
      SF_CASE(Pow(0.0, NaN), NaN),          SF_CASE(Pow(NaN, Inf), NaN),
      SF_CASE(Pow(2.0, 3.0), 8.0),          SF_CASE(Pow(-3.0, 5.0), -243.0),
      SF_CASE(Pow(10.0, 22.0), 1e22),       SF_CASE(Pow(4.0, -0.5), 0.5),
      SF_CASE(Pow(2.0, -1074.0), Tiny),     SF_CASE(Pow(2.0, 1024.0), Inf),
      SF_CASE(Pow(-2.0, 1025.0), -Inf),     SF_CASE(Pow(2.0, -1076.0), 0.0),
      SF_CASE(Pow(Largest, -Largest), 0.0), SF_CASE(Pow(0.5, -Largest), Inf),
      SF_CASE(Pow(0x1p-1074, 1.0), Tiny),   SF_CASE(Pow(1.0 + 0x1p-52, -Inf), 0.0),
  };
  for (double const y : Nasty) {
    cases.push_back({"Pow(1, y)", Pow(1.0, y), 1.0});
    cases.push_back({"Pow(y, 0)", Pow(y, 0.0), 1.0});
    cases.push_back({"Pow(y, -0)", Pow(y, -0.0), 1.0});
    cases.push_back({"Pow(y, 1)", Pow(y, 1.0), y});
    cases.push_back({"Pow(y, 2)", Pow(y, 2.0), y * y});
  }
  // A zero or an infinity of either sign, by the exponent.
  struct Row
  {
    double y, zero, minusZero, infinity, minusInfinity;
  };
  for (Row const& row : {Row{3.0, 0.0, -0.0, Inf, -Inf}, Row{4.0, 0.0, 0.0, Inf, Inf}, Row{0.5, 0.0, 0.0, Inf, Inf},
                         Row{-3.0, Inf, -Inf, 0.0, -0.0}, Row{-4.0, Inf, Inf, 0.0, 0.0}, Row{-1.5, Inf, Inf, 0.0, 0.0},
                         Row{Inf, 0.0, 0.0, Inf, Inf}, Row{-Inf, Inf, Inf, 0.0, 0.0}, Row{1e300, 0.0, 0.0, Inf, Inf}}) {
    cases.push_back({"Pow(0, y)", Pow(0.0, row.y), row.zero});
    cases.push_back({"Pow(-0, y)", Pow(-0.0, row.y), row.minusZero});
    cases.push_back({"Pow(inf, y)", Pow(Inf, row.y), row.infinity});
    cases.push_back({"Pow(-inf, y)", Pow(-Inf, row.y), row.minusInfinity});
    cases.push_back({"Pow(0.5, y) as of 0", std::isinf(row.y) ? Pow(0.5, row.y) : row.zero, row.zero});
  }
  ExpectAll(cases);
}

TEST(Elementary, SpecialValuesOfAngles)
{
  std::vector<Case> cases{
      SF_CASE(Atan2(0.0, -0.0), Pi),
      SF_CASE(Atan2(-0.0, -0.0), -Pi),
      SF_CASE(Atan2(0.0, 0.0), 0.0),
      SF_CASE(Atan2(-0.0, 0.0), -0.0),
      SF_CASE(Atan2(0.0, -1.0), Pi),
      SF_CASE(Atan2(-0.0, -Inf), -Pi),
      SF_CASE(Atan2(-0.0, 2.0), -0.0),
      SF_CASE(Atan2(-1.0, 0.0), -Pi / 2),
      SF_CASE(Atan2(Tiny, -0.0), Pi / 2),
      SF_CASE(Atan2(1.0, -Inf), Pi),
      SF_CASE(Atan2(-1.0, Inf), -0.0),
      SF_CASE(Atan2(Inf, 3.0), Pi / 2),
      SF_CASE(Atan2(-Inf, -3.0), -Pi / 2),
      SF_CASE(Atan2(Inf, -Inf), 3.0 * Pi / 4),
      SF_CASE(Atan2(-Inf, Inf), -Pi / 4),
      SF_CASE(Atan2(Tiny, Tiny), Pi / 4),
      SF_CASE(Atan2(Largest, -Largest), 3.0 * Pi / 4),
      SF_CASE(Hypot(3e300, -4e300), 5e300),
      SF_CASE(Hypot(-3.0 * Tiny, 4.0 * Tiny), 5.0 * Tiny),
      SF_CASE(Hypot(-Inf, NaN), Inf),
      SF_CASE(Hypot(0.0, NaN), NaN),
      SF_CASE(Atan2(NaN, 1.0), NaN),
      SF_CASE(Atan2(1.0, NaN), NaN),
      SF_CASE(Atan2(Tiny, 1.0), Tiny),
      SF_CASE(Atan2(1.0, Largest), 0x1p-1024),
      SF_CASE(Atan2(Largest, Tiny), Pi / 2),
  };
  for (double const y : Nasty)
    cases.push_back({"Atan2(y, 1)", Atan2(y, 1.0), Atan(y)});
  ExpectAll(cases);
}

TEST(Elementary, SymmetryAndExactPowers)
{
  std::mt19937_64 random(5);
  for (std::size_t i = 0; i < Scaled(100'000); ++i) {
    double const x = std::ldexp(static_cast<double>(random() >> 11), static_cast<int>(random() % 200) - 153);
    double const small = x / std::max(1.0, 2.0 * x);
    ExpectAll({{"sin", Sin(-x), -Sin(x)},
               {"cos", Cos(-x), Cos(x)},
               {"tan", Tan(-x), -Tan(x)},
               {"atan", Atan(-x), -Atan(x)},
               {"asin", Asin(-small), -Asin(small)},
               {"pow", Pow(-x, 3.0), -Pow(x, 3.0)}});
    // A product of two integers, or three, is a double.
    auto const n = static_cast<double>(random() % 100'000);
    ExpectAll({{"cube", Pow(n, 3.0), n * n * n}, {"square root", Pow(n * n, 0.5), n}});
    if (::testing::Test::HasFailure())
      return;
  }
}
