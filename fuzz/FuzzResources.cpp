/// Transforms and resources, with a resolver that answers as no good host would, driven by the ids in the text; and
/// the calculus on what comes of it, where its outcome stays small.
///
/// The first byte chooses the grid, as in FuzzRender.cpp; the second one what is done with the graph (a bit each, see
/// Deeds). The rest is the text. The character after the "#" of an id says what the resolver answers (OddResolver).
/// Nothing may come through but the harness's own HostError, and nothing may be left behind.

#include "Harness.h"
#include "OddResources.h"
#include "Rendering.h"

#include "SFDagCloner.h"
#include "SFDagDifferentialOperator.h"
#include "SFDagEvaluator.h"
#include "SFDagFromExpression.h"
#include "SFDagOffsetOperator.h"
#include "SFDagToExpression.h"
#include "SFDagToGraphViz.h"

#include <algorithm>
#include <stdexcept>

namespace {

using namespace SFFuzz;
using Operator = SF::SFDagDifferentialOperator;
using SF::SFNodeType;

constexpr std::size_t LongestInput = 1024;
constexpr std::uint8_t AsItIs = 0x40;

enum Deeds : std::uint8_t
{
  ERender = 0x01,
  EDifferentiate = 0x02,
  EOffset = 0x04,
  EWrite = 0x08,
  EEvaluateNumerically = 0x10,
  ERelabel = 0x20 ///< resources that ask for it claim to be of another kind
};

/// Derivatives and offsets are defined along the paths of a graph and double at every choice and transform.
constexpr double MostTokens = 60.0;
constexpr std::size_t MostBranching = 4;
/// An offset of order 3 differentiates what two others have made of the field. A transform brings many nodes along.
constexpr double MostTokensOfOrder[] = {0.0, 24.0, 8.0, 4.0};
constexpr double TokensOfTransform = 12.0;

constexpr std::array Axes{SFNodeType::X, SFNodeType::Y, SFNodeType::Z};

double WeightOf(Facts const& iFacts)
{
  return iFacts.tokens + TokensOfTransform * static_cast<double>(iFacts.transforms);
}

bool IsSmall(Facts const& iFacts, double iMostTokens)
{
  return WeightOf(iFacts) <= iMostTokens && iFacts.branching <= MostBranching && iFacts.offsets == 0;
}

/// Offsets in a text, one in another included, as long as they can be built in time.
bool HasAffordableOffsets(Facts const& iFacts)
{
  return iFacts.offsets == 0 ||
         (iFacts.offsets == 1 && WeightOf(iFacts) <= MostTokensOfOrder[1] && iFacts.branching <= 5) ||
         (iFacts.offsets == 2 && WeightOf(iFacts) <= MostTokensOfOrder[3]);
}

/// Evaluates a graph somewhere; what comes is checked elsewhere.
void Evaluate(SF::SFDagNode const& iNode)
{
  iNode.ResetEvaluationCache();
  SF::SFEvaluationContext context(0);
  context.SetAtPosition({0.5, -1.0, 2.0});
  SF::SFDagEvaluator(Level2()).ComputeScalar(context, iNode);
  iNode.ResetEvaluationCache();
}

void Differentiate(NodePtr const& iRoot)
{
  for (SFNodeType const axis : {SFNodeType::X, SFNodeType::Y, SFNodeType::Z, SFNodeType::CONSTANT}) {
    NodePtr const derivative = Operator::DifferentiateFunctionTree(iRoot, axis);
    if (derivative != nullptr)
      Evaluate(*derivative);
    NodePtr const component =
        Operator::BuildGradientTree(SF::SFDagCloner::Clone(iRoot), axis, ZULGetDefaultTolerance());
    Require((component != nullptr) == (derivative != nullptr && axis != SFNodeType::CONSTANT),
            "a gradient is there when the derivative is");
    if (component != nullptr)
      Evaluate(*component);
  }
  Operator::SimplifyTree(SF::SFDagCloner::Clone(iRoot), ZULTolerance(0.5));
}

void Offset(NodePtr const& iRoot, Facts const& iFacts)
{
  SF::SFDagOffsetOperator const offsets(Level2());
  auto const copy = [&] { return SF::SFDagCloner::Clone(iRoot); };
  for (int order = 1; order <= 3; ++order)
    if (IsSmall(iFacts, MostTokensOfOrder[order])) {
      auto const offset = offsets.BuildOneSidedOffsetTree(copy(), 0.25, ZULTolerance(), order);
      if (offset != nullptr)
        Evaluate(*offset);
    }
  if (IsSmall(iFacts, MostTokensOfOrder[1]))
    offsets.BuildTwoSidedOffsetTree(copy(), -1e300, ZULTolerance(), 1);
}

void Write(NodePtr const& iRoot)
{
  std::string text = "untouched";
  std::size_t const lines = LineCount();
  HRESULT hr = S_OK;
  try {
    hr = SF::SFDagToExpression(Level2()).Export(*iRoot, text, true, false);
  } catch (std::out_of_range const&) {
    text = "untouched"; // a root without a token
  }
  Require(Succeeded(hr) || (LineCount() > lines && text == "untouched"), "what cannot be written is reported");
  std::string drawing;
  SF::SFDagToGraphViz(Level2()).Export(*iRoot, drawing, true);
  iRoot->ResetEvaluationCache();
  NodePtr const clone = SF::SFDagCloner::Clone(iRoot);
  (void)(*clone == *iRoot);
  SF::SFDagNode::RawPtrHashFct{}(clone.get());
}

void EvaluateNumerically(NodePtr const& iRoot, Grid const& iGrid)
{
  SF::SFDagEvaluator const evaluator(Level2());
  iRoot->ResetEvaluationCache();
  SF::SFEvaluationContext value(0);
  SF::SFEvaluationContext derivative(1);
  value.SetAtPosition(iGrid.Point(7));
  derivative.SetAtPosition(iGrid.Point(7));
  for (SFNodeType const axis : Axes) {
    iRoot->Reset(value);
    iRoot->Reset(derivative);
    double slope = 0.0;
    evaluator.ComputeAndSetFirstOrderDerivative(iRoot, value, derivative, axis, slope);
  }
  iRoot->ResetEvaluationCache();
  evaluator.UpdateResourceToDiscretizationAccuracyLevel(iRoot, {{-1, -1, -1}, {1, 1, 1}}, ZULTolerance(),
                                                        ZULGMSFDiscretizationAccuracyLevel::EHigh);
  if (!IsSmall(FactsOf(*iRoot), MostTokensOfOrder[2]))
    return;
  double maximum = 0.0;
  double minimum = 0.0;
  unsigned int dims[] = {Grid::Side, Grid::Side, Grid::Side};
  evaluator.ComputeMaxAndMinCurvature(maximum, minimum, dims, iGrid.origin.data(), iGrid.voxelSize,
                                      SF::SFDagCloner::Clone(iRoot), ZULGetDefaultTolerance());
}

/// Runs one deed; a resource may end it.
template <class Deed>
void Do(std::uint8_t iDeeds, Deeds iDeed, Deed iWhat)
{
  if ((iDeeds & iDeed) == 0)
    return;
  try {
    iWhat();
  } catch (HostError const&) {
  }
}

void Check(std::string const& iText, Grid const& iGrid, std::uint8_t iDeeds)
{
  OddResolver resolver;
  NodePtr root;
  try {
    // The second graph holds the first one below some of its resources.
    resolver.SetShared(SF::SFDagFromExpression::BuildFromExpression(iText, &resolver));
    root = SF::SFDagFromExpression::BuildFromExpression(iText, &resolver);
  } catch (std::out_of_range const&) { // a number that ends with the text
  } catch (HostError const&) {
  }
  if (root == nullptr)
    return;
  if ((iDeeds & ERelabel) != 0)
    Relabel(*root);
  Facts const facts = FactsOf(*root);
  if (!HasAffordableOffsets(facts))
    return;
  Do(iDeeds, EWrite, [&] { Write(root); });
  bool ready = false;
  Do(0xff, ERender, [&] { ready = Succeeded(root->GetReady(Level2())); });
  if (!ready)
    return;
  Do(iDeeds, ERender, [&] { CheckRendering(root, iGrid); });
  Do(iDeeds, EEvaluateNumerically, [&] { EvaluateNumerically(root, iGrid); });
  if (!IsSmall(facts, MostTokens))
    return;
  Do(iDeeds, EDifferentiate, [&] { Differentiate(root); });
  Do(iDeeds, EOffset, [&] { Offset(root, facts); });
}

} // namespace

int TestOneInput(std::uint8_t const* iData, std::size_t iSize)
{
  if (iSize < 3 || iSize > LongestInput)
    return 0;
  LineCount();
  std::string const text(iData + 2, iData + iSize);
  Check((iData[0] & AsItIs) != 0 ? text : WithOperands(text), GridOf(iData[0]), iData[1]);
  return 0;
}
