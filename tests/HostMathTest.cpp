#include "Support.h"

#include "SFCylindricalTransform.h"
#include "ZULMath3x3Matrix.h"
#include "ZULMathTransformation.h"
#include "ZULPI.h"
#include "ZULTolerance.h"

#include <limits>

using namespace SF;
using namespace SFTest;

namespace {

double const Inf = std::numeric_limits<double>::infinity();

struct Linear
{
  char const* name;
  double c[12];
};

std::vector<double> Coefficients(ZULMathTransformation const& iTransformation)
{
  std::vector<double> c(16);
  iTransformation.GetCoef(c.data(), 16);
  return c;
}

void ExpectNear(ZULMathVector const& iActual, ZULMathVector const& iExpected, std::string const& iWhat)
{
  EXPECT_NEAR(iActual.x, iExpected.x, 1e-15) << iWhat;
  EXPECT_NEAR(iActual.y, iExpected.y, 1e-15) << iWhat;
  EXPECT_NEAR(iActual.z, iExpected.z, 1e-15) << iWhat;
}

} // namespace

TEST(HostMath, InverseUndoesTheTransformation)
{
  Linear const cases[] = {
      {"general", {2, 1, 0, 5, -1, 3, 1, -6, 0.5, 0, 4, 7}},
      {"reflected, permuted", {0, 0, 1, 1, 1, 0, 0, 2, 0, -1, 0, 3}},
      {"tiny", {1e-120, 0, 0, 1e-120, 0, 2e-120, 0, 0, 0, 0, 3e-120, 0}},
      {"huge", {1e120, 0, 0, 1, 0, 2e120, 0, 0, 0, 0, 3e120, 0}},
      {"rows of far scales", {6e200, 8e200, 0, 0, -8e-200, 6e-200, 0, 0, 0, 0, 1, 0}},
      {"columns of far scales", {6e200, -8e-200, 0, 0, 8e200, 6e-200, 0, 0, 0, 0, 1, 0}},
      {"both", {1e300, 1e-10, 0, 0, 1e10, 3e-300, 0, 0, 0, 0, 1, 0}},
  };
  for (Linear const& test : cases) {
    ZULMathTransformation inverse;
    ASSERT_EQ(ZULMathTransformation(test.c, 12).ComputeInverse(inverse), S_OK) << test.name;
    auto const b = Coefficients(inverse);
    for (std::size_t i = 0; i < 3; ++i)
      for (std::size_t j = 0; j < 4; ++j) {
        // Row i of the product, relative to the size of its terms, which may lie beyond any double.
        long double sum = j == 3 ? b[4 * i + 3] : 0.0;
        long double size = std::abs(sum);
        for (std::size_t k = 0; k < 3; ++k) {
          long double const term = static_cast<long double>(b[4 * i + k]) * test.c[4 * k + j];
          sum += term;
          size += std::abs(term);
        }
        EXPECT_LE(std::abs(sum - (i == j)), 1e-14L * std::max(1.0L, size)) << test.name << ' ' << i << ' ' << j;
      }
  }
}

TEST(HostMath, InverseFailsWithoutAResult)
{
  double const nan = NAN;
  Linear const singular[] = {
      {"zero row", {1, 2, 3, 0, 0, 0, 0, 0, 1, 0, 1, 0}},       {"equal rows", {1, 2, 3, 0, 1, 2, 3, 0, 0, 0, 1, 0}},
      {"dependent", {1, 2, 3, 0, 4, 5, 6, 0, 7, 8, 9, 0}},      {"NaN", {1, 0, 0, 0, 0, nan, 0, 0, 0, 0, 1, 0}},
      {"infinite", {1, 0, 0, 0, 0, Inf, 0, 0, 0, 0, 1, 0}},     {"NaN shift", {1, 0, 0, nan, 0, 1, 0, 0, 0, 0, 1, 0}},
      {"too small", {5e-324, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0}},
  };
  double const shift[] = {1, 0, 0, 9, 0, 1, 0, 0, 0, 0, 1, 0};
  ZULMathTransformation const before(shift, 12);
  auto const expectFailure = [&](ZULMathTransformation const& iTransformation, std::string const& iWhat) {
    ZULMathTransformation inverse = before;
    EXPECT_EQ(iTransformation.ComputeInverse(inverse), E_FAIL) << iWhat;
    EXPECT_EQ(Coefficients(inverse), Coefficients(before)) << iWhat;
  };
  for (Linear const& test : singular)
    expectFailure(ZULMathTransformation(test.c, 12), test.name);

  std::vector<double> c = Coefficients(before);
  for (int const count : {-1, 0, 9, 11, 13, 15, 17})
    expectFailure(ZULMathTransformation(c.data(), count), std::to_string(count) + " coefficients");
  expectFailure(ZULMathTransformation(nullptr, 16), "no coefficients");
  for (std::size_t const i : {12U, 13U, 14U, 15U}) {
    auto bad = c;
    bad[i] += 1e-12;
    expectFailure(ZULMathTransformation(bad.data(), 16), "last row " + std::to_string(i));
  }
}

TEST(HostMath, SumsRunFromLeftToRight)
{
  double const c[] = {1e16, 1, -1e16, 1, 1, 1e16, 1, -1e16, 0, 0, 1, 2};
  ZULMathPoint const p = ZULMathTransformation(c, 12) * ZULMathPoint(1, 1, 1);
  EXPECT_EQ(p.x, 1.0);
  EXPECT_EQ(p.y, 0.0);
  EXPECT_EQ(p.z, 3.0);

  ZULMath3x3Matrix matrix;
  ZULMathTransformation(c, 12).GetMatrix(matrix);
  ZULMathVector const v = matrix * ZULMathVector(1, 1, 2);
  EXPECT_EQ(v.x, -1e16);
  EXPECT_EQ(v.y, 1e16 + 2.0);
  EXPECT_EQ(matrix.Trace(), 1e16 + 1e16 + 1.0);
  matrix.SetMatrix({1, 2, 3}, {4, 5, 6}, {7, 8, 9});
  double coefficients[9];
  matrix.GetCoef(coefficients);
  for (int i = 0; i < 9; ++i)
    EXPECT_EQ(coefficients[i], i + 1);
}

TEST(HostMath, IdentityIsExact)
{
  EXPECT_TRUE(ZULMathTransformation().IsIdentity());
  auto c = Coefficients(ZULMathTransformation());
  c[0] = std::nextafter(1.0, 2.0);
  EXPECT_FALSE(ZULMathTransformation(c.data(), 16).IsIdentity());
}

TEST(HostMath, NormalizeLeavesTheZeroVector)
{
  ZULMathVector zero;
  zero.Normalize();
  EXPECT_TRUE(zero.x == 0.0 && zero.y == 0.0 && zero.z == 0.0);
  ZULMathVector v(3, 0, -4);
  v.Normalize();
  EXPECT_TRUE(v.x == 0.6 && v.y == 0.0 && v.z == -0.8);
}

TEST(HostMath, ToleranceError)
{
  EXPECT_EQ(ZULGetDefaultTolerance().GetResolution(), 1e-6);
  EXPECT_EQ(ZULToleranceError(&ZULGetDefaultTolerance()), S_OK);
  EXPECT_EQ(ZULToleranceError(nullptr), E_INVALIDARG);
  for (double const resolution : {-1.0, Inf, double(NAN)}) {
    ZULTolerance const tolerance(resolution);
    EXPECT_EQ(ZULToleranceError(&tolerance), E_INVALIDARG) << resolution;
  }
}

// ---- the cylindrical mapping ------------------------------------------------------------------------------------

TEST(Cylinder, MapsPoints)
{
  ZULMathVector const z(0, 0, 1);
  ZULMathVector const unset;
  struct
  {
    char const* name;
    ZULMathPoint origin;
    ZULMathVector axis;
    double n;
    ZULMathVector reference;
    ZULMathPoint point;
    double r, theta, h;
  } const cases[] = {
      // With this axis U is -x and W is +y.
      {"on +U, a full turn", {}, z, 1, unset, {-1, 0, 5}, 1, 2 * ZULPI, 5},
      {"on +W", {}, z, 1, unset, {0, 1, 0}, 1, ZULPI / 2, 0},
      {"on -U", {}, z, 1, unset, {2, 0, 0}, 2, ZULPI, 0},
      {"on -W", {}, z, 1, unset, {0, -3, 0}, 3, 3 * ZULPI / 2, 0},
      {"first quadrant", {}, z, 1, unset, {-1, 1, 0}, std::sqrt(2.0), ZULPI / 4, 0},
      {"second quadrant", {}, z, 1, unset, {1, 1, 0}, std::sqrt(2.0), 3 * ZULPI / 4, 0},
      {"third quadrant", {}, z, 1, unset, {1, -1, 0}, std::sqrt(2.0), 5 * ZULPI / 4, 0},
      {"fourth quadrant", {}, z, 1, unset, {-1, -1, 0}, std::sqrt(2.0), 7 * ZULPI / 4, 0},
      {"whole n", {}, z, 3, unset, {0, 1, 0}, 1, ZULPI / 2, 0},
      {"broken n", {}, z, 2.5, unset, {0, 1, 0}, 1, ZULPI / 2, 0},
      {"negative n", {}, z, -2.5, unset, {0, 1, 0}, 1, ZULPI / 2, 0},
      {"axis of length 2", {}, {0, 0, 2}, 1, unset, {0, 1, 7}, 1, ZULPI / 2, 7},
      {"moved", {10, 20, 30}, z, 1, unset, {10, 21, 31}, 1, ZULPI / 2, 1},
      {"given reference", {}, z, 1, {0, -3, 0}, {0, 1, 0}, 1, ZULPI / 2, 0},
      {"turned reference", {}, z, 1, {1, 0, 0}, {0, -2, 0}, 2, 2 * ZULPI, 0},
      {"axis x", {}, {1, 0, 0}, 1, unset, {4, -1, 0}, 1, 2 * ZULPI, 4},
  };
  for (auto const& test : cases) {
    SFCylindricalTransform const node(test.origin, test.axis, test.n, test.reference);
    ZULMathPoint p = test.point;
    ASSERT_EQ(node.ApplyInverseTransformation(p), S_OK);
    EXPECT_NEAR(p.x, test.r, 1e-15) << test.name;
    EXPECT_NEAR(p.y, std::floor(test.n + 1) * test.theta / test.n, 1e-14) << test.name;
    EXPECT_NEAR(p.z, test.h, 1e-15) << test.name;
  }
}

TEST(Cylinder, ChoosesTheReferenceBySmallestComponent)
{
  double const s = std::sqrt(0.5);
  struct
  {
    ZULMathVector axis, reference;
  } const cases[] = {{{0, 0, 1}, {0, -1, 0}},       {{1, 0, 0}, {0, 0, -1}}, {{1, 1, 0}, {-s, s, 0}},
                     {{1, 1, 1}, {0, -s, s}},       {{0, 2, 0}, {0, 0, 1}},  {{-2, 2, 1}, {-s, -s, 0}},
                     {{NAN, 1, 1}, {NAN, NAN, NAN}}};
  for (auto const& test : cases) {
    SFCylindricalTransform const node({}, test.axis, 1);
    ZULMathPoint p;
    node.ApplyInverseTransformation(p);
    auto const& reference = node.GetReferenceDirection();
    if (std::isnan(test.axis.x))
      EXPECT_TRUE(std::isnan(reference.x) && std::isnan(p.x) && std::isnan(p.y) && std::isnan(p.z));
    else
      ExpectNear(reference, test.reference, "axis " + std::to_string(test.axis.x));
  }
  SFCylindricalTransform const given({}, {0, 0, 1}, 1, {0, -3, 0});
  given.GetFrame();
  EXPECT_EQ(given.GetReferenceDirection().y, -3.0);
}

TEST(Cylinder, HasNoAngleOnTheAxisAndNoScaleAtZero)
{
  SFCylindricalTransform const node({}, {0, 0, 1}, 1);
  ZULMathPoint p(0, 0, 3);
  EXPECT_EQ(node.ApplyInverseTransformation(p), S_OK);
  EXPECT_EQ(p.x, 0.0);
  EXPECT_TRUE(std::isnan(p.y));
  EXPECT_EQ(p.z, 3.0);
  SFCylindricalTransform const unscaled({}, {0, 0, 1}, 0);
  ZULMathPoint q(0, 1, 0);
  EXPECT_EQ(unscaled.ApplyInverseTransformation(q), S_OK);
  EXPECT_EQ(q.y, Inf);
}
