#include "SFDagEvaluator.h"

#include "evaluation/SFEvaluatorReports.h"
#include "evaluation/SFGridRenderer.h"
#include "evaluation/SFScalarEvaluation.h"
#include "graph/SFDagTraversal.h"

namespace SF {

namespace EvaluatorReports {

using Diagnostics::FailedCall;
using Diagnostics::NullPointer;

void RenderNotReady(HRESULT iCode) { FailedCall("Render", iCode); }
void PointFailed(HRESULT iCode) { FailedCall("operator()", iCode); }
void NullRoot() { NullPointer("Render", "iNode.get()"); }
void ClampingRenderFailed(HRESULT iCode) { FailedCall("Render", iCode); }
void UnrolledRenderFailed(HRESULT iCode) { FailedCall("Render", iCode); }
void UnrolledNullRoot() { NullPointer("RenderWithUnrolling", "iNode.get()"); }
void UnrolledNotReady(HRESULT iCode) { FailedCall("RenderWithUnrolling", iCode); }
void NormalsNotReady(HRESULT iCode) { FailedCall("Render", iCode); }
void AffineMappingFailed(HRESULT iCode) { FailedCall("ComputeScalar", iCode); }
void CylinderMappingFailed(HRESULT iCode) { FailedCall("ComputeScalar", iCode); }
void OffsetNotBuilt() { NullPointer("ComputeScalar", "memoizedDag.get()"); }
void NullInList() { NullPointer("ComputeScalar", "iNodesToProcess[iNodesToProcess.size() - i].get()"); }
void ListFailed(HRESULT iCode) { FailedCall("ComputeScalar", iCode); }

void MissingOperand(SFOperand iOperand)
{
  Diagnostics::Sentence(iOperand == SFOperand::ELhs
                            ? "Error in SFDagEvaluator::ComputeAndSetScalar, iNode.GetLhs() returned nullptr."
                            : "Error in SFDagEvaluator::ComputeAndSetScalar, iNode.GetRhs() returned nullptr.");
}
void GridTooLarge(char const* iCondition) { Diagnostics::NotSatisfied("Render", iCondition); }

} // namespace EvaluatorReports

SFDagEvaluatorItf::~SFDagEvaluatorItf() = default;
SFDagEvaluator::~SFDagEvaluator() = default;

HRESULT SFDagEvaluator::EvaluateAt(SFDagNode const&, double*, double&) const { return E_NOTIMPL; }

HRESULT SFDagEvaluator::Evaluate(SFDagNode const&, double*, int, double*, unsigned long) const { return E_NOTIMPL; }

HRESULT SFDagEvaluator::ComputeScalar(SFEvaluationContext& ioCtx, SFDagNode const& iNode) const
{
  return SFScalarEvaluation().Compute(ioCtx, iNode);
}

HRESULT SFDagEvaluator::ComputeAndSetScalar(SFEvaluationContext& ioCtx, SFDagNode const& iNode, SFOperand iOperand,
                                            double& oValue) const
{
  return SFScalarEvaluation().ComputeOperand(ioCtx, iNode, iOperand, oValue);
}

HRESULT SFDagEvaluator::ComputeScalar(SFEvaluationContext& ioCtx,
                                      std::vector<std::shared_ptr<SFDagNode>> iNodesToProcess) const
{
  if (iNodesToProcess.empty())
    return E_FAIL;
  SFScalarEvaluation evaluation;
  for (auto node = iNodesToProcess.rbegin(); node != iNodesToProcess.rend(); ++node) {
    if (*node == nullptr) {
      EvaluatorReports::NullInList();
      return E_FAIL;
    }
    HRESULT const hr = evaluation.Compute(ioCtx, **node);
    if (Failed(hr)) {
      EvaluatorReports::ListFailed(hr);
      return hr;
    }
  }
  return S_OK;
}

// ---- resources ------------------------------------------------------------------------------------------------

namespace {

bool IsUpdatedResource(SFNodeType iType)
{
  return iType == SFNodeType::POLY || iType == SFNodeType::UNRESOLVEDREF || iType == SFNodeType::RESOLVEDREF;
}

/// Lists the resources of a graph in the order in which a walk that takes right operands first meets them.
class ResourceFinder
{
public:
  struct Frame
  {
    explicit Frame(SFDagNode const& iNode) : node(&iNode) {}
    SFDagNode const* node;
    int nextOperand = 0;
  };

  std::vector<ResourceToSF*> Find(std::shared_ptr<SFDagNode> const& iRoot)
  {
    if (Meets(iRoot))
      SFDagWalk<Frame>().Run(*this, *iRoot);
    return std::move(_found);
  }

  HRESULT Step(Frame& ioFrame, SFDagNode const*& oNext)
  {
    while (ioFrame.nextOperand < 2) {
      bool const right = ioFrame.nextOperand++ == 0;
      auto const& operand = right ? ioFrame.node->GetRhs() : ioFrame.node->GetLhs();
      if (Meets(operand)) {
        oNext = operand.get();
        break;
      }
    }
    return S_OK;
  }
  HRESULT Unwind(Frame&, HRESULT iCode) { return iCode; }

private:
  /// Whether a node is there and new.
  bool Meets(std::shared_ptr<SFDagNode> const& iNode)
  {
    if (iNode == nullptr || !_met.Insert(iNode.get()).second)
      return false;
    if (IsUpdatedResource(iNode->GetTypeTag()))
      if (auto* const resource = dynamic_cast<ResourceToSF*>(iNode.get()))
        _found.push_back(resource);
    return true;
  }

  SFNodeIndex _met;
  std::vector<ResourceToSF*> _found;
};

} // namespace

HRESULT SFDagEvaluator::UpdateResourceToDiscretizationAccuracyLevel(std::shared_ptr<SFDagNode> iNode,
                                                                    ZULMathBox const& iBox,
                                                                    ZULTolerance const& iTolerance,
                                                                    ZULGMSFDiscretizationAccuracyLevel iLevel) const
{
  for (ResourceToSF* const resource : ResourceFinder().Find(iNode))
    resource->ComputeScalars(iBox, iTolerance, iLevel);
  return E_NOTIMPL;
}

// ---- rendering ------------------------------------------------------------------------------------------------

HRESULT SFDagEvaluator::Render(unsigned int*, double, double const*, ZULTolerance const&, std::shared_ptr<SFDagNode>&,
                               std::shared_ptr<ResourceToSF>&, ZULGMSFDiscretizationAccuracyLevel) const
{
  return E_NOTIMPL;
}

HRESULT SFDagEvaluator::Render(unsigned int* iDims, std::vector<float>& ioValues, double iVoxelSize,
                               double const* iOrigin, std::shared_ptr<SFDagNode>& iNode, ZULTolerance const& iTolerance,
                               ZULGMSFDiscretizationAccuracyLevel) const
{
  if (iNode == nullptr) {
    EvaluatorReports::NullRoot();
    return E_INVALIDARG;
  }
  constexpr auto level = ZULGMSFDiscretizationAccuracyLevel::EMedium;
  if (iNode->GetRank() < SFGridRenderer::UnrollingRank) {
    HRESULT const hr = Render(iDims, ioValues, iVoxelSize, iOrigin, *iNode, iTolerance, level);
    if (Failed(hr))
      EvaluatorReports::ClampingRenderFailed(hr);
    return hr;
  }
  HRESULT const hr = RenderWithUnrolling(iDims, ioValues, iVoxelSize, iOrigin, iNode, iTolerance, level);
  if (Failed(hr))
    EvaluatorReports::UnrolledRenderFailed(hr);
  return hr;
}

HRESULT SFDagEvaluator::Render(unsigned int* iDims, std::vector<float>& ioValues, double iVoxelSize,
                               double const* iOrigin, SFDagNode const& iNode, ZULTolerance const& iTolerance,
                               ZULGMSFDiscretizationAccuracyLevel) const
{
  if (iNode.GetRank() >= SFGridRenderer::UnrollingRank)
    Diagnostics::Sentence("Warning in SFDagEvaluator::Render, this version of the method is not meant to be used on "
                          "DAG with a huge depth.");
  SFGridRenderer renderer(GetContext(), iNode, iTolerance);
  return renderer.RenderClamped({iDims, iVoxelSize, iOrigin}, ioValues);
}

HRESULT SFDagEvaluator::RenderWithUnrolling(unsigned int* iDims, std::vector<float>& ioValues, double iVoxelSize,
                                            double const* iOrigin, std::shared_ptr<SFDagNode>& iNode,
                                            ZULTolerance const& iTolerance, ZULGMSFDiscretizationAccuracyLevel) const
{
  if (iNode == nullptr) {
    EvaluatorReports::UnrolledNullRoot();
    return E_INVALIDARG;
  }
  SFGridRenderer renderer(GetContext(), *iNode, iTolerance);
  return renderer.RenderUnrolled({iDims, iVoxelSize, iOrigin}, ioValues);
}

HRESULT SFDagEvaluator::Render(unsigned int* iDims, std::vector<float>& ioValues, std::vector<float>& ioNormals,
                               double iVoxelSize, double const* iOrigin, SFDagNode const& iNode,
                               std::vector<std::shared_ptr<SFDagNode>> const& iGradientNodes,
                               ZULTolerance const& iTolerance, ZULGMSFDiscretizationAccuracyLevel) const
{
  SFGridRenderer renderer(GetContext(), iNode, iTolerance);
  return renderer.RenderWithNormals({iDims, iVoxelSize, iOrigin}, ioValues, ioNormals, iGradientNodes);
}

} // namespace SF
