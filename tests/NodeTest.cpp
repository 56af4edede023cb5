#include "Support.h"

#include "ExplicitToSF.h"
#include "SFAffineTransform.h"
#include "SFBlendNode.h"
#include "SFCylindricalTransform.h"
#include "SFDagOffset.h"
#include "SFVariable.h"

#include <functional>
#include <unordered_set>

using namespace SF;
using namespace SFTest;
using enum SFNodeType;

namespace {

/// A node class of a host, with its own GetReady and equality.
class HostNode : public SFOp
{
public:
  explicit HostNode(HRESULT iReady = S_OK, bool iEqual = true) : SFOp(X), _ready(iReady), _equal(iEqual) {}
  ~HostNode() override
  {
    if (deaths != nullptr)
      deaths->push_back(id);
  }
  HRESULT GetReady(SFSWContext const&) const override
  {
    ++readied;
    return _ready;
  }
  bool operator==(SFDagNode const&) const override
  {
    ++compared;
    return _equal;
  }

  mutable int readied = 0;
  mutable int compared = 0;
  int id = 0;
  std::vector<int>* deaths = nullptr;

private:
  HRESULT _ready;
  bool _equal;
};

/// A functor of a host; builds a constant, or fails with `result`.
class HostFunctor : public SFDagFunctor
{
public:
  explicit HostFunctor(NodePtr iOperand) : SFDagFunctor(OFFSET) { SetLhs(std::move(iOperand)); }
  HRESULT BuildDerivedDAG(SFSWContext const& iContext, NodePtr& oDerivedDag) const override
  {
    ++built;
    if (Succeeded(result))
      oDerivedDag = Constant(4.0);
    return result == E_NOTIMPL ? SFDagFunctor::BuildDerivedDAG(iContext, oDerivedDag) : result;
  }
  mutable int built = 0;
  HRESULT result = S_OK;
};

NodePtr Host(HRESULT iReady) { return std::make_shared<HostNode>(iReady); }
std::string const OperandNotReady = "PrivateInterfaces/SFDagNode.h";

std::size_t HashOf(SFDagNode const& iNode) { return SFDagNode::RawPtrHashFct{}(&iNode); }
std::size_t AddressOf(NodePtr const& iNode) { return reinterpret_cast<std::uintptr_t>(iNode.get()); }

} // namespace

// ---- leaves -------------------------------------------------------------------------------------------------------

TEST(Node, ConstantsAndIdsOfLeaves)
{
  double value = 42.0;
  EXPECT_EQ(Op(X)->GetConstant(value), E_NOTIMPL);
  EXPECT_EQ(value, 42.0);
  EXPECT_EQ(Constant(2.5)->GetConstant(value), S_OK);
  EXPECT_EQ(value, 2.5);
  EXPECT_EQ(Constant(2.5)->GetExpressionId(), "");

  SFVariable variable("radius", 1.0);
  EXPECT_EQ(variable.GetExpressionId(), "radius");
  EXPECT_EQ(std::as_const(variable).SetConstant(3.0), E_NOTIMPL);
  EXPECT_EQ(variable.SetConstant(2.0), S_OK);
  EXPECT_EQ(variable.GetConstant(value), S_OK);
  EXPECT_EQ(value, 2.0);
}

// ---- slots --------------------------------------------------------------------------------------------------------

TEST(NodeSlots, AreReservedUpToTheIndex)
{
  auto const node = Op(X);
  for (int const index : {4, 2, -1}) {
    node->ReserveEvaluationContexts(SFEvaluationContext(index));
    ASSERT_EQ(node->GetContextCount(), 5U) << index;
  }
  for (int i = 0; i < 5; ++i)
    EXPECT_TRUE(node->GetContextInfos(i).value == DBL_MAX && node->GetContextInfos(i).state == SFDagNode::ECacheFresh);
}

TEST(NodeSlots, KeepWhatTheyHoldAsTheirNumberGrows)
{
  auto const node = Op(X);
  for (int count = 1; count <= 9; ++count) {
    node->ReserveEvaluationContexts(SFEvaluationContext(count - 1));
    ASSERT_EQ(node->GetContextCount(), static_cast<std::size_t>(count));
    EXPECT_EQ(node->GetContextInfos(count - 1).state, SFDagNode::ECacheFresh);
    node->GetContextInfos(count - 1) = {static_cast<double>(count), SFDagNode::ECacheDone};
    for (int i = 0; i < count; ++i)
      EXPECT_TRUE(node->GetContextInfos(i).value == i + 1 && node->GetContextInfos(i).state == SFDagNode::ECacheDone);
  }
  node->ResetEvaluationCache();
  node->ReserveEvaluationContexts(SFEvaluationContext(1));
  for (int i = 0; i < 2; ++i)
    EXPECT_TRUE(node->GetContextInfos(i).value == DBL_MAX && node->GetContextInfos(i).state == SFDagNode::ECacheFresh);
}

TEST(NodeSlots, OpenOnceAPath)
{
  auto const s = Op(PLUS, Op(X), Op(Y));
  auto const root = Op(MULT, s, Op(MIN, s, s->GetLhs()));
  for (std::size_t call = 1; call <= 2; ++call) {
    EXPECT_EQ(root->GetNewEvaluationContext().GetIndex(), static_cast<int>(call) - 1);
    EXPECT_EQ(root->GetContextCount(), call);
    EXPECT_EQ(s->GetContextCount(), 2 * call);
    EXPECT_EQ(s->GetLhs()->GetContextCount(), 3 * call);
    EXPECT_EQ(s->GetRhs()->GetContextCount(), 2 * call);
  }
  // Reset marks what exists and makes nothing.
  s->GetRhs()->ReserveEvaluationContexts(SFEvaluationContext(5));
  root->Reset(SFEvaluationContext(5));
  EXPECT_EQ(s->GetRhs()->GetContextInfos(5).state, SFDagNode::ECacheReset);
  EXPECT_EQ(s->GetRhs()->GetContextInfos(4).state, SFDagNode::ECacheFresh);
  EXPECT_EQ(root->GetContextCount(), 2U);
  root->ResetEvaluationCache();
  EXPECT_EQ(s->GetContextCount() + s->GetLhs()->GetContextCount() + root->GetContextCount(), 0U);
}

TEST(NodeSlots, ReachTheDerivedGraphOfAFunctor)
{
  auto const functor = std::make_shared<HostFunctor>(Op(X));
  auto const root = Op(PLUS, functor, functor);
  ASSERT_EQ(root->GetReady(Level2()), S_OK);
  EXPECT_EQ(functor->built, 1);
  root->GetNewEvaluationContext();
  auto const& derived = functor->GetDerivedDag();
  EXPECT_EQ(derived->GetContextCount(), 2U);
  EXPECT_EQ(ValueAt(*root, {}), 8.0);
  root->Reset(SFEvaluationContext(0));
  EXPECT_EQ(derived->GetContextInfos(0).state, SFDagNode::ECacheReset);
  root->ResetEvaluationCache();
  EXPECT_EQ(derived->GetContextCount(), 0U);
}

// ---- equality and hash --------------------------------------------------------------------------------------------

TEST(NodeEquality, WantsTheSameRankAndTheSameOperands)
{
  auto const x = Op(X);
  auto const nan = Constant(NAN);
  EXPECT_FALSE(*nan == *nan);
  EXPECT_FALSE(*Op(CONSTANT) == *Op(CONSTANT)); // without a value
  auto const ranked = Op(X);
  ranked->SetRank(0);
  EXPECT_FALSE(*x == *ranked);
  NodePtr const shapes[] = {Op(PLUS), Op(PLUS, x), Op(PLUS, nullptr, x), Op(PLUS, x, x)};
  for (auto const& a : shapes)
    for (auto const& b : shapes)
      EXPECT_EQ(*a == *b, a == b);
}

TEST(NodeEquality, AsksHostNodesLeftFirst)
{
  auto const left = std::make_shared<HostNode>(S_OK, false);
  auto const right = std::make_shared<HostNode>();
  auto const x = Op(X);
  EXPECT_FALSE(*Op(PLUS, left, right) == *Op(PLUS, x, x));
  EXPECT_EQ(left->compared, 1);
  EXPECT_EQ(right->compared, 0);
  EXPECT_TRUE(*Op(PLUS, right, right) == *Op(PLUS, x, Op(Y)));
}

TEST(NodeHash, IsTheStatedCombination)
{
  std::hash<double> const ofDouble;
  std::hash<std::string> const ofString;
  auto const x = Op(X);
  auto const y = Op(Y);
  EXPECT_EQ(HashOf(*x), ~std::size_t{2}); // rank -1, extended by its sign
  EXPECT_EQ(HashOf(*Build("X")), 2U);
  EXPECT_EQ(HashOf(*Constant(2.5)), ~std::size_t{5} ^ ofDouble(2.5));
  EXPECT_EQ(HashOf(*Constant(0.0)), HashOf(*Constant(-0.0)));
  EXPECT_EQ(HashOf(SFVariable("a", 1.0)), ~std::size_t{33});
  EXPECT_EQ(HashOf(*Build("#foo")), 30U ^ ofString("#foo"));
  EXPECT_EQ(HashOf(*Build("# 7")), 6U ^ ofString("# "));
  EXPECT_EQ(HashOf(*Op(PLUS, x, y)), ~std::size_t{8} ^ AddressOf(x) ^ AddressOf(y));
  EXPECT_EQ(HashOf(SFDagOffset(x, 0.5)), ~std::size_t{39} ^ AddressOf(x) ^ ofDouble(0.5));
  auto const cylinder = Build("n[1;2;3;4;5;6;7] X");
  EXPECT_EQ(HashOf(*cylinder), std::size_t{37 ^ 1} ^ AddressOf(cylinder->GetLhs()) ^ ofDouble(1) ^ ofDouble(2) ^
                                   ofDouble(3) ^ ofDouble(4) ^ ofDouble(5) ^ ofDouble(6) ^ ofDouble(7));
  auto const blend = Build("b3 X Y");
  EXPECT_EQ(HashOf(*blend), std::size_t{35 ^ 1} ^ AddressOf(blend->GetLhs()) ^ AddressOf(blend->GetRhs()));
}

TEST(NodeHash, KeysASetThatComparesCodesFirst)
{
  std::unordered_set<NodePtr, SFDagNode::PtrHashFct, SFDagNode::PtrEqualFct> set(1);
  auto const x = Op(X);
  // Equal by structure, told apart by their codes alone.
  for (double const distance : {1.0, 1.0, 2.0})
    set.insert(std::make_shared<SFDagOffset>(x, distance));
  set.insert(std::make_shared<SFDagOffset>(Op(X), 1.0));
  set.insert(std::make_shared<SFVariable>("a", 1.0));
  set.insert(std::make_shared<SFVariable>("a", 2.0));
  set.insert(std::make_shared<SFVariable>("b", 2.0));
  EXPECT_EQ(set.size(), 5U);
  static_assert(!noexcept(SFDagNode::PtrHashFct{}(NodePtr{})));
}

// ---- readiness ----------------------------------------------------------------------------------------------------

TEST(NodeReady, ReportsEachLevelAboveTheFailure)
{
  NodePtr const x = Op(X);
  HRESULT const code = E_INVALIDARG;
  std::string const report = FailedCall("GetReady", OperandNotReady, code);
  std::string const functor = FailedCall("GetReady", "src/SFDagFunctor.cpp", code);
  struct
  {
    NodePtr root;
    LineList lines;
  } const cases[] = {{Op(SQUARE, Host(code)), {report}},
                     {Op(PLUS, x, Op(SQUARE, Host(code))), {report, report}},
                     {std::make_shared<HostFunctor>(Host(code)), {report, functor}},
                     {Op(SIN, std::make_shared<HostFunctor>(Host(code))), {report, functor, report}}};
  for (auto const& test : cases)
    EXPECT_EQ(LinesOf([&] { EXPECT_EQ(test.root->GetReady(Level2()), code); }), test.lines);
}

TEST(NodeReady, NamesTheSideByItsLineAndStopsAtTheFirst)
{
  auto const lineOf = [](NodePtr const& iRoot) {
    return PlacesOf(OperandNotReady, [&] { EXPECT_EQ(iRoot->GetReady(Level2()), E_FAIL); }).at(0);
  };
  auto const right = std::make_shared<HostNode>(E_FAIL);
  int const leftLine = lineOf(Op(PLUS, Host(E_FAIL), right));
  EXPECT_EQ(right->readied, 0);
  int const rightLine = lineOf(Op(PLUS, Host(S_OK), right));
  EXPECT_EQ(right->readied, 1);
  EXPECT_GT(leftLine, 0);
  EXPECT_LT(leftLine, rightLine);
}

TEST(NodeReady, ReturnsTheLastCode)
{
  NodePtr const x = Op(X);
  EXPECT_EQ(Op(PLUS, x, Host(S_FALSE))->GetReady(Level2()), S_FALSE);
  EXPECT_EQ(Op(PLUS, Host(S_FALSE), x)->GetReady(Level2()), S_OK);
  EXPECT_EQ(x->GetReady(Level2()), S_OK);
}

TEST(NodeReady, BuildsAFunctorUntilItSucceeds)
{
  HostFunctor functor(Op(X));
  LineList const lines{FailedCall("GetReady", "src/SFDagFunctor.cpp", E_NOTIMPL)};
  functor.result = E_NOTIMPL;
  EXPECT_EQ(LinesOf([&] { EXPECT_EQ(functor.GetReady(Level2()), E_NOTIMPL); }), lines);
  EXPECT_EQ(functor.GetDerivedDag(), nullptr);
  functor.result = S_OK;
  EXPECT_EQ(functor.GetReady(Level2()), S_OK);
  auto const derived = functor.GetDerivedDag();
  EXPECT_EQ(functor.GetReady(Level2()), S_OK);
  EXPECT_EQ(functor.built, 2);
  EXPECT_EQ(functor.GetDerivedDag(), derived);
}

// ---- assignment and teardown --------------------------------------------------------------------------------------

TEST(Node, AssignmentCopiesTheNodeButNotItsValue)
{
  auto const source = Build("+ X Y");
  NodePtr const target = Constant(2.0);
  target->ReserveEvaluationContexts(SFEvaluationContext(1));
  *target = *source;
  EXPECT_EQ(target->GetTypeTag(), PLUS);
  EXPECT_EQ(target->GetRank(), 1);
  EXPECT_EQ(target->GetLhs(), source->GetLhs());
  EXPECT_EQ(target->GetRhs(), source->GetRhs());
  EXPECT_EQ(target->GetContextCount(), 2U);

  *target = *Constant(7.0);
  double value = 0.0;
  target->GetConstant(value);
  EXPECT_EQ(value, 2.0);
}

TEST(Node, AssignmentFromAnOperandOfItsOwn)
{
  auto const node = Build("q + s X Y");
  *node = *node->GetLhs();
  EXPECT_EQ(TextOf(*node), "+ s X Y $");
  *node = *node->GetLhs();
  *node = *node;
  EXPECT_EQ(TextOf(*node), "s X $");
}

TEST(Node, DiesBeforeItsOperandsLeftFirst)
{
  std::vector<int> deaths;
  auto const host = [&deaths](int iId, NodePtr iLhs, NodePtr iRhs) {
    auto node = std::make_shared<HostNode>();
    node->id = iId;
    node->deaths = &deaths;
    node->SetLhs(std::move(iLhs));
    node->SetRhs(std::move(iRhs));
    return node;
  };
  auto const kept = host(9, nullptr, nullptr);
  host(1, host(2, host(3, nullptr, kept), host(4, nullptr, nullptr)), host(5, host(6, nullptr, nullptr), kept)).reset();
  EXPECT_EQ(deaths, (std::vector<int>{1, 2, 3, 4, 5, 6}));
}
