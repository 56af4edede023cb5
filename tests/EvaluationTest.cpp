#include "HostResource.h"

#include "ResourceGradientToSF.h"
#include "SFAffineTransform.h"
#include "SFCylindricalTransform.h"
#include "SFDagOffset.h"
#include "SFOperatorTable.h"
#include "SFVariable.h"

#include <functional>
#include <limits>

using namespace SF;
using namespace SFTest;

namespace {

using enum SFNodeType;

double const Inf = std::numeric_limits<double>::infinity();
double const Largest = std::numeric_limits<double>::max();

HRESULT Evaluate(SFDagNode const& iNode, SFEvaluationContext iContext = SFEvaluationContext(0))
{
  return SFDagEvaluator(Level2()).ComputeScalar(iContext, iNode);
}

std::string const Class = "Error in SFDagEvaluator::";
std::string const NotSupported = Class + "ComputeScalar, node type not supported.";
std::string const NoLhs = Class + "ComputeAndSetScalar, iNode.GetLhs() returned nullptr.";
std::string const NoRhs = Class + "ComputeAndSetScalar, iNode.GetRhs() returned nullptr.";
std::string Lhs(HRESULT iCode = E_FAIL)
{
  return FailedWith(Class + "ComputeAndSetScalar, ComputeScalar(iCtx, *lhs) ", iCode);
}
std::string const Rhs = FailedWith(Class + "ComputeAndSetScalar, ComputeScalar(iCtx, *rhs)");
std::string For(std::string const& iWords)
{
  return FailedWith(Class + "ComputeScalar, ComputeAndSetScalar for " + iWords);
}
std::string const Evaluator = "src/SFDagEvaluator.cpp";

std::string const Shift = "m[1;0;0;1;0;1;0;0;0;0;1;0] "; // by 1 along x
std::string const Singular = "m[1;0;0;0;0;0;0;0;0;0;1;0] ";
LineList const NoInverse{FailedCall("GetInverse", "PrivateInterfaces/SFAffineTransform.h"),
                         FailedCall("ApplyInverseTransformation", "PrivateInterfaces/SFAffineTransform.h"),
                         FailedCall("ComputeScalar", Evaluator)};

LineList operator+(LineList iLines, LineList const& iMore)
{
  iLines.insert(iLines.end(), iMore.begin(), iMore.end());
  return iLines;
}

} // namespace

// ---- values -------------------------------------------------------------------------------------------------------

TEST(Evaluation, LeavesAndResources)
{
  ZULMathPoint const p(2, 3, 5);
  EXPECT_EQ(ValueAt(*Build("+ X + * f10 Y * f100 Z"), p), 532.0);
  auto const parameter = std::make_shared<SFVariable>("a", 1.0);
  parameter->SetConstant(7.0);
  EXPECT_EQ(ValueAt(*parameter, p), 7.0);
  auto const resource = std::make_shared<HostResource>([](ZULMathPoint const& iPoint) { return 2 * iPoint.y; });
  EXPECT_EQ(ValueAt(*Op(NOT, resource), p), -6.0);
  EXPECT_EQ(ValueAt(ResourceGradientToSF(resource, Z), p), 3.0);
  EXPECT_EQ(ValueAt(*Build("# 3 "), p), Largest);
}

TEST(Evaluation, CylindersSubtractTheirCorrection)
{
  auto const root = Build("n[0;0;0;0;0;1;1] + X + * f100 Y Z");
  // clang-format off
  struct { double dx, dy, dz, h, limit; } const cases[] = {
      {0, 0, 0, 0, 0}, {3, 4, 12, 100, 0.04 * 13}, {3, 4, 12, 0.01, 20 * 0.01}, {3, 4, 12, 0, 0},
  };
  // clang-format on
  for (auto const& test : cases) {
    SFEvaluationContext context(0);
    context.SetAtPosition({0, 2, 5}); // r 2, theta pi / 2
    context.SetDomainSize(test.dx, test.dy, test.dz);
    context.SetVoxelSize(test.h);
    root->ResetEvaluationCache();
    ASSERT_EQ(Evaluate(*root, context), S_OK);
    EXPECT_NEAR(root->GetContextInfos(0).value, 7 + 100 * std::acos(-1.0) - test.limit / 16.0, 1e-12);
    EXPECT_EQ(context.GetPosition().y, 2.0);
  }
  // On the axis: not an error.
  SFEvaluationContext onAxis(0);
  onAxis.SetDomainSize(1, 1, 1);
  onAxis.SetVoxelSize(1);
  for (auto const& [text, value] : {std::pair{"n[0;0;0;0;0;1;1] Z", -Inf}, {"n[0;0;0;0;0;1;1] Y", double(NAN)}}) {
    auto const node = Build(text);
    EXPECT_EQ(Evaluate(*node, onAxis), S_OK);
    EXPECT_TRUE(Same(node->GetContextInfos(0).value, value)) << text;
  }
}

// ---- slots --------------------------------------------------------------------------------------------------------

TEST(Evaluation, MemoisesPerContext)
{
  auto const resource = std::make_shared<HostResource>();
  auto const shared = Op(SQUARE, resource);
  auto const root = Op(PLUS, shared, Op(MULT, shared, resource));
  SFDagEvaluator const evaluator(Level2());
  SFEvaluationContext context(3);
  context.SetAtPosition({2, 0, 0});
  auto const valueNow = [&] {
    EXPECT_EQ(evaluator.ComputeScalar(context, *root), S_OK);
    return root->GetContextInfos(context.GetIndex()).value;
  };
  EXPECT_EQ(valueNow(), 12.0);
  EXPECT_EQ(resource->calls, 1);
  context.SetAtPosition({3, 0, 0});
  EXPECT_EQ(valueNow(), 12.0) << "stands until it is reset";
  root->Reset(context);
  EXPECT_EQ(valueNow(), 36.0);
  EXPECT_EQ(resource->calls, 2);

  SFEvaluationContext other(0);
  EXPECT_EQ(evaluator.ComputeScalar(other, *root), S_OK);
  EXPECT_EQ(root->GetContextInfos(0).value, 0.0);
  EXPECT_EQ(root->GetContextInfos(3).value, 36.0);
  EXPECT_EQ(root->GetContextInfos(1).state, SFDagNode::ECacheFresh);
}

TEST(Evaluation, FailureLeavesTheFailingSlotsAlone)
{
  auto const root = Build("+ q X s #a");
  Captured const captured;
  EXPECT_EQ(Evaluate(*root), E_FAIL);
  EXPECT_EQ(root->GetLhs()->GetContextInfos(0).state, SFDagNode::ECacheDone);
  EXPECT_EQ(root->GetContextInfos(0).state, SFDagNode::ECacheFresh);
  EXPECT_EQ(root->GetRhs()->GetContextInfos(0).value, DBL_MAX);
}

// ---- failures -----------------------------------------------------------------------------------------------------

TEST(EvaluationFailure, EveryOperatorNamesItselfAndTheSide)
{
  for (SFOperatorRow const& row : SFOperatorTable) {
    if (!IsOperator(row.type))
      continue;
    std::string const name(row.name);
    bool const slip = row.type == LN || row.type == ATAN;
    std::string const left = For(slip ? "SQUARE on " + name : name + " on LHS");
    std::string const right = For(name + " on RHS");
    auto const x = Op(X);
    EXPECT_EQ(LinesOf([&] { EXPECT_EQ(Evaluate(*Op(row.type, Op(END), x)), E_FAIL); }),
              (LineList{NotSupported, Lhs(), left}));
    EXPECT_EQ(LinesOf([&] { EXPECT_EQ(Evaluate(*Op(row.type, nullptr, x)), E_FAIL); }), (LineList{NoLhs, left}));
    if (row.arity == 2) {
      EXPECT_EQ(LinesOf([&] { EXPECT_EQ(Evaluate(*Op(row.type, x, Op(END))), E_FAIL); }),
                (LineList{NotSupported, Rhs, right}));
      EXPECT_EQ(LinesOf([&] { EXPECT_EQ(Evaluate(*Op(row.type, x)), E_FAIL); }), (LineList{NoRhs, right}));
    }
  }
}

TEST(EvaluationFailure, KindsWithoutAValue)
{
  for (int const kind : {-1, 0, 1, 30, 32, 35, 36, 38, 40, static_cast<int>(NoKind)})
    EXPECT_EQ(LinesOf([&] { EXPECT_EQ(Evaluate(*Op(static_cast<SFNodeType>(kind), Op(X), Op(X))), E_FAIL); }),
              LineList{NotSupported})
        << kind;
}

TEST(EvaluationFailure, ReportsFromTheFailureOutwards)
{
  std::string const constant = FailedWith(Class + "ComputeScalar, iNode.GetConstant(scalar)", E_NOTIMPL);
  std::string const notBuilt = "Error in ComputeScalar at " + Evaluator + ":N memoizedDag.get() is nullptr";
  struct
  {
    NodePtr root;
    LineList lines;
    HRESULT code = E_FAIL;
  } const cases[] = {
      {Build("+ X s b1 X Y"), {NotSupported, Lhs(), For("SIN on LHS"), Rhs, For("PLUS on RHS")}},
      {Op(CONSTANT), {constant}, E_NOTIMPL},
      {Op(MIN, Op(PARAMETER), Op(END)), {constant, Lhs(E_NOTIMPL), For("MIN on LHS")}},
      {Build(Singular + "X"), NoInverse},
      {Build("q " + Singular + "X"), NoInverse + LineList{Lhs(), For("SQUARE on LHS")}},
      {Build(Shift + "q #a"), {NotSupported, Lhs(), For("SQUARE on LHS"), Lhs(), For("AFFINETRANSFORM on LHS")}},
      {std::make_shared<SFAffineTransform>(ZULMathTransformation()), {NoLhs, For("AFFINETRANSFORM on LHS")}},
      {Build("n[0;0;0;0;0;1;1] #a"), {NotSupported, Lhs(), For("CYLINDRICALTRANSFORM on LHS")}},
      {std::make_shared<SFDagOffset>(Op(X), 1.0), {notBuilt}},
      {Op(SQUARE, std::make_shared<SFDagOffset>(Op(X), 1.0)), {notBuilt, Lhs(), For("SQUARE on LHS")}}};
  for (auto const& test : cases)
    EXPECT_EQ(LinesOf([&] { EXPECT_EQ(Evaluate(*test.root), test.code); }), test.lines);
}

TEST(EvaluationFailure, OffsetsReportAsCylinders)
{
  struct Functor : SFDagFunctor
  {
    Functor() : SFDagFunctor(OFFSET) { SetDerivedDag(Op(END)); }
  };
  EXPECT_EQ(LinesOf([] { EXPECT_EQ(Evaluate(Functor()), E_FAIL); }),
            (LineList{NotSupported, Lhs(), For("CYLINDRICALTRANSFORM on LHS")}));
}

// ---- operands and lists -------------------------------------------------------------------------------------------

TEST(Evaluation, ComputesOneOperand)
{
  SFDagEvaluator const evaluator(Level2());
  SFEvaluationContext context(0);
  context.SetAtPosition({2, 3, 5});
  auto const node = Build("- X * Y Z");
  double value = 42.0;
  EXPECT_EQ(evaluator.ComputeAndSetScalar(context, *node, SFOperand::ERhs, value), S_OK);
  EXPECT_EQ(value, 15.0);
  EXPECT_EQ(node->GetContextCount(), 0U);
  EXPECT_EQ(evaluator.ComputeAndSetScalar(context, *node, SFOperand::ELhs, value), S_OK);
  EXPECT_EQ(value, 2.0);
  for (int const operand : {2, -1})
    EXPECT_EQ(LinesOf([&] {
                EXPECT_EQ(evaluator.ComputeAndSetScalar(context, *node, static_cast<SFOperand>(operand), value),
                          E_INVALIDARG);
              }),
              LineList{});
  EXPECT_EQ(
      LinesOf([&] {
        EXPECT_EQ(evaluator.ComputeAndSetScalar(context, *Op(PLUS, Op(X)), SFOperand::ERhs, value), E_FAIL);
        EXPECT_EQ(evaluator.ComputeAndSetScalar(context, *Op(SIN, Op(CONSTANT)), SFOperand::ELhs, value), E_FAIL);
      }),
      (LineList{NoRhs, FailedWith(Class + "ComputeScalar, iNode.GetConstant(scalar)", E_NOTIMPL), Lhs(E_NOTIMPL)}));
  EXPECT_EQ(value, 2.0);

  EXPECT_EQ(evaluator.EvaluateAt(*node, nullptr, value), E_NOTIMPL);
  EXPECT_EQ(evaluator.Evaluate(*node, nullptr, 1, nullptr, 1), E_NOTIMPL);
  SFEvaluationContext nowhere(-1);
  EXPECT_EQ(evaluator.ComputeScalar(nowhere, *node), E_INVALIDARG);
}

TEST(Evaluation, ListsRunFromTheirEnd)
{
  SFDagEvaluator const evaluator(Level2());
  std::vector<int> order;
  auto const logged = [&order](int iId) {
    return std::make_shared<HostResource>([&order, iId](ZULMathPoint const&) {
      order.push_back(iId);
      return iId;
    });
  };
  auto const a = logged(1);
  auto const b = logged(2);
  SFEvaluationContext context(0);
  EXPECT_EQ(evaluator.ComputeScalar(context, std::vector<NodePtr>{Op(PLUS, a, b), a, b}), S_OK);
  EXPECT_EQ(order, (std::vector<int>{2, 1}));

  std::string const null =
      "Error in ComputeScalar at " + Evaluator + ":N iNodesToProcess[iNodesToProcess.size() - i].get() is nullptr";
  struct
  {
    std::vector<NodePtr> list;
    LineList lines;
    HRESULT code;
  } const cases[] = {{{}, {}, E_FAIL},
                     {{Op(END), nullptr, Op(X)}, {null}, E_FAIL},
                     {{nullptr, Op(END)}, {NotSupported, FailedCall("ComputeScalar", Evaluator)}, E_FAIL},
                     {{Op(CONSTANT)},
                      {FailedWith(Class + "ComputeScalar, iNode.GetConstant(scalar)", E_NOTIMPL),
                       FailedCall("ComputeScalar", Evaluator, E_NOTIMPL)},
                      E_NOTIMPL}};
  for (auto const& test : cases)
    EXPECT_EQ(LinesOf([&] { EXPECT_EQ(evaluator.ComputeScalar(context, test.list), test.code); }), test.lines);
}
