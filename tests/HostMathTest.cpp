#include "Support.h"

#include "SFCylindricalTransform.h"
#include "ZULMath3x3Matrix.h"
#include "ZULMathTransformation.h"
#include "ZULPI.h"

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

} // namespace

TEST(HostMath, InverseUndoesTheTransformation)
{
  // clang-format off
  Linear const cases[] = {
      {"general", {2, 1, 0, 5, -1, 3, 1, -6, 0.5, 0, 4, 7}},
      {"reflected, permuted", {0, 0, 1, 1, 1, 0, 0, 2, 0, -1, 0, 3}},
      {"tiny", {1e-120, 0, 0, 1e-120, 0, 2e-120, 0, 0, 0, 0, 3e-120, 0}},
      {"huge", {1e120, 0, 0, 1, 0, 2e120, 0, 0, 0, 0, 3e120, 0}},
      {"rows of far scales", {6e200, 8e200, 0, 0, -8e-200, 6e-200, 0, 0, 0, 0, 1, 0}},
      {"columns of far scales", {6e200, -8e-200, 0, 0, 8e200, 6e-200, 0, 0, 0, 0, 1, 0}},
      {"both", {1e300, 1e-10, 0, 0, 1e10, 3e-300, 0, 0, 0, 0, 1, 0}},
  };
  // clang-format on
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
  // clang-format off
  Linear const singular[] = {
      {"zero row", {1, 2, 3, 0, 0, 0, 0, 0, 1, 0, 1, 0}}, {"equal rows", {1, 2, 3, 0, 1, 2, 3, 0, 0, 0, 1, 0}},
      {"dependent", {1, 2, 3, 0, 4, 5, 6, 0, 7, 8, 9, 0}}, {"NaN", {1, 0, 0, 0, 0, nan, 0, 0, 0, 0, 1, 0}},
      {"infinite", {1, 0, 0, 0, 0, Inf, 0, 0, 0, 0, 1, 0}}, {"NaN shift", {1, 0, 0, nan, 0, 1, 0, 0, 0, 0, 1, 0}},
      {"too small", {5e-324, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0}},
  };
  // clang-format on
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
  EXPECT_EQ(matrix(1, 2), 6.0);
}

TEST(HostMath, NormalizeLeavesTheZeroVector)
{
  ZULMathVector zero;
  zero.Normalize();
  EXPECT_TRUE(zero.x == 0.0 && zero.y == 0.0 && zero.z == 0.0);
}

// ---- the cylindrical mapping ------------------------------------------------------------------------------------

TEST(Cylinder, MapsPoints)
{
  ZULMathVector const z(0, 0, 1);
  ZULMathVector const unset;
  double const q = ZULPI / 4;
  double const s = std::sqrt(2.0);
  // With the axis z and no reference, U is -x and W is +y.
  // clang-format off
  struct { ZULMathVector axis; double n; ZULMathVector reference; ZULMathPoint point; double r, theta, h; } const
  cases[] = {
      {z, 1, unset, {-1, 0, 5}, 1, 8 * q, 5}, {z, 1, unset, {0, 1, 0}, 1, 2 * q, 0}, // on U a full turn, not none
      {z, 1, unset, {2, 0, 0}, 2, 4 * q, 0},  {z, 1, unset, {0, -3, 0}, 3, 6 * q, 0},
      {z, 1, unset, {-1, 1, 0}, s, q, 0},     {z, 1, unset, {1, 1, 0}, s, 3 * q, 0},
      {z, 1, unset, {1, -1, 0}, s, 5 * q, 0}, {z, 1, unset, {-1, -1, 0}, s, 7 * q, 0},
      {z, 3, unset, {0, 1, 0}, 1, 2 * q, 0},  {z, 2.5, unset, {0, 1, 0}, 1, 2 * q, 0},
      {z, -2.5, unset, {0, 1, 0}, 1, 2 * q, 0}, {{0, 0, 2}, 1, unset, {0, 1, 7}, 1, 2 * q, 7},
      {z, 1, {0, -3, 0}, {0, 1, 0}, 1, 2 * q, 0}, {z, 1, {1, 0, 0}, {0, -2, 0}, 2, 8 * q, 0},
      {{1, 0, 0}, 1, unset, {4, -1, 0}, 1, 8 * q, 4},
  };
  // clang-format on
  for (auto const& test : cases) {
    SFCylindricalTransform const node({10, 20, 30}, test.axis, test.n, test.reference);
    ZULMathPoint p(10 + test.point.x, 20 + test.point.y, 30 + test.point.z);
    ASSERT_EQ(node.ApplyInverseTransformation(p), S_OK);
    auto const index = &test - cases;
    EXPECT_NEAR(p.x, test.r, 1e-15) << index;
    EXPECT_NEAR(p.y, std::floor(test.n + 1) * test.theta / test.n, 1e-14) << index;
    EXPECT_NEAR(p.z, test.h, 1e-15) << index;
    if (test.reference.Length() != 0.0) {
      EXPECT_EQ(node.GetReferenceDirection().y, test.reference.y) << index;
    }
  }
}

TEST(Cylinder, ChoosesTheReferenceBySmallestComponent)
{
  double const s = std::sqrt(0.5);
  // clang-format off
  struct { ZULMathVector axis, reference; } const cases[] = {
      {{0, 0, 1}, {0, -1, 0}}, {{1, 0, 0}, {0, 0, -1}}, {{1, 1, 0}, {-s, s, 0}}, {{1, 1, 1}, {0, -s, s}},
      {{0, 2, 0}, {0, 0, 1}}, {{-2, 2, 1}, {-s, -s, 0}},
  };
  // clang-format on
  for (auto const& test : cases) {
    SFCylindricalTransform const node({}, test.axis, 1);
    node.GetFrame();
    auto const& reference = node.GetReferenceDirection();
    EXPECT_NEAR(reference.x, test.reference.x, 1e-15) << &test - cases;
    EXPECT_NEAR(reference.y, test.reference.y, 1e-15) << &test - cases;
    EXPECT_NEAR(reference.z, test.reference.z, 1e-15) << &test - cases;
  }
}

TEST(Cylinder, HasNoAngleOnTheAxisAndNoScaleAtZero)
{
  ZULMathPoint p(0, 0, 3);
  EXPECT_EQ(SFCylindricalTransform({}, {0, 0, 1}, 1).ApplyInverseTransformation(p), S_OK);
  EXPECT_TRUE(p.x == 0.0 && std::isnan(p.y) && p.z == 3.0);
  ZULMathPoint q(0, 1, 0);
  EXPECT_EQ(SFCylindricalTransform({}, {0, 0, 1}, 0).ApplyInverseTransformation(q), S_OK);
  EXPECT_EQ(q.y, Inf);
  ZULMathPoint lost(0, 1, 0);
  EXPECT_EQ(SFCylindricalTransform({}, {NAN, 1, 1}, 1).ApplyInverseTransformation(lost), S_OK);
  EXPECT_TRUE(std::isnan(lost.x) && std::isnan(lost.y) && std::isnan(lost.z));
}
