#include "CalculusSupport.h"

#include "ExplicitToSF.h"
#include "SFAffineTransform.h"
#include "SFCylindricalTransform.h"
#include "SFDagOffset.h"
#include "SFDagOffsetOperator.h"
#include "SFVariable.h"
#include "TetMeshToSF.h"

#include <gtest/gtest.h>

#include <algorithm>

using namespace SF;
using namespace SFTest;

namespace {

ZULTolerance const tolerance;
SFDagOffsetOperator const offsets(Level2());

std::string const Trace = "SFDagEvaluator::OffsetFunctionTree, gradient norm ";
std::string const NoFunction = "SFDagEvaluator::OffsetFunctionTree, no function provided ! ";
std::string const NoOrder = "SFDagEvaluator::OffsetFunctionTree, approximation order not implemented ! ";
std::string const NormFailed = "Error in GradientNorm at src/SFDagOffsetOperator.cpp:N  failed with hr: -2147467259";
std::string const OffsetFailed =
    "Error in NthOrderApproximationOffset at src/SFDagOffsetOperator.cpp:N  failed with hr: -2147467259";

NodePtr OneSided(NodePtr const& iField, double iDistance, int iOrder)
{
  return offsets.BuildOneSidedOffsetTree(iField, iDistance, tolerance, iOrder);
}

NodePtr AffineOver(NodePtr iOperand, double iShift)
{
  double const rows[12] = {1, 0, 0, iShift, 0, 1, 0, 0, 0, 0, 1, 0};
  auto node = std::make_shared<SFAffineTransform>(ZULMathTransformation(rows, 12));
  node->SetLhs(std::move(iOperand));
  return node;
}

} // namespace

TEST(OffsetOperator, OrderOneIsTheFirstOrderStepPassedThroughText)
{
  for (char const* const text : {"- r + + q X q Y q Z f1 $", "I - a X f1 - a Y f0.333333333 $", "* pa[2] s X $"}) {
    auto const field = Build(text);
    auto const step = offsets.FirstOrderApproximationOffset(field, 0.1, tolerance);
    EXPECT_EQ(step->GetLhs(), field);
    EXPECT_EQ(TextOf(*OneSided(Build(text), 0.1, 1)), TextOf(*step));
  }
  // The pass merges equal parts across the terms and gives ranks.
  auto const offset = OneSided(Build("- q X f1 $"), 0.1, 1);
  EXPECT_EQ(offset->GetRank(), 7);
  EXPECT_EQ(offset->GetLhs()->GetLhs()->GetLhs(),
            offset->GetRhs()->GetLhs()->GetLhs()->GetLhs()->GetLhs()->GetLhs()->GetRhs());
}

TEST(OffsetOperator, HasTheValuesOfItsDefinition)
{
  EXPECT_NEAR(ValueAt(*OneSided(Build("- + + * X X * Y Y * Z Z f1 $"), 0.1, 1), {1, 0, 0}), -0.2, 1e-12);
  auto const shell = offsets.BuildTwoSidedOffsetTree(Build("X $"), 2.0, tolerance, 1);
  for (double const x : {-3.0, -1.0, 0.25, 1.0, 7.0})
    EXPECT_NEAR(ValueAt(*shell, {x, 5, 6}), (x - 1) * (x + 1), 1e-12);

  // f - d |grad f| of random fields, against differences. Left out: the operators whose derivatives, or whose
  // simplification, are deliberately others, and those that are not defined everywhere.
  using enum SFNodeType;
  RandomFields texts(20240, std::vector{PLUS, SQUARE, MINUS, MULT, MAX, NOT, COS, SIN, ABS, EXP, ATAN, WITHOUT});
  int compared = 0;
  for (int i = 0; i < 400; ++i) {
    std::string const text = texts.Next(4) + " $";
    auto const field = Build(text);
    ZULMathPoint const point = texts.Point();
    double const distance = 0.1 * texts.Number();
    double squares = 0.0;
    double error = 0.0;
    for (SFNodeType const variable : {X, Y, Z}) {
      auto const slope = CentralDifference(*field, point, variable);
      squares += slope.value * slope.value;
      error += slope.error;
    }
    double const expected = ValueAt(*field, point) - distance * std::sqrt(squares);
    if (!(error < 1e-4) || !(std::abs(expected) < 1e4))
      continue;
    Captured const quiet;
    auto const offset = OneSided(Build(text), distance, 1);
    ASSERT_NE(offset, nullptr) << text;
    EXPECT_NEAR(ValueAt(*offset, point), expected, 1e-4 * (1.0 + std::abs(expected))) << text;
    ++compared;
  }
  EXPECT_GT(compared, 200);
}

TEST(OffsetOperator, WritesItsMessages)
{
  auto const blend = Build("b0.5 X Y $");
  auto const hollow = Op(SFNodeType::PLUS, Op(SFNodeType::X));
  using Call = std::function<NodePtr()>;
  struct
  {
    Call call;
    std::vector<std::string> lines;
  } const cases[] = {
      {[] { return offsets.GradientNorm(nullptr, tolerance); }, {NoFunction}},
      {[] { return offsets.FirstOrderApproximationOffset(nullptr, 1, tolerance); }, {NoFunction}},
      {[] { return offsets.NthOrderApproximationOffset(nullptr, 1, 0, tolerance); }, {NoFunction}},
      {[] { return offsets.BuildOneSidedOffsetTree(nullptr, 1, tolerance, 1); }, {NoFunction}},
      {[] { return offsets.BuildTwoSidedOffsetTree(nullptr, 1, tolerance, 4); }, {NoFunction}},
      {[] { return OneSided(Build("X $"), 1, 0); }, {NoOrder}},
      {[] { return OneSided(Build("X $"), 1, 4); }, {NoOrder}},
      {[] { return offsets.BuildTwoSidedOffsetTree(Build("X $"), 1, tolerance, -1); }, {NoOrder, NoOrder}},
  };
  for (auto const& [call, lines] : cases) {
    Captured const captured;
    EXPECT_EQ(call(), nullptr);
    EXPECT_EQ(captured.Lines(), lines);
  }

  std::string const notRecognized =
      "Error in SFDagEvaluator::DifferentiateFunctionTree, SFNodeType provided not recognized ! ";
  std::string const at = " at src/SFDagToExpression.cpp:N  failed with hr: -2147467259";
  std::string const unaryLhs = "Error in SFDagToExpression::ExportUnaryOpGraph, lhs is null which is unexpected!";
  Captured const captured;
  EXPECT_EQ(OneSided(blend, 1, 1), nullptr);
  std::vector<std::string> expected{notRecognized, notRecognized, notRecognized, unaryLhs, "Error in Export" + at};
  for (char const* const site :
       {"ExportBinaryOpGraph", "Export", "ExportBinaryOpGraph", "Export", "ExportUnaryOpGraph", "Export", "Export"})
    expected.push_back(std::string("Error in ") + site + at);
  expected.push_back(NormFailed);
  // The step itself is still made, over an empty norm.
  expected.insert(expected.end(), {unaryLhs, "Error in Export" + at});
  for (char const* const site : {"ExportBinaryOpGraph", "Export", "Export"})
    expected.push_back(std::string("Error in ") + site + at);
  expected.push_back(OffsetFailed);
  EXPECT_EQ(captured.Lines(), expected);

  // A level 1 operator cannot write what level 2 has.
  Captured const more;
  SFSWContext const level1;
  EXPECT_EQ(SFDagOffsetOperator(level1).BuildOneSidedOffsetTree(Build("* pa[2] X $"), 1, tolerance, 1), nullptr);
  EXPECT_EQ(more.Lines().back(), OffsetFailed);
}

/// What the pass through text would turn into another field ends in a line and nothing.
TEST(OffsetOperator, NeverBecomesAnotherField)
{
  using enum SFNodeType;
  auto const nothing = [](NodePtr iNode) { return Op(MULT, std::move(iNode), C(0.0)); }; // whose derivative is 0
  auto const poly = std::make_shared<ExplicitToSF>(POLY);
  auto const mesh = std::make_shared<TetMeshToSF>();
  mesh->SetExpressionId("#k");
  auto const reference = [](char const* iId) {
    auto node = std::make_shared<ResourceToSF>(UNRESOLVEDREF);
    node->SetExpressionId(iId);
    return node;
  };
  auto const parameter = [](char const* iName, double iValue) { return std::make_shared<SFVariable>(iName, iValue); };
  auto const sphere = [](double iRadius) { return Op(MINUS, Build("+ + q X q Y q Z $"), C(iRadius)); };
  auto const offset = [](std::int32_t iSides, ZULTolerance const* iTolerance) {
    auto node = std::make_shared<SFDagOffset>(Op(X), 1.0, iSides, iTolerance);
    node->GetReady(Level2());
    return node;
  };
  auto const cylinder = [](ZULMathVector const& iReference) {
    auto node = std::make_shared<SFCylindricalTransform>(ZULMathPoint(), ZULMathVector(0, 0, 1), 3.0, iReference);
    node->SetLhs(Op(Y));
    return node;
  };
  ZULTolerance const coarse(0.25);
  ZULTolerance const usual(ZULTolerance::DefaultResolution);

  struct
  {
    char const* what;
    NodePtr field;
    bool offsettable;
  } const cases[] = {
      {"a gradient of a resource", Op(PLUS, poly, Op(X)), false},
      {"a resource by number", Op(PLUS, nothing(poly), Op(X)), false},
      {"a resolved reference", Op(PLUS, nothing(mesh), Op(X)), false},
      {"an END node", Op(PLUS, nothing(Op(END)), Op(X)), false},
      {"an unresolved reference", Op(PLUS, nothing(reference("#a")), Op(X)), true},
      {"an id with a blank", Op(PLUS, nothing(reference("#a X")), Op(X)), false},
      {"an id of one character", Op(PLUS, nothing(reference("#")), Op(X)), false},
      {"an infinite constant", Op(MAX, Op(X), C(-HUGE_VAL)), false},
      {"a constant that is no number", Op(PLUS, Op(X), C(NAN)), false},
      {"an infinite parameter", Op(PLUS, Op(X), parameter("a", HUGE_VAL)), false},
      {"a parameter", Op(PLUS, Op(X), parameter("a", 1.0 / 3.0)), true},
      {"one name for two values", Op(PLUS, Op(MULT, Op(X), parameter("a", 1)), parameter("a", 2)), false},
      {"one name for one value twice", Op(PLUS, Op(MULT, Op(X), parameter("a", 2)), parameter("a", 2)), true},
      {"a name with a bracket", Op(PLUS, Op(X), parameter("a[b", 1)), false},
      {"a name that reads as another with the same value", Op(PLUS, Op(X), parameter("a[2", 2)), false},
      {"a name with a closing bracket", Op(PLUS, Op(X), parameter("a]b", 1)), false},
      {"a name with a blank", Op(PLUS, Op(X), parameter(" q", 1)), false},
      {"zeros of both signs", Op(PLUS, Op(PLUS, Op(X), Op(SIN, C(-0.0))), Op(COS, C(0.0))), true},
      {"one moved sphere", Op(MAX, AffineOver(sphere(1), 1.0), Op(Y)), true},
      {"two moved spheres with one gradient", Op(MAX, AffineOver(sphere(1), 1.0), AffineOver(sphere(2), 5.0)), false},
      {"a matrix that is not finite", Op(MAX, Op(X), AffineOver(Op(Y), HUGE_VAL)), false},
      {"a cylinder", cylinder({}), true},
      {"a cylinder with its computed direction", cylinder({0, -1, 0}), true},
      {"a cylinder with a direction of its own", cylinder({1, 0, 0}), false},
      {"an offset", offset(0, nullptr), true},
      {"a two-sided offset", offset(1, nullptr), false},
      {"an offset with a tolerance of its own", offset(0, &coarse), false},
      {"an offset with the usual tolerance", offset(0, &usual), true},
  };
  for (auto const& [what, field, offsettable] : cases) {
    Captured const captured;
    auto const result = OneSided(field, 0.5, 1);
    EXPECT_EQ(result != nullptr, offsettable) << what;
    auto const lines = captured.Lines();
    EXPECT_EQ(lines.back() == OffsetFailed, !offsettable) << what;
    EXPECT_EQ(offsets.BuildTwoSidedOffsetTree(field, 0.5, tolerance, 1) != nullptr, offsettable) << what;
  }
  EXPECT_EQ(OneSided(Op(X), HUGE_VAL, 1), nullptr);
  EXPECT_EQ(OneSided(Op(X), NAN, 2), nullptr);
}

TEST(OffsetOperator, LeavesNoMarksOnTheField)
{
  auto const field = Build("- r + + q X q Y q Z f1 $");
  EXPECT_EQ(ValueAt(*field, {9, 0, 0}), 8.0); // which stands until the offset rewrites the field
  OneSided(field, 0.1, 2);
  SFEvaluationContext context(0);
  context.SetAtPosition({3, 0, 0});
  EXPECT_EQ(SFDagEvaluator(Level2()).ComputeScalar(context, *field), S_OK);
  EXPECT_EQ(field->GetContextInfos(0).value, 2.0);
}

TEST(OffsetOperator, SharingCostsNothing)
{
  // Shared doublings: a text of some 2^200 tokens.
  auto const doubled = [](NodePtr iField) {
    for (int i = 0; i < 200; ++i)
      iField = Op(SFNodeType::PLUS, iField, iField);
    return iField;
  };
  for (int order = 1; order <= 3; ++order)
    EXPECT_LT(NodesOf(*OneSided(doubled(Build("s X $")), 0.1, order)).size(), 10000U);
  // Nothing below the blend has a derivative: no line twice where the paths are beyond any count.
  auto const lines = LinesOf([&] { EXPECT_EQ(OneSided(doubled(Build("b0.5 X Y $")), 0.1, 1), nullptr); });
  EXPECT_EQ(lines.back(), OffsetFailed);
  EXPECT_LT(lines.size(), 1000000U);
}

TEST(OffsetOperator, RefusesFieldsBeyondMeasure)
{
  NodePtr field = Op(SFNodeType::X);
  for (std::size_t i = 0; i < SFDagOffsetOperator::MaxNodes; ++i)
    field = Op(SFNodeType::NOT, field);
  EXPECT_EQ(LinesOf([&] { EXPECT_EQ(offsets.GradientNorm(field, tolerance), nullptr); }), LineList{NormFailed});
}

TEST(OffsetOperator, ItsLinesStandInTheStatedOrder)
{
  auto const places = PlacesOf("src/SFDagOffsetOperator.cpp", [] {
    OneSided(Op(SFNodeType::PLUS, std::make_shared<ExplicitToSF>(SFNodeType::POLY), Op(SFNodeType::X)), 1.0, 1);
  });
  ASSERT_EQ(places.size(), 2U); // that of the norm, then that of the offset
  EXPECT_LT(places[1], places[0]);
}
