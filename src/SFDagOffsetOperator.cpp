#include "SFDagOffsetOperator.h"

#include "SFConstant.h"
#include "SFDagOffset.h"
#include "SFOp.h"
#include "calculus/SFDifferentiation.h"
#include "calculus/SFSimplification.h"
#include "graph/SFDagTraversal.h"
#include "offset/SFTextRoundTrip.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace SF {
namespace {

using NodePtr = std::shared_ptr<SFDagNode>;

NodePtr Op(SFNodeType iType, NodePtr iLhs, NodePtr iRhs = nullptr)
{
  return std::make_shared<SFOp>(iType, std::move(iLhs), std::move(iRhs));
}

NodePtr Scaled(NodePtr iNode, double iFactor)
{
  return Op(SFNodeType::MULT, std::move(iNode), std::make_shared<SFConstant>(iFactor));
}

bool IsProvided(NodePtr const& iNode)
{
  if (iNode == nullptr)
    Diagnostics::Sentence("SFDagEvaluator::OffsetFunctionTree, no function provided ! ");
  return iNode != nullptr;
}

/// Whether a node's derived graph, which derivatives are taken of, is not that of the node as text says it.
bool IsOutdated(SFDagNode const* iNode)
{
  auto const* const offset = iNode->GetTypeTag() == SFNodeType::OFFSET ? NodeAs<SFDagOffset>(*iNode) : nullptr;
  return offset != nullptr && offset->IsOutdated();
}

/// The nodes of a derivative that are none of the field's.
SFNodeIndex NodesMadeFor(SFDagNode const& iDerivative, std::vector<SFDagNode const*> const& iField)
{
  SFNodeIndex field;
  for (SFDagNode const* const node : iField)
    field.Insert(node);
  SFNodeIndex made;
  std::vector<SFDagNode const*> open{&iDerivative};
  while (!open.empty()) {
    SFDagNode const* const node = open.back();
    open.pop_back();
    if (field.Find(node) != SFNodeIndex::Absent || !made.Insert(node).second)
      continue;
    for (SFDagNode const* const operand : {node->GetLhs().get(), node->GetRhs().get()})
      if (operand != nullptr)
        open.push_back(operand);
  }
  return made;
}

/// As SFDagDifferentialOperator::BuildGradientTree, with one difference: nodes that it makes anew for every path are
/// shared. In text that makes no difference.
NodePtr GradientComponent(NodePtr const& iField, SFNodeType iVariable, ZULTolerance const& iTolerance)
{
  auto const field = PostOrder(*iField, SFReach::OperandsAndDerived);
  NodePtr const derivative =
      SFDifferentiation(SFSimplification::MaxRepeatedLines, field).Differentiate(iField, iVariable);
  if (derivative == nullptr)
    return nullptr;
  SFSimplification simplification(iTolerance.GetResolution(), NodesMadeFor(*derivative, field));
  auto const result = simplification.Run(derivative);
  if (result.replacement != nullptr)
    return result.replacement;
  return result.copy != nullptr ? result.copy : derivative;
}

void ReportOffsetNotWritten(HRESULT iCode) { Diagnostics::FailedCall("NthOrderApproximationOffset", iCode); }
void ReportNormNotWritten(HRESULT iCode) { Diagnostics::FailedCall("GradientNorm", iCode); }

} // namespace

SFDagOffsetOperator::~SFDagOffsetOperator() = default;

NodePtr SFDagOffsetOperator::BuildOneSidedOffsetTree(NodePtr iNode, double iDistance, ZULTolerance const& iTolerance,
                                                     int iOrder) const
{
  return IsProvided(iNode) ? NthOrderApproximationOffset(iNode, iDistance, iOrder, iTolerance) : nullptr;
}

NodePtr SFDagOffsetOperator::BuildTwoSidedOffsetTree(NodePtr iNode, double iDistance, ZULTolerance const& iTolerance,
                                                     int iOrder) const
{
  if (!IsProvided(iNode))
    return nullptr;
  NodePtr outer = NthOrderApproximationOffset(iNode, iDistance * 0.5, iOrder, iTolerance);
  NodePtr inner = NthOrderApproximationOffset(iNode, iDistance * -0.5, iOrder, iTolerance);
  return outer != nullptr && inner != nullptr ? Op(SFNodeType::MULT, std::move(outer), std::move(inner)) : nullptr;
}

NodePtr SFDagOffsetOperator::NthOrderApproximationOffset(NodePtr iNode, double iDistance, int iOrder,
                                                         ZULTolerance const& iTolerance) const
{
  if (!IsProvided(iNode))
    return nullptr;
  if (iOrder < 1 || iOrder > 3) {
    Diagnostics::Sentence("SFDagEvaluator::OffsetFunctionTree, approximation order not implemented ! ");
    return nullptr;
  }
  auto const inSteps = [&](int iCount, double iStep) {
    NodePtr node = iNode;
    for (int i = 0; i < iCount; ++i)
      node = FirstOrderApproximationOffset(std::move(node), iStep, iTolerance);
    return node;
  };
  // Statements of their own: each step rewrites what the next one starts from, so their order shows.
  NodePtr tree = inSteps(1, iDistance);
  if (iOrder == 2) {
    NodePtr const halves = inSteps(2, iDistance * 0.5);
    tree = Op(SFNodeType::PLUS, Scaled(halves, 2.0), Scaled(tree, -1.0));
  } else if (iOrder == 3) {
    NodePtr const halves = inSteps(2, iDistance * 0.5);
    NodePtr const thirds = inSteps(3, iDistance / 3.0);
    tree = Op(SFNodeType::PLUS, Op(SFNodeType::PLUS, Scaled(tree, 0.5), Scaled(halves, -4.0)), Scaled(thirds, 4.5));
  }
  return PassThroughText(std::move(tree), ReportOffsetNotWritten);
}

NodePtr SFDagOffsetOperator::FirstOrderApproximationOffset(NodePtr iNode, double iDistance,
                                                           ZULTolerance const& iTolerance) const
{
  if (!IsProvided(iNode))
    return nullptr;
  NodePtr norm = GradientNorm(iNode, iTolerance);
  return Op(SFNodeType::MINUS, std::move(iNode), Scaled(std::move(norm), iDistance));
}

NodePtr SFDagOffsetOperator::GradientNorm(NodePtr iNode, ZULTolerance const& iTolerance) const
{
  if (!IsProvided(iNode))
    return nullptr;
  auto const nodes = PostOrder(*iNode, SFReach::OperandsAndDerived);
  if (nodes.size() > MaxNodes || std::any_of(nodes.begin(), nodes.end(), IsOutdated)) {
    ReportNormNotWritten(E_FAIL);
    return nullptr;
  }
  auto const squared = [&](SFNodeType iVariable) {
    return Op(SFNodeType::SQUARE, GradientComponent(iNode, iVariable, iTolerance));
  };
  NodePtr const x = squared(SFNodeType::X);
  NodePtr const y = squared(SFNodeType::Y);
  NodePtr const z = squared(SFNodeType::Z);
  iNode->ResetEvaluationCache(); // whose slots may hold values of before it was rewritten
  NodePtr norm = Op(SFNodeType::ROOT, Op(SFNodeType::PLUS, Op(SFNodeType::PLUS, x, y), z));
  norm = PassThroughText(std::move(norm), ReportNormNotWritten);
  if (norm != nullptr)
    Diagnostics::Sentence("SFDagEvaluator::OffsetFunctionTree, gradient norm ");
  return norm;
}

/// The tree after a round trip through text. Null, after a line, when it cannot be written or reads as another tree.
NodePtr SFDagOffsetOperator::PassThroughText(NodePtr iTree, void (*iReport)(HRESULT)) const
{
  SFTextRoundTrip pass(*iTree);
  HRESULT const hr = pass.IsRepresentable() ? CheckExport(GetContext(), *iTree) : E_FAIL;
  NodePtr read = Succeeded(hr) ? pass.Read() : nullptr;
  if (read == nullptr)
    iReport(Failed(hr) ? hr : E_FAIL);
  return read;
}

} // namespace SF
