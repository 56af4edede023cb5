#include "CompiledFieldSupport.h"

using namespace SF;
using namespace SFTest;

namespace {

Points NastyPoints()
{
  std::array<double, 10> const nasty{0.0, -0.0, 1.0, -1.0, 0.5, 5e-324, -1e300, Inf, -Inf, NaN};
  Points points;
  for (double const x : nasty)
    for (double const y : nasty)
      for (double const z : nasty)
        points.Add(x, y, z);
  return points;
}

void ExpectValuesOfRecursion(std::string const& iText, Points& ioPoints, unsigned int iThreads = 1)
{
  RootPtr const root = Build(iText);
  ASSERT_NE(root, nullptr) << iText;
  FieldPtr const field = Compiled(root, WithThreads(iThreads));
  ASSERT_NE(field, nullptr) << iText;
  ASSERT_EQ(ioPoints.Evaluate(*field), S_OK);
  SFEvaluationContext context = root->GetNewEvaluationContext();
  for (std::size_t i = 0; i < ioPoints.Count(); ++i) {
    ZULMathPoint const point(ioPoints.x[i], ioPoints.y[i], ioPoints.z[i]);
    double const value = ByRecursion(*root, context, point);
    ASSERT_TRUE(SameBits<std::uint64_t>(ioPoints.values[i], value))
        << iText << " at " << point.x << " " << point.y << " " << point.z << ": " << ioPoints.values[i] << ", not "
        << value;
  }
}

// ---- compiling ------------------------------------------------------------------------------------------------

TEST(CompiledField, SaysWhyAGraphCannotBeCompiled)
{
  for (std::string const text :
       {"b0.1 - X f1 q Y $", "+ X #nobody $", "m[0;0;0;0;0;0;0;0;0;0;0;0;0;0;0;1] X $", "+ X $", "! $"}) {
    FieldPtr field;
    std::vector<std::string> lines;
    {
      Captured const captured;
      RootPtr const root = Build(text);
      EXPECT_EQ(SFCompiledField::Compile(Level2(), root, {}, field), E_FAIL) << text;
      lines = captured.Lines();
    }
    EXPECT_EQ(field, nullptr);
    Captured const captured;
    RootPtr const root = Build(text);
    SFEvaluationContext context = root->GetNewEvaluationContext();
    SFDagEvaluator(Level2()).ComputeScalar(context, *root);
    EXPECT_EQ(lines, captured.Lines()) << text;
    EXPECT_FALSE(lines.empty()) << text;
  }
}

TEST(CompiledField, RefusesWhatIsMissing)
{
  Captured const captured;
  FieldPtr field = Compiled(Build("X $"));
  FieldPtr const before = field;
  EXPECT_EQ(SFCompiledField::Compile(Level2(), nullptr, {}, field), E_INVALIDARG);
  EXPECT_EQ(field, before);

  double v[3] = {};
  float f[8] = {};
  double low = 0.0;
  double high = 0.0;
  unsigned int const dims[3] = {2, 2, 2};
  std::vector<HRESULT> const codes{
      field->Evaluate(1, nullptr, v, v, v),
      field->Evaluate(1, v, nullptr, v, v),
      field->Evaluate(1, v, v, nullptr, v),
      field->Evaluate(1, v, v, v, nullptr),
      field->EvaluateGradient(1, v, v, v, v, nullptr),
      field->EvaluateInterval({{0, 0, 1}, {1, 1, 0}}, low, high),
      field->EvaluateInterval({{0, 0, 0}, {1, NaN, 1}}, low, high),
      field->RenderSlices(nullptr, 0, 1, f, 1.0, nullptr),
      field->RenderSlices(dims, 0, 3, f, 1.0, nullptr),
      field->RenderSlices(dims, 2, 1, f, 1.0, nullptr),
      field->RenderSlices(dims, 0, 2, std::span<float>(f, 7), 1.0, nullptr),
  };
  EXPECT_EQ(codes, std::vector<HRESULT>(codes.size(), E_INVALIDARG));
  EXPECT_EQ(captured.Lines().size(), codes.size() + 1); // one line each
  EXPECT_EQ(field->Evaluate(0, nullptr, nullptr, nullptr, nullptr), S_OK);
  EXPECT_EQ(field->RenderSlices(dims, 1, 1, {}, 1.0, nullptr), S_OK);
}

TEST(CompiledField, KeepsTheGraphAndNotItsChanges)
{
  CountedFieldResolver resolver;
  RootPtr root = Build("+ #a #b $", &resolver);
  FieldPtr const field = Compiled(root);
  std::weak_ptr<SFDagNode> const left = root->GetLhs();
  std::weak_ptr<SFDagNode> const right = root->GetRhs();
  root->SetLhs(Build("X $"));
  root->SetRhs(Build("X $"));
  root.reset();
  ASSERT_FALSE(left.expired() || right.expired());
  Points points;
  points.Add(0.0, 2.0, 3.0);
  ASSERT_EQ(points.Evaluate(*field), S_OK);
  EXPECT_EQ(points.values[0], 12.0);
}

// ---- points ---------------------------------------------------------------------------------------------------

TEST(CompiledField, HasTheValuesOfTheEvaluator)
{
  Points nasty = NastyPoints();
  Points ordinary = RandomPoints(700);
  for (std::string const& text : CompiledTexts) {
    ExpectValuesOfRecursion(text, nasty);
    ExpectValuesOfRecursion(text, ordinary);
  }
  Expressions expressions(1);
  for (int i = 0; i < 150; ++i) {
    std::string const text = expressions.Next(1 + i % 7);
    Points& points = i % 2 == 0 ? nasty : ordinary;
    ExpectValuesOfRecursion(text, points);
  }
}

TEST(CompiledField, ReusesItsMemoryForCallsOfDifferentSizes)
{
  RootPtr const root = Build("+ U X * Y f2 s Z $");
  FieldPtr const field = Compiled(root, WithThreads(3));
  SFEvaluationContext context = root->GetNewEvaluationContext();
  for (std::size_t const count : {1U, 2U, 600U, 511U, 3U, 512U, 513U, 40000U, 1U}) {
    Points points = RandomPoints(count);
    ASSERT_EQ(points.Evaluate(*field), S_OK);
    for (std::size_t i = 0; i < count; ++i)
      ASSERT_EQ(points.values[i], ByRecursion(*root, context, {points.x[i], points.y[i], points.z[i]}));
  }
}

/// Set operations on many parts, of whole numbers for ties.
std::string ManyParts(Expressions& ioRandom)
{
  std::string text;
  auto const term = [&](char const* iBefore, char const* iAxis) {
    text.append(iBefore).append(" - ").append(iAxis).append(" f").append(std::to_string(ioRandom.Below(7)));
  };
  constexpr int parts = 60;
  for (int i = 0; i < parts; ++i) {
    text.append(ioRandom.OneOf(std::vector<std::string>{"U ", "U ", "U ", "I ! ", "\\ ", "D "}));
    text.append(i % 2 == 0 ? "- r + +" : "- I I");
    for (char const* axis : {"X", "Y", "Z"})
      term(i % 2 == 0 ? " q" : " a", axis);
    text.append(" f").append(std::to_string(ioRandom.Below(4))).append(" ");
  }
  return text.append("* X ? Y $");
}

/// Many points are divided by place and pruned for, few are not.
TEST(CompiledField, HasTheSameBitsAtManyPointsAndAtFew)
{
  Expressions random(23);
  for (int fields = 0; fields < 6; ++fields) {
    FieldPtr const field = Compiled(Build(ManyParts(random)), WithThreads(2));
    Points points = fields % 2 == 0 ? RandomPoints(6000, 2.0) : Points();
    for (int i = 0; i < 8000 && fields % 2 != 0; ++i)
      points.Add(3.0 + 0.125 * (i % 20), 4.0 + 0.125 * (i / 20 % 20), 3.0 + 0.125 * (i / 400));
    points.Add(NAN, 1.0, 2.0);
    points.Add(-INFINITY, 1.0, INFINITY);
    auto const evaluated = [&](std::size_t iAtOnce) {
      std::vector<double> results(10 * points.Count());
      for (std::size_t from = 0; from < points.Count(); from += iAtOnce) {
        std::size_t const count = std::min(iAtOnce, points.Count() - from);
        double* const values = &results[from];
        double* const gradients = &results[points.Count() + 3 * from];
        EXPECT_EQ(field->EvaluateGradient(count, &points.x[from], &points.y[from], &points.z[from], values, gradients),
                  S_OK);
        EXPECT_EQ(field->EvaluateHessian(count, &points.x[from], &points.y[from], &points.z[from], nullptr, nullptr,
                                         &results[4 * points.Count() + 6 * from]),
                  S_OK);
      }
      return results;
    };
    auto const many = evaluated(points.Count());
    auto const few = evaluated(500);
    for (std::size_t i = 0; i < many.size(); ++i)
      ASSERT_TRUE(SameBits<std::uint64_t>(many[i], few[i])) << "field " << fields << ", result " << i;
  }
}

// ---- gradients ------------------------------------------------------------------------------------------------

/// Where both one-sided differences agree there is no kink near, and the central difference is the derivative.
TEST(CompiledField, HasTheGradientsOfCentralDifferences)
{
  constexpr double h = 1e-6;
  Expressions expressions(3, true);
  Points const at = RandomPoints(60, 1.5);
  std::size_t compared = 0;
  for (int i = 0; i < 150; ++i) {
    std::string const text = expressions.Next(1 + i % 6);
    FieldPtr const field = Compiled(Build(text), WithThreads(1));
    Points points = at;
    ASSERT_EQ(points.Differentiate(*field), S_OK);
    for (std::size_t axis = 0; axis < 3; ++axis) {
      Points below = at;
      Points above = at;
      for (std::size_t p = 0; p < at.Count(); ++p) {
        (axis == 0 ? below.x : axis == 1 ? below.y : below.z)[p] -= h;
        (axis == 0 ? above.x : axis == 1 ? above.y : above.z)[p] += h;
      }
      ASSERT_EQ(below.Evaluate(*field), S_OK);
      ASSERT_EQ(above.Evaluate(*field), S_OK);
      for (std::size_t p = 0; p < at.Count(); ++p) {
        double const value = points.values[p];
        double const left = (value - below.values[p]) / h;
        double const right = (above.values[p] - value) / h;
        double const central = (above.values[p] - below.values[p]) / (2.0 * h);
        double const scale = 1.0 + std::abs(central) + std::abs(value);
        if (!(std::abs(left - right) < 1e-4 * scale) || std::abs(value) > 1e6)
          continue;
        ++compared;
        ASSERT_NEAR(points.gradients[3 * p + axis], central, 1e-3 * scale)
            << text << " along axis " << axis << " at " << at.x[p] << " " << at.y[p] << " " << at.z[p];
      }
    }
  }
  EXPECT_GT(compared, 15000U);
}

TEST(CompiledField, GivesTheSameValuesWithGradients)
{
  Expressions expressions(5);
  for (int i = 0; i < 60; ++i) {
    RootPtr const root = Build(expressions.Next(1 + i % 6));
    FieldPtr const field = Compiled(root, WithThreads(1));
    Points plain = NastyPoints();
    Points differentiated = plain;
    ASSERT_EQ(plain.Evaluate(*field), S_OK);
    ASSERT_EQ(differentiated.Differentiate(*field), S_OK);
    for (std::size_t p = 0; p < plain.Count(); ++p)
      ASSERT_TRUE(SameBits<std::uint64_t>(plain.values[p], differentiated.values[p])) << TextOf(*root);
  }
}

TEST(CompiledField, AsksResourcesForGradientsOnceAPoint)
{
  CountedFieldResolver resolver;
  RootPtr const root = Build("+ * f2 #a q m[2;0;0;0;0;1;0;0;0;0;1;0;0;0;0;1] #a $", &resolver);
  FieldPtr const field = Compiled(root, WithThreads(2));
  CountedField& first = dynamic_cast<CountedField&>(*root->GetLhs()->GetRhs());
  Points points = RandomPoints(600);
  ASSERT_EQ(points.Differentiate(*field), S_OK);
  EXPECT_EQ(first.gradients, 600);
  EXPECT_EQ(first.values, 600);

  first.missing = true;
  ASSERT_EQ(points.Differentiate(*field), S_OK);
  EXPECT_FALSE(std::isnan(points.gradients[0]));
  EXPECT_TRUE(std::isnan(points.gradients[2]));
  first.code = E_FAIL;
  ASSERT_EQ(points.Differentiate(*field), S_OK);
  EXPECT_TRUE(std::isnan(points.gradients[0]));
}

TEST(CompiledField, CarriesGradientsOfResourcesThroughMappings)
{
  CountedFieldResolver resolver;
  // The inverse of the mapping takes (x, y, z) to (x / 2, z, y).
  FieldPtr const field = Compiled(Build("m[2;0;0;0;0;0;1;0;0;1;0;0;0;0;0;1] #a $", &resolver));
  Points points;
  points.Add(1.0, 5.0, 7.0);
  ASSERT_EQ(points.Differentiate(*field), S_OK);
  EXPECT_EQ(points.values[0], std::sin(0.5) + 35.0);
  EXPECT_EQ(points.gradients, (std::vector<double>{0.5 * std::cos(0.5), 7.0, 5.0}));
}

// ---- intervals ------------------------------------------------------------------------------------------------

TEST(CompiledField, BoundsItsValuesOverBoxes)
{
  Expressions expressions(11);
  std::size_t finite = 0;
  std::vector<std::string> texts = CompiledTexts;
  for (int i = 0; i < 300; ++i)
    texts.push_back(expressions.Next(1 + i % 6));
  for (std::string const& text : texts) {
    FieldPtr const field = Compiled(Build(text), WithThreads(1));
    for (int box = 0; box < 6; ++box) {
      std::array<double, 3> low{};
      std::array<double, 3> high{};
      for (std::size_t axis = 0; axis < 3; ++axis) {
        low[axis] = box == 0 ? 0.0 : expressions.Uniform(-3.0, 3.0);
        high[axis] = low[axis] + (box == 1 ? 0.0 : std::exp(expressions.Uniform(-6.0, 2.0)));
      }
      double least = NaN;
      double most = NaN;
      HRESULT const hr = field->EvaluateInterval({{low[0], low[1], low[2]}, {high[0], high[1], high[2]}}, least, most);
      finite += std::abs(least) < Inf && std::abs(most) < Inf ? 1 : 0;
      Points points;
      for (int i = 0; i < 150; ++i) {
        std::array<double, 3> at{};
        for (std::size_t axis = 0; axis < 3; ++axis) {
          std::size_t const side = expressions.Below(3);
          at[axis] = side == 0 ? low[axis] : side == 1 ? high[axis] : expressions.Uniform(low[axis], high[axis]);
        }
        points.Add(at[0], at[1], at[2]);
      }
      ASSERT_EQ(points.Evaluate(*field), S_OK);
      for (double const value : points.values)
        ASSERT_TRUE(std::isnan(value) ? hr == S_FALSE : least <= value && value <= most)
            << text << " gives " << value << " outside [" << least << ", " << most << "], code " << hr;
    }
  }
  EXPECT_GT(finite, 500U);
}

TEST(CompiledField, BoundsHoldAtNegativeZero)
{
  for (std::string const text : {"^ X f-1 $", "/ f1 X $", "^ X f0.5 $", "? X $"}) {
    FieldPtr const field = Compiled(Build(text));
    Points points;
    points.Add(-0.0, 0.0, 0.0);
    ASSERT_EQ(points.Evaluate(*field), S_OK);
    double low = NaN;
    double high = NaN;
    field->EvaluateInterval({{0, 0, 0}, {1, 1, 1}}, low, high);
    EXPECT_TRUE(low <= points.values[0] && points.values[0] <= high) << text << " gives " << points.values[0];
  }
}

} // namespace
