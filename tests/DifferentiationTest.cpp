#include "CalculusSupport.h"

#include "ExplicitToSF.h"
#include "ResourceGradientToSF.h"
#include "SFAffineTransform.h"
#include "SFCylindricalTransform.h"
#include "SFDagOffset.h"
#include "ZULPI.h"

#include <gtest/gtest.h>

#include <map>

using namespace SF;
using namespace SFTest;
using enum SFNodeType;

namespace {

std::string const noFunction = "SFDagEvaluator::DifferentiateFunctionTree, no function provided ! ";
std::string const notRecognized =
    "Error in SFDagEvaluator::DifferentiateFunctionTree, SFNodeType provided not recognized ! ";
std::string const invalidVariable = "Error in SFDagEvaluator::DifferentiateFunctionTree, Invalid variable provided ! ";

NodePtr D(NodePtr const& iNode, SFNodeType iVariable) { return Operator::DifferentiateFunctionTree(iNode, iVariable); }

/// The rows of a linear mapping that is its own inverse: a turn by 180 degrees about (1, 1, 0), then (0, 3, 0).
constexpr char const* halfTurn = "m[0;1;0;0;1;0;0;0;0;0;-1;3;0;0;0;1]";

} // namespace

TEST(Differentiation, RewritesTheFieldWithItsGradient)
{
  NodePtr const field = Build("e + X f0");
  Operator::BuildGradientTree(field, X, ZULTolerance());
  EXPECT_EQ(TextOf(*field), "e + X f0 $"); // the node at the root is no operand of the derivative
  NodePtr const below = Build("e * Y + X f0");
  Operator::BuildGradientTree(below, X, ZULTolerance());
  EXPECT_EQ(TextOf(*below), "e * Y X $");
}

TEST(Differentiation, SharesOperandsAndNothingElse)
{
  NodePtr const x = Op(X);
  NodePtr const product = D(Op(MULT, x, x), X);
  EXPECT_EQ(product->GetLhs()->GetRhs(), x);
  EXPECT_EQ(product->GetRhs()->GetLhs(), x);
  EXPECT_EQ(product->GetRank(), -1);

  // A node reached along two paths is differentiated twice, and so is one that a rule mentions twice.
  NodePtr const shared = Op(SIN, x);
  NodePtr const twice = D(Op(PLUS, shared, shared), X);
  EXPECT_NE(twice->GetLhs(), twice->GetRhs());
  EXPECT_EQ(twice->GetLhs()->GetLhs()->GetLhs(), x);
  EXPECT_EQ(twice->GetRhs()->GetLhs()->GetLhs(), x);
  NodePtr const y = Op(Y);
  NodePtr const maximum = D(Op(MAX, shared, y), X);
  NodePtr const ofAbsolute = maximum->GetRhs()->GetLhs();
  NodePtr const ofSum = maximum->GetRhs()->GetRhs();
  EXPECT_NE(ofAbsolute->GetRhs()->GetLhs(), ofSum->GetLhs());
  EXPECT_EQ(ofAbsolute->GetLhs()->GetLhs()->GetLhs(), shared);
  EXPECT_EQ(ofAbsolute->GetLhs()->GetLhs()->GetRhs(), y);

  NodePtr const quotient = D(Op(DIV, shared, y), X);
  EXPECT_EQ(quotient->GetRhs()->GetLhs(), y);
  EXPECT_EQ(quotient->GetLhs()->GetRhs()->GetLhs(), shared);
}

TEST(Differentiation, OfResourcesIsTheirGradient)
{
  auto const resource = std::make_shared<ResourceToSF>(POLY);
  auto const gradient = std::dynamic_pointer_cast<ResourceGradientToSF>(D(resource, Y));
  ASSERT_NE(gradient, nullptr);
  EXPECT_EQ(gradient->GetVariableType(), Y);
  EXPECT_EQ(gradient->GetResource(), resource);
  Captured const captured;
  EXPECT_EQ(D(gradient, X), nullptr);
  EXPECT_EQ(captured.Lines(), std::vector{notRecognized});
}

TEST(Differentiation, OfAbsoluteValuesReadsOnlyTheOperand)
{
  NodePtr const x = Op(X);
  for (int const flag : {0, 1, 255})
    for (SFNodeType const type : {ABS, COS})
      EXPECT_EQ(
          TextOf(*Operator::DifferentiateABSFunction(*Op(type, Op(SQUARE, x)), static_cast<unsigned char>(flag), X)),
          "* ? q X * * f2 X f1 $");
  Captured const captured;
  EXPECT_EQ(Operator::DifferentiateABSFunction(*Op(ABS), 1, X)->GetRhs(), nullptr);
  EXPECT_EQ(captured.Lines(), std::vector{noFunction});
}

namespace {
/// An offset node whose derived graph is given.
struct GivenOffset : SFDagOffset
{
  explicit GivenOffset(NodePtr iDerived) : SFDagOffset(nullptr, 0.5) { SetDerivedDag(std::move(iDerived)); }
};
} // namespace

TEST(Differentiation, OfOffsetsIsThatOfTheDerivedGraph)
{
  NodePtr const x = Op(X);
  NodePtr const derivative = D(std::make_shared<GivenOffset>(Op(SQUARE, x)), X);
  EXPECT_EQ(TextOf(*derivative), "* * f2 X f1 $");
  EXPECT_EQ(derivative->GetLhs()->GetRhs(), x);
  Captured const captured;
  EXPECT_EQ(D(Build("o0.5 X"), X), nullptr);
  EXPECT_EQ(captured.Lines(), std::vector{noFunction});
}

TEST(Differentiation, Reports)
{
  auto const tag = [](SFNodeType iType) { return Op(iType, Op(X)); };
  std::string const noInverse =
      "Error in GetInverse at PrivateInterfaces/SFAffineTransform.h:N  failed with hr: -2147467259";
  struct
  {
    NodePtr node;
    std::vector<std::string> lines;
    bool gives = false;
  } const cases[] = {
      {nullptr, {noFunction}},
      {Op(END), {notRecognized}},
      {Build("#foo "), {notRecognized}},
      {Build("b0.5 X Y"), {notRecognized}},
      {tag(NONE), {notRecognized}},
      {tag(UNDEFINED), {notRecognized}},
      {tag(DISCRETETRANFORM), {notRecognized}},
      {tag(GCGUIDEDTRANSFORM), {notRecognized}},
      {tag(RESERVED), {notRecognized}},
      {tag(NoKind), {notRecognized}},
      {tag(SFNodeType{-1}), {notRecognized}},
      {std::make_shared<ResourceToSF>(RESOLVEDREF), {notRecognized}},
      // tags that the class of the node does not bear out
      {tag(AFFINETRANSFORM), {notRecognized}},
      {tag(CYLINDRICALTRANSFORM), {notRecognized}},
      {tag(POLY), {notRecognized}},
      {tag(OFFSET), {noFunction}},
      // the failing operand is empty, the rest stands
      {Op(PLUS, Op(X), Build("#foo ")), {notRecognized}, true},
      {Op(PLUS, nullptr, Build("#foo ")), {noFunction, notRecognized}, true},
      {Op(MAX, nullptr, Build("#foo ")), {noFunction, notRecognized, noFunction, notRecognized}, true},
      {Op(COS), {noFunction}, true},
      {Op(WITHOUT), std::vector<std::string>(4, noFunction), true},
      {Build("m[0;0;0;0;0;1;0;0;0;0;1;0;0;0;0;1] X"), {noInverse}, true},
      {Build("m[0;0;0;0;0;1;0;0;0;0;1;0;0;0;0;1] #foo "),
       {noInverse, notRecognized, notRecognized, notRecognized},
       true},
  };
  for (auto const& c : cases) {
    Captured const captured;
    EXPECT_EQ(D(c.node, X) != nullptr, c.gives);
    EXPECT_EQ(captured.Lines(), c.lines);
  }
  EXPECT_EQ(TextOf(*D(Build("m[0;0;0;0;0;1;0;0;0;0;1;0;0;0;0;1] X"), X)),
            "m[1;0;0;0;0;1;0;0;0;0;1;0;0;0;0;1] + + * f1 f1 * f0 f0 * f0 f0 $");
}

TEST(Differentiation, Variables)
{
  for (SFNodeType const type : {NONE, CONSTANT, PARAMETER, SFNodeType{77}}) {
    EXPECT_EQ(TextOf(*D(Build("+ X Y"), type)), "+ f0 f0 $");
    EXPECT_EQ(TextOf(*D(Build("m[1;0;0;0;0;1;0;0;0;0;1;0;0;0;0;1] Z"), type)),
              "m[1;0;0;0;0;1;0;0;0;0;1;0;0;0;0;1] + + * f0 f0 * f0 f0 * f1 f0 $");
    Captured const captured;
    EXPECT_EQ(Operator::BuildGradientTree(Build("X"), type, ZULTolerance()), nullptr);
    EXPECT_EQ(captured.Lines(), std::vector{invalidVariable});
  }
  Captured const captured;
  EXPECT_EQ(Operator::BuildGradientTree(nullptr, Z, ZULTolerance()), nullptr);
  EXPECT_EQ(captured.Lines(), std::vector{noFunction});
}

// ---- values ---------------------------------------------------------------------------------------------------

namespace {

/// Compares a derivative with central differences at random points and counts the comparisons by operator.
void Compare(NodePtr const& iField, std::string const& iText, RandomFields& ioRandom, std::map<char, int>& ioChecked)
{
  for (SFNodeType const variable : {X, Y, Z}) {
    NodePtr const derivative = D(iField, variable);
    ASSERT_NE(derivative, nullptr);
    NodePtr const simplified = Operator::BuildGradientTree(Build(iText), variable, ZULTolerance(1e-12));
    for (int i = 0; i < 3; ++i) {
      ZULMathPoint const point = ioRandom.Point();
      Difference const expected = CentralDifference(*iField, point, variable);
      if (!IsReliable(expected, *iField, point))
        continue;
      double const tolerance = DifferenceTolerance * (1.0 + std::abs(expected.value));
      EXPECT_NEAR(ValueAt(*derivative, point), expected.value, tolerance) << iText << " by " << (int)variable;
      if (iText.front() != 'm') { // an affine transform of a constant simplifies to 0
        EXPECT_NEAR(ValueAt(*simplified, point), expected.value, tolerance) << iText << " by " << (int)variable;
      }
      for (char const c : iText)
        ++ioChecked[c];
    }
  }
}

} // namespace

TEST(Differentiation, AgreesWithCentralDifferences)
{
  auto const operators = OperatorsWithout({MIN, SYMDIFF});
  RandomFields random(20240607, operators);
  std::map<char, int> checked;
  for (int i = 0; i < 400; ++i) {
    std::string text = random.Next(1 + i % 5);
    if (i % 4 == 0)
      text = std::string(halfTurn).append(" ").append(text);
    Captured const captured;
    Compare(Build(text), text, random, checked);
    EXPECT_TRUE(captured.Lines().empty() || captured.Lines().front().find("Division by 0") != std::string::npos);
  }
  for (SFNodeType const type : operators)
    EXPECT_GT(checked[OperatorRow(type).token], 100) << OperatorRow(type).name;
  EXPECT_GT(checked['m'], 300);
}

TEST(Differentiation, OfCylindersAgreesWithCentralDifferences)
{
  RandomFields random(7, OperatorsWithout({MIN, SYMDIFF, EXP, POW}));
  std::map<char, int> checked;
  for (int i = 0; i < 150; ++i) {
    std::array<double, 7> parameters;
    for (double& parameter : parameters)
      parameter = random.Number();
    parameters[6] = i % 3 == 0 ? 1.0 + i % 5 : std::abs(parameters[6]) + 0.3; // whole and broken n
    ZULMathVector const reference = i % 2 == 0 ? ZULMathVector() : ZULMathVector(0.5, -3.0, random.Number());
    auto const cylinder = std::make_shared<SFCylindricalTransform>(
        ZULMathPoint(parameters[0], parameters[1], parameters[2]),
        ZULMathVector(parameters[3], parameters[4], parameters[5]), parameters[6], reference);
    std::string const text = i < 30 ? std::string(1, "XYZ"[i % 3]) : random.Next(3);
    cylinder->SetLhs(Build(text));
    for (SFNodeType const variable : {X, Y, Z}) {
      auto const derivative = std::dynamic_pointer_cast<SFCylindricalTransform>(D(cylinder, variable));
      ASSERT_NE(derivative, nullptr);
      EXPECT_EQ(derivative->GetParameters(), cylinder->GetParameters());
      for (int k = 0; k < 4; ++k) {
        ZULMathPoint const point = random.Point();
        ZULMathPoint mapped = point;
        cylinder->ApplyInverseTransformation(mapped);
        Difference const expected = CentralDifference(*cylinder, point, variable);
        if (mapped.x < 0.1 || !IsReliable(expected, *cylinder, point))
          continue;
        double const tolerance = DifferenceTolerance * (1.0 + std::abs(expected.value));
        EXPECT_NEAR(ValueAt(*derivative, point), expected.value, tolerance) << text;
        ++checked[i < 30 ? "xyz"[i % 3] : 'r'];
      }
    }
  }
  for (char const c : {'x', 'y', 'z'})
    EXPECT_GT(checked[c], 80) << c;
  EXPECT_GT(checked['r'], 500);
}
