#include "CalculusSupport.h"
#include "HostResource.h"

#include <map>

using namespace SF;
using namespace SFTest;
using enum SFNodeType;

namespace {

constexpr char const* Head = "Error in SFDagEvaluator::ComputeAndSetFirstOrderDerivative, ";
std::string const noFunction = "SFDagEvaluator::ComputeAndSetFirstOrderDerivative, no function provided ! ";
std::string const notRecognized = std::string(Head) + "SFNodeType provided not recognized ! ";
std::string const derivativeFailed = FailedWith(std::string(Head) + "ComputeFirstOrderDerivative");

std::string OnValue(std::string const& iName, char const* iSide)
{
  return FailedWith(Head + ("ComputeAndSetScalar for " + iName) + " on " + iSide);
}
std::string OnDerivative(std::string const& iName, char const* iSide)
{
  return FailedWith(Head + ("ComputeAndSetFirstOrderDerivative for " + iName) + " on " + iSide);
}

/// The derivative of a field at a point, computed anew; the code in its place when that fails.
double DerivativeAt(NodePtr const& iField, SFNodeType iVariable, ZULMathPoint const& iPoint)
{
  SFEvaluationContext values(0);
  SFEvaluationContext derivatives(1);
  for (SFEvaluationContext* const context : {&values, &derivatives})
    context->SetAtPosition(iPoint);
  iField->ResetEvaluationCache();
  double derivative = 0.0;
  HRESULT const hr =
      SFDagEvaluator(Level2()).ComputeAndSetFirstOrderDerivative(iField, values, derivatives, iVariable, derivative);
  return hr == S_OK ? derivative : hr;
}

} // namespace

TEST(NumericDerivative, AgreesWithCentralDifferences)
{
  auto const operators = OperatorsWithout({MINUS, ATAN});
  RandomFields random(99, operators);
  std::map<char, int> checked;
  for (int i = 0; i < 400; ++i) {
    std::string const text = random.Next(1 + i % 5);
    NodePtr const field = Build(text);
    for (SFNodeType const variable : {X, Y, Z})
      for (int k = 0; k < 3; ++k) {
        ZULMathPoint const point = random.Point();
        Difference const expected = CentralDifference(*field, point, variable);
        if (!IsReliable(expected, *field, point))
          continue;
        EXPECT_NEAR(DerivativeAt(field, variable, point), expected.value,
                    DifferenceTolerance * (1.0 + std::abs(expected.value)))
            << text;
        for (char const c : text)
          ++checked[c];
      }
  }
  for (SFNodeType const type : operators)
    EXPECT_GT(checked[OperatorRow(type).token], 100) << OperatorRow(type).name;
}

TEST(NumericDerivative, KindsWithoutARule)
{
  auto const failing = std::make_shared<HostResource>([](ZULMathPoint const&) { return 1.0; }, E_FAIL);
  failing->SetTypeTag(POLY);
  EXPECT_EQ(DerivativeAt(failing, Y, {}), ResourceToSF::MissingValue);
  auto const tag = [](SFNodeType iType) { return Op(iType, Op(X)); };
  NodePtr const cases[] = {tag(NONE),
                           tag(END),
                           tag(UNDEFINED),
                           tag(RESERVED),
                           tag(NoKind),
                           tag(POLY), // a tag that the class of the node does not bear out
                           tag(AFFINETRANSFORM),
                           Build("m[1;0;0;0;0;1;0;0;0;0;1;0;0;0;0;1] X"),
                           Build("n[0;0;0;0;0;1;3] X"),
                           Build("b1 X Y"),
                           Build("o1 X"),
                           Build("#foo "),
                           std::make_shared<HostResource>(),
                           std::make_shared<ResourceToSF>(POLYGRADIENT)};
  for (NodePtr const& node : cases) {
    Captured const captured;
    EXPECT_EQ(DerivativeAt(node, X, {}), 0.0);
    EXPECT_EQ(DerivativeAt(Op(PLUS, Op(X), node), X, {}), 1.0);
    EXPECT_EQ(captured.Lines(), LineList(2, notRecognized));
  }
}

namespace {

SFEvaluationContext const valueContext(0);

/// A node with a value in its slot and no derivative.
NodePtr Underivable()
{
  NodePtr node = Op(NOT);
  node->ReserveEvaluationContexts(valueContext);
  node->GetContextInfos(0) = {1.0, SFDagNode::ECacheDone};
  return node;
}

LineList LinesOfDerivative(NodePtr const& iNode)
{
  return LinesOf([&] {
    SFEvaluationContext values(0);
    SFEvaluationContext derivatives(1);
    EXPECT_EQ(SFDagEvaluator(Level2()).ComputeFirstOrderDerivative(iNode, X, values, derivatives), E_FAIL);
  });
}

} // namespace

TEST(NumericDerivative, ReportsFailingOperands)
{
  LineList const underivable{noFunction, derivativeFailed, OnDerivative("NOT", "LHS"), derivativeFailed};
  for (auto const& row : SFOperatorTable) {
    if (!IsOperator(row.type) || row.type == SIGN || row.type > RESERVED) // the contract has lines for its own kinds
      continue;
    bool const sum = row.type == PLUS || row.type == MINUS;
    bool const set = row.type == SYMDIFF || row.type == WITHOUT;
    std::string const name(row.name);
    for (bool const left : {true, false}) {
      if (!left && row.arity == 1)
        continue;
      SCOPED_TRACE(name + (left ? " left" : " right"));
      char const* const side = left ? "LHS" : "RHS";
      auto const over = [&](NodePtr const& iOperand) {
        return left ? Op(row.type, iOperand, row.arity == 2 ? C(1) : nullptr) : Op(row.type, C(1), iOperand);
      };
      std::string const onDerivative = OnDerivative(sum || set ? "PLUS/MINUS" : name, side);
      LineList expected = underivable;
      expected.push_back(onDerivative);
      EXPECT_EQ(LinesOfDerivative(over(Underivable())), expected);
      expected = {noFunction, derivativeFailed, onDerivative};
      if (!sum && row.type != NOT)
        expected = {std::string("Error in SFDagEvaluator::ComputeAndSetScalar, iNode.Get")
                        .append(left ? "Lhs" : "Rhs")
                        .append("() returned nullptr."),
                    OnValue(set ? "MULT" : name, side)};
      EXPECT_EQ(LinesOfDerivative(over(nullptr)), expected);
    }
  }
  // Both values come before both derivatives; the code of a value is that of ComputeAndSetScalar.
  EXPECT_EQ(LinesOfDerivative(Op(POW, Underivable(), nullptr)).back(), OnValue("POW", "RHS"));
  EXPECT_EQ(LinesOfDerivative(Op(COS, Op(CONSTANT))).back(), OnValue("COS", "LHS"));
  EXPECT_EQ(LinesOfDerivative(nullptr), LineList{noFunction});
  double derivative = 42.0;
  SFEvaluationContext values(0);
  SFEvaluationContext nowhere(-1);
  SFDagEvaluator const evaluator(Level2());
  Captured const captured;
  EXPECT_EQ(evaluator.ComputeAndSetFirstOrderDerivative(nullptr, values, nowhere, X, derivative), E_FAIL);
  EXPECT_EQ(captured.Lines(), (LineList{noFunction, derivativeFailed}));
  EXPECT_EQ(evaluator.ComputeFirstOrderDerivative(Op(X), X, values, nowhere), E_INVALIDARG);
  EXPECT_EQ(evaluator.ComputeFirstOrderDerivative(Op(X), X, nowhere, values), E_INVALIDARG);
  EXPECT_EQ(derivative, 42.0);
}

TEST(NumericDerivative, StandsUntilItsSlotsAreReset)
{
  SFDagEvaluator const evaluator(Level2());
  NodePtr const field = Build("+ q X * X X"); // X is shared
  SFEvaluationContext values(3);
  SFEvaluationContext derivatives(1);
  auto const derivative = [&](SFNodeType iVariable) {
    double result = 0.0;
    EXPECT_EQ(evaluator.ComputeAndSetFirstOrderDerivative(field, values, derivatives, iVariable, result), S_OK);
    return result;
  };
  auto const moveTo = [&](double iX) {
    values.SetAtPosition({iX, 0, 0});
    derivatives.SetAtPosition({iX, 0, 0});
  };
  moveTo(3.0);
  EXPECT_EQ(derivative(X), 12.0);
  EXPECT_EQ(field->GetContextInfos(1).state, SFDagNode::ECacheDone);
  EXPECT_LE(field->GetContextCount(), 3u); // the value of the root is not needed
  moveTo(5.0);
  EXPECT_EQ(derivative(Y), 12.0);
  field->Reset(derivatives);
  EXPECT_EQ(derivative(X), 12.0); // from the values at the first point
  field->Reset(values);
  field->Reset(derivatives);
  EXPECT_EQ(derivative(X), 20.0);
}
