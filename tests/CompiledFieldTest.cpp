#include "Support.h"

#include "BRXResourceToSF.h"
#include "SFCompiledField.h"
#include "SFDagEvaluator.h"
#include "SFProfilerItf.h"

#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <cmath>
#include <cstring>
#include <functional>
#include <limits>
#include <random>
#include <stdexcept>
#include <thread>

using namespace SF;
using namespace SFTest;

namespace {

using Node = std::shared_ptr<SFDagNode>;
using Field = std::shared_ptr<SFCompiledField>;

constexpr double Inf = std::numeric_limits<double>::infinity();
constexpr double NaN = std::numeric_limits<double>::quiet_NaN();

/// A host's field sin(x) + y z with its gradient; `onCall` is called with the number of each call.
class CountedField : public BRXResourceToSF
{
public:
  CountedField() : BRXResourceToSF(SFNodeType::RESOLVEDREF) {}
  HRESULT ComputeScalars(ZULMathBox const&, ZULTolerance const&, ZULGMSFDiscretizationAccuracyLevel) override
  {
    return S_OK;
  }
  double GetScalar(ZULMathPoint const& iPoint) const override
  {
    onCall(++values);
    return std::sin(iPoint.x) + iPoint.y * iPoint.z;
  }
  HRESULT GetGradient(double (&oGradient)[3], ZULMathPoint const& iPoint) const override
  {
    onCall(++gradients);
    oGradient[0] = std::cos(iPoint.x);
    oGradient[1] = iPoint.z;
    oGradient[2] = missing ? MissingValue : iPoint.y;
    return code;
  }

  std::function<void(int)> onCall = [](int) {};
  mutable std::atomic<int> values{0};
  mutable std::atomic<int> gradients{0};
  bool missing = false;
  HRESULT code = S_OK;
};

class Resolver : public SFResourceResolver
{
public:
  ResourceToSF* Resolve(std::string const&) override { return made = new CountedField; }
  CountedField* made = nullptr;
};

/// Expressions of a seed: every operator, transforms, sub-graphs used twice, constants that make ties and NaN.
class Expressions
{
public:
  explicit Expressions(unsigned int iSeed, bool iSmooth = false) : _random(iSeed), _smooth(iSmooth) {}

  std::string Next(int iDepth) { return Sub(iDepth) + " $"; }
  double Uniform(double iLow, double iHigh) { return std::uniform_real_distribution<double>(iLow, iHigh)(_random); }
  std::size_t Below(std::size_t iCount) { return std::uniform_int_distribution<std::size_t>(0, iCount - 1)(_random); }

private:
  std::string Sub(int iDepth)
  {
    if (iDepth == 0)
      return Leaf();
    std::size_t const kind = Below(10);
    if (kind == 0 && !_seen.empty())
      return _seen[Below(_seen.size())];
    if (kind == 1)
      return Transform() + " " + Sub(iDepth - 1);
    std::string text;
    if (kind < 5) {
      std::string const unary = _smooth ? "qcsaTC?e!" : "qcsaTC?e!rltS";
      text = std::string(1, unary[Below(unary.size())]) + " " + Sub(iDepth - 1);
    } else {
      std::string const binary = _smooth ? "+-*UID\\" : "+-*UID\\/^";
      text = std::string(1, binary[Below(binary.size())]) + " " + Sub(iDepth - 1);
      text += " " + Sub(iDepth - 1);
    }
    _seen.push_back(text);
    return text;
  }
  std::string Leaf()
  {
    std::array<std::string, 8> const leaves{"X", "Y", "Z", "X", "f0", "f0.5", "f-1", "f2"};
    return leaves[Below(leaves.size())];
  }
  std::string Transform() { return Below(2) == 0 ? "m[0.2;0;-1;0;0;2;0.5;1;0;0;3;0;0;0;0;1]" : "n[-3;-4;0.5;1;2;0;4]"; }

  std::mt19937 _random;
  bool _smooth;
  std::vector<std::string> _seen;
};

/// What is checked with each of them; the last is larger than a batch of points.
std::vector<std::string> const Texts{
    "f3 $",
    "X $",
    "+ X * Y f2 $",
    "U - r + + q X q Y q Z f1 - a X f0.5 $",
    "I + + * s X c Y * s Y c Z * s Z c X - a X f3 $",
    "\\ U X ! Y D Z f0 $",
    "U X l Y $",
    "m[0.8;-0.6;0;1;0.6;0.8;0;2;0;0;1;3;0;0;0;1] U X q Y $",
    "n[0.1;0.2;0.3;0;1;1;3] + X * Y Z $",
    "* X f0 $",
};

Field Compiled(Node const& iRoot, SFCompiledFieldOptions const& iOptions = {})
{
  Field field;
  EXPECT_EQ(SFCompiledField::Compile(Level2(), iRoot, iOptions, field), S_OK);
  return field;
}

SFCompiledFieldOptions Threads(unsigned int iThreads)
{
  SFCompiledFieldOptions options;
  options.threads = iThreads;
  return options;
}

double ByRecursion(SFDagNode const& iRoot, SFEvaluationContext& ioContext, ZULMathPoint const& iPoint)
{
  ioContext.SetAtPosition(iPoint);
  iRoot.Reset(ioContext);
  EXPECT_EQ(SFDagEvaluator(Level2()).ComputeScalar(ioContext, iRoot), S_OK);
  return iRoot.GetContextInfos(ioContext.GetIndex()).value;
}

template <class Bits, class Number>
bool SameBits(Number iA, Number iB)
{
  return std::bit_cast<Bits>(iA) == std::bit_cast<Bits>(iB) || (iA != iA && iB != iB);
}

struct Points
{
  void Add(double iX, double iY, double iZ)
  {
    x.push_back(iX);
    y.push_back(iY);
    z.push_back(iZ);
  }
  std::size_t Count() const { return x.size(); }
  HRESULT Evaluate(SFCompiledField const& iField, std::atomic<bool> const* iCancel = nullptr)
  {
    values.assign(Count(), 77.0);
    return iField.Evaluate(Count(), x.data(), y.data(), z.data(), values.data(), iCancel);
  }
  HRESULT Differentiate(SFCompiledField const& iField, std::atomic<bool> const* iCancel = nullptr)
  {
    values.assign(Count(), 77.0);
    gradients.assign(3 * Count(), 77.0);
    return iField.EvaluateGradient(Count(), x.data(), y.data(), z.data(), values.data(), gradients.data(), iCancel);
  }

  std::vector<double> x, y, z, values, gradients;
};

Points RandomPoints(std::size_t iCount, double iExtent = 3.0)
{
  Expressions random(7);
  Points points;
  for (std::size_t i = 0; i < iCount; ++i)
    points.Add(random.Uniform(-iExtent, iExtent), random.Uniform(-iExtent, iExtent), random.Uniform(-iExtent, iExtent));
  return points;
}

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
  Node const root = Build(iText);
  ASSERT_NE(root, nullptr) << iText;
  Field const field = Compiled(root, Threads(iThreads));
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
  for (std::string const text : {"b0.1 - X f1 q Y $", "+ X #nobody $", "m[0;0;0;0;0;0;0;0;0;0;0;0;0;0;0;1] X $"}) {
    Field field;
    std::vector<std::string> lines;
    {
      Captured const captured;
      Node const root = Build(text);
      EXPECT_EQ(SFCompiledField::Compile(Level2(), root, {}, field), E_FAIL) << text;
      lines = captured.Lines();
    }
    EXPECT_EQ(field, nullptr);
    Captured const captured;
    Node const root = Build(text);
    SFEvaluationContext context = root->GetNewEvaluationContext();
    SFDagEvaluator(Level2()).ComputeScalar(context, *root);
    EXPECT_EQ(lines, captured.Lines()) << text;
    EXPECT_FALSE(lines.empty()) << text;
  }
}

TEST(CompiledField, RefusesWhatIsMissing)
{
  Captured const captured;
  Field field = Compiled(Build("X $"));
  Field const before = field;
  EXPECT_EQ(SFCompiledField::Compile(Level2(), nullptr, {}, field), E_INVALIDARG);
  EXPECT_EQ(field, before);

  double v[3] = {};
  float f[8] = {};
  double low = 0.0;
  double high = 0.0;
  unsigned int const dims[3] = {2, 2, 2};
  std::vector<HRESULT> const codes{
      field->Evaluate(1, nullptr, v, v, v),
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
  Resolver resolver;
  Node root = Build("+ #a pradius[2.5] $", &resolver);
  Field const field = Compiled(root);
  std::weak_ptr<SFDagNode> const resource = root->GetLhs();
  root->SetLhs(Build("X $"));
  root->SetRhs(Build("X $"));
  root.reset();
  ASSERT_FALSE(resource.expired());
  Points points;
  points.Add(0.0, 2.0, 3.0);
  ASSERT_EQ(points.Evaluate(*field), S_OK);
  EXPECT_EQ(points.values[0], 8.5);
}

// ---- points ---------------------------------------------------------------------------------------------------

TEST(CompiledField, HasTheValuesOfTheEvaluator)
{
  Points nasty = NastyPoints();
  Points ordinary = RandomPoints(700);
  for (std::string const& text : Texts) {
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

TEST(CompiledField, TakesAnyNumberOfPoints)
{
  for (std::size_t const count : {1U, 2U, 511U, 512U, 513U, 40000U}) {
    Points points = RandomPoints(count);
    ExpectValuesOfRecursion("I + + * s X c Y * s Y c Z * s Z c X - a X f3 $", points, 3);
  }
}

TEST(CompiledField, ReusesItsMemoryForCallsOfDifferentSizes)
{
  Node const root = Build("+ U X * Y f2 s Z $");
  Field const field = Compiled(root, Threads(1));
  SFEvaluationContext context = root->GetNewEvaluationContext();
  for (std::size_t const count : {1U, 600U, 3U, 512U, 1U}) {
    Points points = RandomPoints(count);
    ASSERT_EQ(points.Evaluate(*field), S_OK);
    for (std::size_t i = 0; i < count; ++i)
      ASSERT_EQ(points.values[i], ByRecursion(*root, context, {points.x[i], points.y[i], points.z[i]}));
  }
}

// ---- gradients ------------------------------------------------------------------------------------------------

TEST(CompiledField, HasTheGradientsOfClosedForms)
{
  struct Case
  {
    std::string text;
    std::array<double, 3> at;
    std::array<double, 3> gradient;
  };
  double const e = std::exp(1.0);
  std::vector<Case> const cases{
      {"f3 $", {1, 2, 3}, {0, 0, 0}},
      {"X $", {1, 2, 3}, {1, 0, 0}},
      {"* X * Y Z $", {2, 3, 5}, {15, 10, 6}},
      {"/ X Y $", {1, 2, 0}, {0.5, -0.25, 0}},
      {"* f0 r X $", {-1, 0, 0}, {0, 0, 0}}, // 0 times a NaN with a derivative of its own
      {"r + q X q Y $", {3, 4, 0}, {0.6, 0.8, 0}},
      {"e * X Y $", {1, 1, 0}, {e, e, 0}},
      {"l X $", {4, 0, 0}, {0.25, 0, 0}},
      {"t X $", {0, 0, 0}, {1, 0, 0}},
      {"T X $", {1, 0, 0}, {0.5, 0, 0}},
      {"S X $", {0.6, 0, 0}, {1.25, 0, 0}},
      {"C X $", {0.6, 0, 0}, {-1.25, 0, 0}},
      {"? X $", {1, 0, 0}, {0, 0, 0}},
      {"! X $", {1, 0, 0}, {-1, 0, 0}},
      // At the end of a domain, of what does not move there.
      {"r I X f0 $", {-1, 0, 0}, {0, 0, 0}},
      {"S U X f1 $", {2, 0, 0}, {0, 0, 0}},
      {"C U X f1 $", {2, 0, 0}, {0, 0, 0}},
      {"^ I X f0 f0.5 $", {-1, 0, 0}, {0, 0, 0}},
      {"r q X $", {0, 0, 0}, {0, 0, 0}},
      {"r X $", {0, 0, 0}, {Inf, 0, 0}},
      // Powers: negative and zero bases, exponents 0 and 1, and varying ones.
      {"^ X f3 $", {-2, 0, 0}, {12, 0, 0}},
      {"^ X f2 $", {-3, 0, 0}, {-6, 0, 0}},
      {"^ X f-1 $", {-2, 0, 0}, {-0.25, 0, 0}},
      {"^ X f0 $", {0, 0, 0}, {0, 0, 0}},
      {"^ X f1 $", {0, 0, 0}, {1, 0, 0}},
      {"^ X f2 $", {0, 0, 0}, {0, 0, 0}},
      {"^ f2 X $", {3, 0, 0}, {8 * std::log(2.0), 0, 0}},
      {"^ X Y $", {2, 3, 0}, {12, 8 * std::log(2.0), 0}},
      {"^ X Y $", {0, 3, 0}, {0, 0, 0}},
      {"^ X Y $", {-2, 3, 0}, {12, NaN, 0}},
      // Kinks: the operand that the value takes, the left one on ties.
      {"U X Y $", {1, 1, 0}, {1, 0, 0}},
      {"U X Y $", {2, 1, 0}, {0, 1, 0}},
      {"I X Y $", {1, 1, 0}, {1, 0, 0}},
      {"I X Y $", {1, 2, 0}, {0, 1, 0}},
      {"\\ X Y $", {1, -1, 0}, {1, 0, 0}},
      {"\\ X Y $", {1, -2, 0}, {0, -1, 0}},
      {"D X Y $", {-1, 2, 0}, {1, 0, 0}},
      {"D X Y $", {-3, -2, 0}, {0, -1, 0}},
      {"D X Y $", {0, 0, 0}, {1, 0, 0}},
      {"a X $", {2, 0, 0}, {1, 0, 0}},
      {"a X $", {-2, 0, 0}, {-1, 0, 0}},
      {"a X $", {0, 0, 0}, {-1, 0, 0}},
      {"U X l Y $", {1, -1, 0}, {1, 0, 0}}, // a NaN is never chosen, nor is its derivative
      {"U X - Y f5e-324 $", {1e-310, 1e-310, 0}, {0, 1, 0}},
      {"I X Y $", {Inf, Inf, 0}, {1, 0, 0}},
      {"I X Y $", {-Inf, Inf, 0}, {0, 1, 0}},
      // Mapped points: X is (y - 1) / 2, and radius and angle (from -x to y) about the z axis.
      {"m[0;1;0;0;2;0;0;1;0;0;1;0;0;0;0;1] X $", {0, 0, 0}, {0, 0.5, 0}},
      {"n[0;0;0;0;0;1;3] X $", {3, 4, 7}, {0.6, 0.8, 0}},
      {"n[0;0;0;0;0;1;3] Y $", {3, 4, 7}, {4 / 25.0 * 4 / 3, -3 / 25.0 * 4 / 3, 0}},
      {"n[0;0;0;0;0;1;3] Z $", {3, 4, 7}, {0, 0, 1}},
  };
  for (Case const& c : cases) {
    Points points;
    points.Add(c.at[0], c.at[1], c.at[2]);
    ASSERT_EQ(points.Differentiate(*Compiled(Build(c.text))), S_OK) << c.text;
    for (std::size_t axis = 0; axis < 3; ++axis) {
      double const expected = c.gradient[axis];
      double const found = points.gradients[axis];
      bool const same = found == expected || (std::isnan(found) && std::isnan(expected));
      bool const close = same || std::abs(found - expected) <= 1e-14 * (1.0 + std::abs(expected));
      EXPECT_TRUE(close) << c.text << " along axis " << axis << ": " << found << ", not " << expected;
    }
  }
}

/// Where both one-sided differences agree there is no kink near, and the central difference is the derivative.
TEST(CompiledField, HasTheGradientsOfCentralDifferences)
{
  constexpr double h = 1e-6;
  Expressions expressions(3, true);
  Points const at = RandomPoints(60, 1.5);
  std::size_t compared = 0;
  for (int i = 0; i < 150; ++i) {
    std::string const text = expressions.Next(1 + i % 6);
    Field const field = Compiled(Build(text), Threads(1));
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
    Node const root = Build(expressions.Next(1 + i % 6));
    Field const field = Compiled(root, Threads(1));
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
  Resolver resolver;
  Node const root = Build("+ * f2 #a q m[2;0;0;0;0;1;0;0;0;0;1;0;0;0;0;1] #a $", &resolver);
  Field const field = Compiled(root, Threads(2));
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
  Resolver resolver;
  // The inverse of the mapping takes (x, y, z) to (x / 2, z, y).
  Field const field = Compiled(Build("m[2;0;0;0;0;0;1;0;0;1;0;0;0;0;0;1] #a $", &resolver));
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
  std::vector<std::string> texts = Texts;
  for (int i = 0; i < 300; ++i)
    texts.push_back(expressions.Next(1 + i % 6));
  for (std::string const& text : texts) {
    Field const field = Compiled(Build(text), Threads(1));
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

TEST(CompiledField, BoundsAreTightWhereTheyCanBe)
{
  struct Case
  {
    std::string text;
    HRESULT code;
    double low;
    double high;
  };
  // Over -1 <= x <= 2, 1 <= y <= 3, 0 <= z <= 0.
  for (Case const& c : std::vector<Case>{{"X $", S_OK, -1, 2},
                                         {"q X $", S_OK, 0, 4},
                                         {"U X Y $", S_OK, -1, 2},
                                         {"\\ X Y $", S_OK, -1, 2},
                                         {"a X $", S_OK, 0, 2},
                                         {"r X $", S_FALSE, 0, std::sqrt(2.0)},
                                         {"* X Y $", S_OK, -3, 6},
                                         {"/ X Y $", S_OK, -1, 2},
                                         {"? Y $", S_OK, 1, 1}}) {
    double low = NaN;
    double high = NaN;
    EXPECT_EQ(Compiled(Build(c.text))->EvaluateInterval({{-1, 1, 0}, {2, 3, 0}}, low, high), c.code) << c.text;
    EXPECT_EQ(low, c.low) << c.text;
    EXPECT_EQ(high, c.high) << c.text;
  }
}

// ---- slices ---------------------------------------------------------------------------------------------------

struct SliceCase
{
  std::array<unsigned int, 3> dims;
  std::vector<unsigned int> cuts;
  SFCompiledFieldOptions options;
};

/// The floats of Render, from a graph of its own.
std::vector<float> Rendered(std::string const& iText, std::array<unsigned int, 3> iDims, double iH,
                            double const* iOrigin)
{
  Captured const captured;
  Node const root = Build(iText);
  std::vector<float> values(std::size_t{iDims[0]} * iDims[1] * iDims[2]);
  EXPECT_EQ(SFDagEvaluator(Level2()).Render(iDims.data(), values, iH, iOrigin, *root, ZULTolerance(),
                                            ZULGMSFDiscretizationAccuracyLevel::ELow),
            S_OK);
  return values;
}

TEST(RenderSlices, InARowAreTheWholeGrid)
{
  SFCompiledFieldOptions tight = Threads(2);
  tight.memoryBudget = 1;
  SFCompiledFieldOptions small = Threads(3);
  small.memoryBudget = 20000;
  std::vector<SliceCase> const cases{{{33, 21, 19}, {1, 2, 12}, {}}, {{33, 21, 19}, {}, tight},
                                     {{70, 9, 40}, {13}, small},     {{1, 1, 5}, {1, 2, 3, 4}, Threads(1)},
                                     {{300, 1, 2}, {1}, Threads(2)}, {{5, 40, 9}, {4, 4, 8}, Threads(8)},
                                     {{64, 64, 3}, {2}, Threads(1)}, {{2, 2, 2}, {0, 2}, tight}};
  double const origin[3] = {-1.3, -0.9, -1.1};
  std::vector<std::string> texts = Texts;
  Expressions expressions(17);
  for (int i = 0; i < 12; ++i)
    texts.push_back(expressions.Next(5));
  for (std::string const& text : texts)
    for (SliceCase const& c : cases) {
      double const h = 0.11;
      auto const expected = Rendered(text, c.dims, h, origin);
      Field const field = Compiled(Build(text), c.options);
      std::vector<unsigned int> ends = c.cuts;
      ends.push_back(c.dims[2]);
      std::vector<float> found(expected.size() + 1, 77.0F); // the last one is nobody's
      std::size_t const slice = std::size_t{c.dims[0]} * c.dims[1];
      unsigned int begin = 0;
      for (unsigned int const end : ends) {
        std::span<float> const part(found.data() + begin * slice, (end - begin) * slice);
        ASSERT_EQ(field->RenderSlices(c.dims.data(), begin, end, part, h, origin), S_OK);
        begin = end;
      }
      for (std::size_t i = 0; i < expected.size(); ++i)
        ASSERT_TRUE(SameBits<std::uint32_t>(found[i], expected[i]))
            << text << ", voxel " << i << ": " << found[i] << ", not " << expected[i];
      ASSERT_EQ(found.back(), 77.0F);
    }
}

TEST(RenderSlices, ReachIntoGridsThatFitIntoNoMemory)
{
  unsigned int const dims[3] = {3, 2, 4000000000U};
  double const origin[3] = {0.0, 0.0, -2e9};
  std::vector<float> values(12);
  ASSERT_EQ(Compiled(Build("Z $"))->RenderSlices(dims, 3999999998U, 4000000000U, values, 1.0, origin), S_OK);
  EXPECT_EQ(values.front(), static_cast<float>(1999999998.0));
  EXPECT_EQ(values.back(), static_cast<float>(1999999999.0));
}

// ---- progress, cancellation, exceptions, threads --------------------------------------------------------------

struct Log : SFProfilerItf
{
  void OnProgress(char const* iOperation, double iFraction) override
  {
    operation = iOperation;
    fractions.push_back(iFraction);
    sameThread = sameThread && std::this_thread::get_id() == caller;
    if (onProgress)
      onProgress(iFraction);
  }
  std::string operation;
  std::vector<double> fractions;
  std::function<void(double)> onProgress;
  std::thread::id const caller = std::this_thread::get_id();
  bool sameThread = true;
};

/// An operation that takes a while, by name, on a field of resources and functions.
struct Operation
{
  std::string name;
  std::function<HRESULT(SFCompiledField const&, std::atomic<bool> const*)> run;
};

std::vector<Operation> const& Operations()
{
  static std::vector<Operation> const operations{
      {"Evaluate",
       [](auto const& iField, auto const* iCancel) { return RandomPoints(20000).Evaluate(iField, iCancel); }},
      {"EvaluateGradient",
       [](auto const& iField, auto const* iCancel) { return RandomPoints(20000).Differentiate(iField, iCancel); }},
      {"RenderSlices",
       [](auto const& iField, auto const* iCancel) {
         unsigned int const dims[3] = {40, 40, 20};
         std::vector<float> values(std::size_t{40} * 40 * 12);
         return iField.RenderSlices(dims, 3, 15, values, 0.1, nullptr, iCancel);
       }},
  };
  return operations;
}

TEST(ThreadCompiledField, ReportsProgress)
{
  for (unsigned int const threads : {1U, 4U})
    for (Operation const& operation : Operations()) {
      Log log;
      SFCompiledFieldOptions options = Threads(threads);
      options.profiler = &log;
      Field const field = Compiled(Build("+ s X * Y Z $"), options);
      EXPECT_EQ(operation.run(*field, nullptr), S_OK);
      EXPECT_EQ(log.operation, operation.name);
      EXPECT_TRUE(log.sameThread);
      ASSERT_FALSE(log.fractions.empty());
      EXPECT_EQ(log.fractions.front(), 0.0);
      EXPECT_EQ(log.fractions.back(), 1.0);
      EXPECT_TRUE(std::is_sorted(log.fractions.begin(), log.fractions.end(), std::less_equal<>()));
      EXPECT_GT(log.fractions.size(), threads == 1 ? 5U : 1U) << operation.name;
    }
}

/// Every thread may be in one call of the resource when the flag is set, and about to begin another.
TEST(ThreadCompiledField, EndsAfterOneCallOfAResourceWhenCancelled)
{
  constexpr int when = 700;
  for (bool const inOptions : {false, true})
    for (int const threads : {1, 4})
      for (Operation const& operation : Operations()) {
        std::atomic<bool> cancel{false};
        std::atomic<bool> armed{true};
        SFCompiledFieldOptions options = Threads(static_cast<unsigned int>(threads));
        options.cancel = inOptions ? &cancel : nullptr;
        Resolver resolver;
        Field const field = Compiled(Build("+ U #a X s Y $", &resolver), options);
        resolver.made->onCall = [&](int iCall) { cancel = cancel || (armed && iCall == when); };
        EXPECT_EQ(operation.run(*field, inOptions ? nullptr : &cancel), E_ABORT) << operation.name;
        EXPECT_LE(std::max(resolver.made->values.load(), resolver.made->gradients.load()), when + 2 * threads)
            << operation.name;
        int const calls = resolver.made->values;
        EXPECT_EQ(operation.run(*field, inOptions ? nullptr : &cancel), E_ABORT); // and does not begin again
        EXPECT_EQ(resolver.made->values, calls);
        armed = cancel = false;
        EXPECT_EQ(operation.run(*field, inOptions ? nullptr : &cancel), S_OK);
      }
}

TEST(ThreadCompiledField, ReportsNoEndWhenCancelled)
{
  for (Operation const& operation : Operations()) {
    std::atomic<bool> cancel{false};
    Log log;
    log.onProgress = [&](double iFraction) { cancel = iFraction > 0.0; };
    SFCompiledFieldOptions options = Threads(1);
    options.profiler = &log;
    EXPECT_EQ(operation.run(*Compiled(Build("s X $"), options), &cancel), E_ABORT) << operation.name;
    ASSERT_EQ(log.fractions.size(), 2U) << operation.name;
    EXPECT_LT(log.fractions.back(), 1.0) << operation.name;
  }
}

TEST(ThreadCompiledField, PassesOnWhatAResourceOrAProfilerThrows)
{
  for (unsigned int const threads : {1U, 4U})
    for (Operation const& operation : Operations()) {
      Log log;
      SFCompiledFieldOptions options = Threads(threads);
      options.profiler = &log;
      Resolver resolver;
      Field const field = Compiled(Build("+ U #a X s Y $", &resolver), options);
      bool armed = true;
      resolver.made->onCall = [&](int iCall) {
        if (armed && iCall == 999)
          throw std::runtime_error("resource");
      };
      EXPECT_THROW(operation.run(*field, nullptr), std::runtime_error) << operation.name;
      armed = false;
      log.onProgress = [](double) { throw std::logic_error("profiler"); };
      EXPECT_THROW(operation.run(*field, nullptr), std::logic_error) << operation.name;
      log.onProgress = {};
      EXPECT_EQ(operation.run(*field, nullptr), S_OK) << operation.name;
    }
}

TEST(ThreadCompiledField, ServesConcurrentCalls)
{
  std::string const text = "U - r + + q X q Y q Z f1 \\ s X #a $";
  Resolver resolver;
  Field const field = Compiled(Build(text, &resolver), Threads(2));
  unsigned int const dims[3] = {30, 20, 10};
  Points const at = RandomPoints(3000);
  struct Answers
  {
    Points values;
    Points gradients;
    std::vector<float> slices;
    double low = 0.0;
    double high = 0.0;
  };
  auto const ask = [&] {
    Answers answers{at, at, std::vector<float>(6000), 0.0, 0.0};
    EXPECT_EQ(answers.values.Evaluate(*field), S_OK);
    EXPECT_EQ(answers.gradients.Differentiate(*field), S_OK);
    EXPECT_EQ(field->RenderSlices(dims, 0, 10, answers.slices, 0.1, nullptr), S_OK);
    EXPECT_EQ(field->EvaluateInterval({{0, 0, 0}, {1, 1, 1}}, answers.low, answers.high), S_OK);
    return answers;
  };
  std::vector<std::thread> threads;
  std::vector<Answers> all(4);
  for (Answers& answers : all)
    threads.emplace_back([&ask, &answers] {
      for (int i = 0; i < 3; ++i)
        answers = ask();
    });
  for (std::thread& thread : threads)
    thread.join();
  Answers const alone = ask();
  for (Answers const& answers : all) {
    EXPECT_EQ(answers.values.values, alone.values.values);
    EXPECT_EQ(answers.gradients.gradients, alone.gradients.gradients);
    EXPECT_EQ(answers.slices, alone.slices);
    EXPECT_EQ(answers.high, alone.high);
  }
}

} // namespace
