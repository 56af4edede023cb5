#include "CalculusSupport.h"

#include "SFAffineTransform.h"
#include "SFBlendNode.h"
#include "SFCompiledField.h"
#include "SFDagCloner.h"
#include "SFDagOffset.h"
#include "SFDagOffsetOperator.h"
#include "SFDagToGraphViz.h"

#include <functional>
#include <unistd.h>

using namespace SF;
using namespace SFTest;
using enum SFNodeType;

/// Graphs as deep as the longest text, on the usual stack and on a small one, and graphs with more paths than atoms.
namespace {

constexpr std::size_t Million = Scaled(1000000);
ZULTolerance const tolerance;

/// Ends the test program if what is to take a moment takes minutes: work by the path would never end.
class Deadline
{
public:
  Deadline() { alarm(300); }
  Deadline(Deadline const&) = delete;
  Deadline& operator=(Deadline const&) = delete;
  ~Deadline() { alarm(0); }
};

/// Sums, or sums and products, of a node with itself.
NodePtr Doublings(std::size_t iCount, bool iAlternate = false)
{
  NodePtr node = Op(SIN, Op(X));
  for (std::size_t i = 0; i < iCount; ++i)
    node = Op(iAlternate && i % 2 != 0 ? MULT : PLUS, node, node);
  return node;
}

HRESULT Evaluate(SFDagNode const& iRoot)
{
  SFEvaluationContext context(0);
  return SFDagEvaluator(Level2()).ComputeScalar(context, iRoot);
}

HRESULT RenderSmall(NodePtr iRoot)
{
  unsigned int dims[3] = {2, 2, 2};
  double const origin[3] = {0.1, 0.2, 0.3};
  std::vector<float> values(8);
  return SFDagEvaluator(Level2()).Render(dims, values, 0.5, origin, iRoot, tolerance,
                                         ZULGMSFDiscretizationAccuracyLevel::EMedium);
}

HRESULT Compile(NodePtr const& iRoot)
{
  std::shared_ptr<SFCompiledField> field;
  HRESULT const hr = SFCompiledField::Compile(Level2(), iRoot, {}, field);
  double const at = 0.5;
  double value = 0.0;
  double gradient[3];
  return Failed(hr) ? hr : field->EvaluateGradient(1, &at, &at, &at, &value, gradient);
}

HRESULT Derive(NodePtr const& iRoot)
{
  SFEvaluationContext values(0);
  SFEvaluationContext derivatives(1);
  double derivative = 0.0;
  iRoot->ResetEvaluationCache();
  return SFDagEvaluator(Level2()).ComputeAndSetFirstOrderDerivative(iRoot, values, derivatives, X, derivative);
}

HRESULT CodeOf(NodePtr const& iNode) { return iNode != nullptr ? S_OK : E_FAIL; }

/// Everything that is done with a whole graph, on the stack of whoever calls it.
std::vector<std::pair<std::string, std::function<HRESULT(NodePtr const&)>>> const Operations{
    {"write",
     [](NodePtr const& iRoot) {
       std::string text;
       return SFDagToExpression(Level2()).Export(*iRoot, text, true, false);
     }},
    {"draw",
     [](NodePtr const& iRoot) {
       std::string graph;
       return SFDagToGraphViz(Level2()).Export(*iRoot, graph, false);
     }},
    {"ready", [](NodePtr const& iRoot) { return iRoot->GetReady(Level2()); }},
    {"slots",
     [](NodePtr const& iRoot) {
       SFEvaluationContext const context = iRoot->GetNewEvaluationContext();
       iRoot->Reset(context);
       iRoot->ResetEvaluationCache();
       return iRoot->GetContextCount() == 0 ? S_OK : E_FAIL;
     }},
    {"clone, compare, hash",
     [](NodePtr const& iRoot) {
       NodePtr const clone = SFDagCloner::Clone(iRoot);
       SFDagNode::RawPtrHashFct{}(clone.get());
       return *clone == *iRoot ? S_OK : E_FAIL;
     }},
    {"evaluate", [](NodePtr const& iRoot) { return Evaluate(*iRoot); }},
    {"derive", Derive},
    {"render", RenderSmall},
    {"compile", Compile},
    {"update",
     [](NodePtr const& iRoot) {
       HRESULT const hr = SFDagEvaluator(Level2()).UpdateResourceToDiscretizationAccuracyLevel(
           iRoot, ZULMathBox(), tolerance, ZULGMSFDiscretizationAccuracyLevel::ELow);
       return hr == E_NOTIMPL ? S_OK : E_FAIL;
     }},
    {"simplify",
     [](NodePtr const& iRoot) {
       Operator::SimplifyTree(iRoot, tolerance);
       return S_OK;
     }},
    {"differentiate", [](NodePtr const& iRoot) { return CodeOf(Operator::BuildGradientTree(iRoot, X, tolerance)); }},
    {"offset",
     [](NodePtr const& iRoot) {
       return CodeOf(SFDagOffsetOperator(Level2()).BuildOneSidedOffsetTree(iRoot, 0.1, tolerance, 1));
     }},
};

} // namespace

TEST(Scale, PathsBeyondCountTakeAMoment)
{
  Deadline const deadline;
  for (auto const& entry : Operations) {
    auto const& [name, operation] = entry;
    // The text and the drawing have a place for every path, and no room for them.
    bool const isPerPath = name == "write" || name == "draw";
    NodePtr root = Doublings(200, true);
    HRESULT hr = E_FAIL;
    Captured const captured;
    double const seconds = SecondsOf([&] {
      hr = entry.second(root);
      root.reset();
    });
    EXPECT_EQ(hr, isPerPath ? E_FAIL : S_OK) << name;
    EXPECT_LT(seconds, 10.0) << name;
    if (isPerPath) {
      EXPECT_NE(captured.Lines().size(), 0U) << name;
    }
  }
}

TEST(Scale, WritingIsAsLongAsTheLimitAllows)
{
  // 2^20 leaves, each written by a token of two characters and each sum above them by another.
  std::string text;
  EXPECT_EQ(SFDagToExpression(Level2()).Export(*Doublings(20), text, true, false), S_OK);
  EXPECT_EQ(text.size(), 2U * ((std::size_t{3} << 20) - 1) + 1);
  // What stands in front of it counts: this one alone would have two characters to spare.
  NodePtr root = Op(X);
  for (int i = 0; i < 30; ++i)
    root = Op(PLUS, root, root);
  Captured const captured;
  EXPECT_LT(SecondsOf([&] {
              EXPECT_EQ(SFDagToExpression(Level2()).Export(SFExportContext(0), *root, text = "in front"), E_FAIL);
            }),
            10.0);
  EXPECT_EQ(captured.Lines().back(), FailedCall("Export", "src/SFDagToExpression.cpp"));
}

TEST(Scale, AMillionOperators)
{
  Deadline const deadline;
  OnSmallStack([] {
    NodePtr const root = LeftDeep(MIN, Million);
    for (auto const& [name, operation] : Operations)
      if (name == "ready" || name == "slots" || name == "evaluate" || name == "derive" || name == "update" ||
          name == "simplify") {
        EXPECT_EQ(operation(root), S_OK) << name;
      }
  });
}

TEST(Scale, DeepChainsOfEveryKind)
{
  Deadline const deadline;
  constexpr std::size_t levels = Scaled(10000);
  auto const chain = [](auto iAdd) {
    NodePtr root = Op(Y);
    for (std::size_t i = 0; i < levels; ++i)
      root = iAdd(std::move(root));
    return root;
  };
  auto const mixed = [kind = std::size_t{0}](NodePtr iOperand) mutable {
    while (!IsOperator(SFNodeType(++kind % SFNodeTypeCount))) {
    }
    SFNodeType const type{static_cast<std::int32_t>(kind % SFNodeTypeCount)};
    return Op(type, std::move(iOperand), IsBinaryOperator(type) ? Op(Z) : nullptr);
  };
  auto const unchanged = [](NodePtr iOperand) {
    return Op(PLUS, Op(MULT, C(1), std::move(iOperand)), C(0)); // simplifies to the operand
  };
  auto const moved = [](NodePtr iOperand) {
    double const rows[12] = {1, 0, 0, 0.001, 0, 1, 0, 0, 0, 0, 1, 0};
    NodePtr node = std::make_shared<SFAffineTransform>(ZULMathTransformation(rows, 12));
    node->SetLhs(std::move(iOperand));
    return node;
  };
  auto const turned = [](NodePtr iOperand) { return Op(MAX, Op(X), std::move(iOperand)); };
  auto const cosine = [](NodePtr iOperand) { return Op(COS, std::move(iOperand)); };
  auto const blended = [](NodePtr iOperand) -> NodePtr {
    return std::make_shared<SFBlendNode>(SFOp(BLEND, std::move(iOperand), Op(Y)), 0.5);
  };
  auto const grown = [](NodePtr iOperand) -> NodePtr {
    return std::make_shared<SFDagOffset>(std::move(iOperand), 0.5);
  };
  struct
  {
    char const* name;
    NodePtr root;
    bool hasValues;
  } const cases[] = {
      {"every operator", chain(mixed), true}, {"sums and products that change nothing", chain(unchanged), true},
      {"transforms", chain(moved), true},     {"right operands", chain(turned), true},
      {"functions", chain(cosine), true},     {"blends", chain(blended), false},
      {"offsets", chain(grown), false}};
  OnSmallStack([&] {
    for (auto const& [kind, root, hasValues] : cases)
      for (auto const& [name, operation] : Operations) {
        Captured const captured;
        HRESULT const hr = operation(root);
        if (hasValues && !(std::string(kind) == "transforms" && name == "derive")) {
          EXPECT_EQ(hr, S_OK) << kind << " " << name;
        }
      }
  });
}

TEST(Scale, FailuresUnwindALineALevel)
{
  constexpr std::size_t levels = Scaled(100000);
  NodePtr root; // of the innermost operator: nothing
  for (std::size_t i = 0; i < levels; ++i)
    root = Op(NOT, root);
  auto const countOf = [&](std::function<HRESULT(NodePtr const&)> const& iAction) {
    std::string text;
    OnSmallStack([&] {
      Captured const captured;
      EXPECT_EQ(iAction(root), E_FAIL);
      text = captured.Text();
    });
    return static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
  };
  EXPECT_EQ(countOf([](NodePtr const& iRoot) { return Evaluate(*iRoot); }), 2 * levels);
  EXPECT_EQ(countOf(Derive), 2 + 2 * levels);
  EXPECT_EQ(countOf([](NodePtr const& iRoot) {
              std::string text;
              return SFDagToExpression(SFSWContext()).Export(*iRoot, text, true, false);
            }),
            1 + 2 * levels);
}
