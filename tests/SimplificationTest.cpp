#include "CalculusSupport.h"

#include <gtest/gtest.h>

using namespace SF;
using namespace SFTest;
using enum SFNodeType;

namespace {

constexpr double Tolerance = 1e-6;
constexpr unsigned int Kept = 99;

std::string const divisionLine = "Error in SFDagEvaluator::EvaluateSimplification, Division by 0 undefined ! ";

/// The text of what simplification leaves of a node, and the kind reported or `Kept`.
std::pair<std::string, unsigned int> Simplified(NodePtr const& iNode, double iTolerance = Tolerance)
{
  unsigned int kind = Kept;
  auto const replacement = Operator::SimplifyTree(iNode, kind, iTolerance);
  return {TextOf(replacement != nullptr ? *replacement : *iNode), kind};
}

struct Case
{
  char const* text;
  char const* result;
  unsigned int kind = Kept;
};

} // namespace

TEST(Simplification, KindsOfConstants)
{
  double const nan = std::numeric_limits<double>::quiet_NaN();
  double const inf = std::numeric_limits<double>::infinity();
  struct
  {
    double value, tolerance;
    unsigned int kind;
  } const cases[] = {{0.0, 0.5, 0},  {-0.0, 0.5, 0}, {0.0, 0.0, 2},  {0.5, 0.5, 2},  {-0.25, 0.5, 0},
                     {1.25, 0.5, 1}, {0.75, 0.5, 1}, {1.5, 0.5, 2},  {1.0, 0.0, 2},  {0.75, 2.0, 0},
                     {nan, 0.5, 2},  {inf, 0.5, 2},  {-1.0, 0.5, 2}, {1.0, -1.0, 2}, {0.0, nan, 2}};
  for (auto const& c : cases)
    EXPECT_EQ(Operator::GetScalarType(c.value, c.tolerance), c.kind) << c.value << " within " << c.tolerance;
  EXPECT_EQ(Simplified(Build("+ X f0"), 0.0), (std::pair<std::string, unsigned int>{"+ X f0 $", Kept}));
}

TEST(Simplification, FoldsToTheValueOfTheEvaluator)
{
  for (double const a : {-0.75, -0.0, 0.5, 3.0})
    for (double const b : {-2.0, 0.5, 0.75})
      for (auto const& row : SFOperatorTable) {
        double value = 42.0;
        HRESULT const hr = Operator::EvaluateSimplification(value, row.type, C(a), C(b));
        if (!IsOperator(row.type)) {
          EXPECT_EQ(hr, S_FALSE) << row.name;
          EXPECT_EQ(value, 42.0) << row.name;
          continue;
        }
        double const expected = ValueAt(*Op(row.type, C(a), row.arity == 2 ? C(b) : nullptr), {});
        EXPECT_EQ(hr, S_OK) << row.name;
        EXPECT_TRUE(value == expected || (std::isnan(value) && std::isnan(expected))) << row.name << a << b;
      }
}

TEST(Simplification, ReportsWhatCannotBeFolded)
{
  std::string const head = "Error in SFDagEvaluator::EvaluateSimplification, ";
  struct
  {
    SFNodeType type;
    NodePtr lhs, rhs;
    HRESULT code;
    double value;
    std::string line;
  } const cases[] = {
      {PLUS, nullptr, C(1), E_FAIL, 42.0, "no lhs or rhs provided !"},
      {POW, C(1), nullptr, E_FAIL, 42.0, "no lhs or rhs provided !"},
      {SIGN, nullptr, C(1), E_FAIL, 42.0, "no lhs provided !"},
      {COS, Op(X), nullptr, E_FAIL, 42.0, "Couldn't retrieve constant from node !"},
      {MAX, C(1), Op(X), E_FAIL, 42.0, "Couldn't retrieve constant from node !"},
      {DIV, C(6), C(0), S_OK, 0.0, "Division by 0 undefined ! "},
      {DIV, C(6), C(-0.0), S_OK, 0.0, "Division by 0 undefined ! "},
  };
  for (auto const& c : cases) {
    Captured const captured;
    double value = 42.0;
    EXPECT_EQ(Operator::EvaluateSimplification(value, c.type, c.lhs, c.rhs), c.code) << c.line;
    EXPECT_EQ(value, c.value) << c.line;
    EXPECT_EQ(captured.Lines(), std::vector{head + c.line});
  }
}

TEST(Simplification, ReportsAndKeepsGoing)
{
  auto const fading = [](int iTimes) { return std::make_shared<Fading<SFOp>>(iTimes, CONSTANT); };
  std::string const unreadable = "Error in SFDagEvaluator::SimplifyTree, failed to retrieve scalar value ! ";
  struct
  {
    NodePtr node;
    unsigned int kind;
    std::vector<std::string> lines;
  } const cases[] = {
      {Build("/ f6 f0"), 0, {divisionLine}},
      {Build("+ X / f6 f0"), 3, {divisionLine}},
      {fading(0), Kept, {unreadable}},
      {Op(PLUS, fading(0), Op(PLUS, Op(X), C(0))), Kept, {unreadable}},
      {Op(COS, fading(1)),
       Kept,
       {"Error in SFDagEvaluator::EvaluateSimplification, Couldn't retrieve constant from node !",
        "Error in SFDagEvaluator::SimplifyTree, failed to evaluate simplification ! "}},
  };
  for (auto const& c : cases) {
    Captured const captured;
    unsigned int kind = Kept;
    Operator::SimplifyTree(c.node, kind, Tolerance);
    EXPECT_EQ(captured.Lines(), c.lines);
    EXPECT_EQ(kind, c.kind);
  }
}

TEST(Simplification, HandsBackTheNodesThemselves)
{
  ZULTolerance const tolerance;
  NodePtr const x = Op(X);
  NodePtr const zero = C(0);
  NodePtr const one = C(1);
  EXPECT_EQ(Operator::SimplifyTree(Op(MULT, x, zero), tolerance), zero);
  EXPECT_EQ(Operator::SimplifyTree(Op(MULT, one, x), tolerance), x);
  EXPECT_EQ(Operator::SimplifyTree(Op(DIV, zero, x), tolerance), zero);
  EXPECT_EQ(Operator::SimplifyTree(one, tolerance), one);
  NodePtr const sum = Operator::SimplifyTree(Op(PLUS, one, zero), tolerance);
  EXPECT_NE(sum, one);
  EXPECT_EQ(Operator::SimplifyTree(Op(MINUS, zero, x), tolerance)->GetLhs(), x);
  for (auto const type : {PLUS, MINUS, MULT}) // a missing operand replaces nothing
    EXPECT_EQ(Operator::SimplifyTree(Op(type, type == MULT ? one : zero), tolerance), nullptr);
  EXPECT_EQ(Operator::SimplifyTree(nullptr, tolerance), nullptr);
  EXPECT_EQ(Operator::SimplifyTree(x, tolerance), nullptr);

  // The operator that is kept holds the replacement, and so does every graph that shares it.
  NodePtr const shared = Op(COS, Op(PLUS, x, zero));
  NodePtr const other = Op(MAX, shared, x);
  EXPECT_EQ(Operator::SimplifyTree(Op(EXP, shared), tolerance), nullptr);
  EXPECT_EQ(shared->GetLhs(), x);
  EXPECT_EQ(TextOf(*other), "I c X X $");
  // A constant operand of a unary operator stays where it is: the operator itself is replaced.
  NodePtr const inner = Op(PLUS, one, one);
  NodePtr const root = Op(COS, inner);
  EXPECT_NE(Operator::SimplifyTree(root, tolerance), nullptr);
  EXPECT_EQ(root->GetLhs(), inner);
}

// A shared node is met once for each path, in the state that the visit before has left it in.
TEST(Simplification, VisitsSharedNodesOncePerPath)
{
  auto const quotient = [] { return Op(DIV, C(0), Op(PLUS, Op(X), C(0))); };
  EXPECT_EQ(Simplified(Op(PLUS, quotient(), quotient())).first, "+ / f0 X / f0 X $");
  NodePtr const shared = quotient();
  EXPECT_EQ(Simplified(Op(PLUS, shared, shared)).first, "/ f0 X $");

  // Every visit makes nodes of its own, remembered or not.
  for (NodePtr const& made : {Op(MINUS, C(0), Op(X)), Op(COS, C(2))}) {
    NodePtr const root = Op(POW, Op(PLUS, Op(Y), made), Op(PLUS, Op(Z), made));
    Simplified(root);
    EXPECT_NE(root->GetLhs()->GetRhs(), root->GetRhs()->GetRhs()) << TextOf(*made);
    EXPECT_EQ(TextOf(*root->GetLhs()->GetRhs()), TextOf(*root->GetRhs()->GetRhs()));
  }

  Captured const captured;
  NodePtr const division = Op(DIV, C(1), C(0));
  EXPECT_EQ(Simplified(Op(PLUS, Op(PLUS, division, division), Op(COS, division))).first, "f1 $");
  EXPECT_EQ(captured.Lines(), std::vector<std::string>(3, divisionLine));
}
