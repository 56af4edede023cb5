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

TEST(Simplification, RewritesAsTabled)
{
  constexpr Case cases[] = {
      // sums
      {"+ f1 f0", "f1 $", 1},
      {"+ f2 f3", "f5 $", 2},
      {"+ X f0", "X $", 3},
      {"+ f0 X", "X $", 3},
      {"+ + X f0 f0", "X $", 3},
      {"+ f0 + f0 X", "X $", 3},
      {"+ X f1", "+ X f1 $"},
      {"+ + X f0 f1", "+ X f1 $"},
      {"- X f0", "X $", 3},
      {"- f0 X", "! X $", 3},
      {"- f0 + X f0", "! X $", 3},
      {"- f1 X", "- f1 X $"},
      {"- f3 f3", "f0 $", 0},
      {"+ + X f1 f1", "+ + X f1 f1 $"}, // one pass: not X + 2
      // products
      {"* X f0", "f0 $", 0},
      {"* f0 X", "f0 $", 0},
      {"* + X f0 f0", "f0 $", 0},
      {"* f0 + X f0", "f0 $", 0},
      {"* X f1", "X $", 3},
      {"* f1 X", "X $", 3},
      {"* f1 + X f0", "X $", 3},
      {"* + X f0 f1", "X $", 3},
      {"* f2 X", "* f2 X $"},
      {"* + X f0 + Y f0", "* X Y $"},
      // quotients, with 1 / x and 0 / x as they stand
      {"/ X f1", "X $", 3},
      {"/ + X f0 f1", "X $", 3},
      {"/ X f0", "/ X f0 $"},
      {"/ f1 X", "/ f1 X $"},
      {"/ f1 + X f0", "X $", 3},
      {"/ f0 X", "f0 $", 0},
      {"/ f0 + X f0", "/ f0 X $"},
      {"/ f1 f4", "f0.25 $", 2},
      // powers, with the kinds of 1 as they stand
      {"^ X f0", "f1 $", 0},
      {"* Y ^ X f0", "f1 $", 0},
      {"+ Y ^ X f0", "Y $", 3},
      {"^ + X f0 f0", "f1 $", 1},
      {"* Y ^ + X f0 f0", "Y $", 3},
      {"^ X f1", "X $", 3},
      {"^ + X f0 f1", "X $", 3},
      {"^ X f2", "^ X f2 $"},
      {"^ f0 X", "f0 $", 0},
      {"^ f0 + X f0", "^ f0 X $"},
      {"^ f1 X", "f1 $", 3},
      {"* Y ^ f1 X", "* Y f1 $"},
      {"c ^ f1 X", "c f1 $"},
      {"^ f1 + X f0", "f1 $", 1},
      {"^ f2 f3", "f8 $", 2},
      // unary operators and the affine transform
      {"s f0", "f0 $", 0},
      {"e f0", "f1 $", 1},
      {"r f9", "f3 $", 2},
      {"c + X f0", "c X $"},
      {"T q ! r a l e X", "T q ! r a l e X $"},
      {"C S t + X f0", "C S t X $"},
      {"m[1;0;0;2;0;1;0;0;0;0;1;0;0;0;0;1] f5", "f0 $", 0},
      {"* X m[1;0;0;2;0;1;0;0;0;0;1;0;0;0;0;1] f5", "f0 $", 0},
      {"m[1;0;0;2;0;1;0;0;0;0;1;0;0;0;0;1] + X f0", "m[1;0;0;2;0;1;0;0;0;0;1;0;0;0;0;1] X $"},
      // what is kept with all that is below it
      {"U f1 f2", "U f1 f2 $"},
      {"I + f0 f0 X", "I + f0 f0 X $"},
      {"D + X f0 Y", "D + X f0 Y $"},
      {"\\ + X f0 Y", "\\ + X f0 Y $"},
      {"? + X f0", "? + X f0 $"},
      {"n[0;0;0;0;0;1;3] + X f0", "n[0;0;0;0;0;1;3] + X f0 $"},
      {"b0.5 + X f0 Y", "b0.5 + X f0 Y $"},
      {"o0.5 + X f0", "o0.5 + X f0 $"},
      {"pr[1]", "pr[1] $"},
      {"* pr[1] X", "* pr[1] X $"},
      {"#7 ", "#7 $"},
      // constants near 0 and 1 are taken for them, values and all
      {"f3", "f3 $", 2},
      {"+ X f0.0000009", "X $", 3},
      {"+ X f0.0000011", "+ X f1.1e-06 $"},
      {"* X f1.0000009", "X $", 3},
      {"* X f0.9999991", "X $", 3},
      // sums of all that
      {"+ * X f0 * f1 Y", "Y $", 3},
      {"- * X f0 * f1 Y", "! Y $", 3},
      {"* - f0 X + Y f0", "* ! X Y $"},
  };
  for (Case const& c : cases) {
    Captured const captured;
    EXPECT_EQ(Simplified(Build(c.text)), (std::pair<std::string, unsigned int>{c.result, c.kind})) << c.text;
    EXPECT_TRUE(captured.Lines().empty()) << c.text;
  }
}

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

TEST(Simplification, SharedLaddersCostNoMorePathsThanNodes)
{
  NodePtr ladder = Op(COS, Op(PLUS, Op(X), C(0)));
  for (int i = 0; i < 2000; ++i)
    ladder = Op(i % 2 == 0 ? PLUS : MULT, ladder, ladder);
  EXPECT_EQ(Operator::SimplifyTree(ladder, ZULTolerance()), nullptr);
  for (NodePtr node = ladder; node->GetTypeTag() != X; node = node->GetLhs())
    EXPECT_NE(node->GetTypeTag(), CONSTANT);
}

TEST(Simplification, DeepGraphs)
{
  OnSmallStack([] {
    for (SFNodeType const type : {PLUS, MINUS, MULT, DIV, POW, COS, SQUARE, MIN}) {
      NodePtr root = LeftDeep(type, Scaled(100000));
      EXPECT_EQ(Operator::SimplifyTree(root, ZULTolerance()), nullptr) << OperatorRow(type).name;
    }
    NodePtr zeros = Op(X);
    for (int i = 0; i < 100000; ++i)
      zeros = i % 2 == 0 ? Op(PLUS, zeros, C(0)) : Op(MULT, C(1), zeros);
    NodePtr const left = Operator::SimplifyTree(zeros, ZULTolerance());
    ASSERT_NE(left, nullptr);
    EXPECT_EQ(left->GetTypeTag(), X);
  });
}
