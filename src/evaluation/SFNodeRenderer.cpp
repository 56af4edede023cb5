#include "evaluation/SFNodeRenderer.h"

#include "ZULMathVector.h"
#include "evaluation/SFEvaluatorReports.h"
#include "evaluation/SFScalarEvaluation.h"
#include "graph/SFDagTraversal.h"
#include "operators/SFScalarOps.h"

#include <array>
#include <utility>

namespace SF {
namespace {

/// Opens the slots 0 to `iCount` - 1 on every node, so that tasks only ever write slots of their own.
void OpenSlots(std::vector<SFDagNode const*> const& iNodes, unsigned int iCount)
{
  SFEvaluationContext const last(static_cast<int>(iCount) - 1);
  for (SFDagNode const* const node : iNodes) {
    if (ClassOf(*node) == SFNodeClass::Foreign)
      for (std::size_t open = node->GetContextCount(); open < iCount; ++open)
        node->GetNewEvaluationContext(); // the class may have more to open than its own slot
    node->ReserveEvaluationContexts(last);
  }
}

/// Calls `iAt(point, index)` for the points of some slices until one fails.
template <class At>
HRESULT ForEachPoint(SFGrid const& iGrid, unsigned int iBegin, unsigned int iEnd, At iAt)
{
  for (unsigned int k = iBegin; k < iEnd; ++k)
    for (unsigned int j = 0; j < iGrid.dims[1]; ++j)
      for (unsigned int i = 0; i < iGrid.dims[0]; ++i) {
        HRESULT const hr = iAt(iGrid.Point(i, j, k), iGrid.Index(i, j, k));
        if (Failed(hr))
          return hr;
      }
  return S_OK;
}

double ValueOf(SFDagNode const& iNode, SFEvaluationContext const& iContext)
{
  return iNode.GetContextInfos(iContext.GetIndex()).value;
}

} // namespace

SFNodeRenderer::SFNodeRenderer(SFGrid const& iGrid, std::vector<SFDagNode const*> iRoots, unsigned int iTasks)
  : _grid(iGrid), _roots(std::move(iRoots))
{
  for (SFDagNode const* const root : _roots)
    _resets.emplace_back(*root);
  OpenSlots(PostOrder(_roots, SFReach::OperandsAndDerived), static_cast<unsigned int>(_roots.size()) * iTasks);
}

SFEvaluationContext SFNodeRenderer::GridContext(int iIndex) const
{
  SFEvaluationContext context(iIndex);
  auto const [x, y, z] = _grid.DomainSize();
  context.SetDomainSize(x, y, z);
  return context;
}

HRESULT SFNodeRenderer::Clamped(unsigned int iBegin, unsigned int iEnd, unsigned int iTask,
                                std::vector<float>& ioValues) const
{
  SFDagNode const& root = *_roots[0];
  double const diagonal = _grid.Diagonal();
  SFScalarEvaluation evaluation;
  SFEvaluationContext context = GridContext(static_cast<int>(iTask));
  context.SetVoxelSize(_grid.h);
  return ForEachPoint(_grid, iBegin, iEnd, [&](ZULMathPoint const& iPoint, std::size_t iIndex) {
    _resets[0].Reset(context);
    context.SetAtPosition(iPoint);
    HRESULT const code = evaluation.Compute(context, root);
    if (Failed(code)) {
      EvaluatorReports::PointFailed(code);
      return code;
    }
    ioValues[iIndex] = static_cast<float>(ScalarOps::Clamped(ValueOf(root, context), diagonal));
    return S_OK;
  });
}

std::vector<SFDagNode const*> SFNodeRenderer::UnrolledOrder(SFDagNode const& iRoot)
{
  return PostOrder(iRoot, SFReach::OperandsRightFirst);
}

HRESULT SFNodeRenderer::Unrolled(unsigned int iBegin, unsigned int iEnd, unsigned int iTask,
                                 std::vector<float>& ioValues) const
{
  auto const list = UnrolledOrder(*_roots[0]);
  SFScalarEvaluation evaluation;
  SFEvaluationContext context = GridContext(static_cast<int>(iTask));
  return ForEachPoint(_grid, iBegin, iEnd, [&](ZULMathPoint const& iPoint, std::size_t iIndex) {
    _resets[0].Reset(context);
    context.SetAtPosition(iPoint);
    for (SFDagNode const* const node : list) {
      HRESULT const code = evaluation.Compute(context, *node);
      if (Failed(code)) {
        EvaluatorReports::ListFailed(code);
        Diagnostics::FailedSentence("Error in SFDagEvaluator::Render, ComputeScalar(ctx, iNode)", code);
        return code;
      }
    }
    ioValues[iIndex] = static_cast<float>(ValueOf(*_roots[0], context));
    return S_OK;
  });
}

HRESULT SFNodeRenderer::WithNormals(unsigned int iBegin, unsigned int iEnd, unsigned int iTask,
                                    std::vector<float>& ioValues, std::vector<float>& ioNormals) const
{
  constexpr std::size_t graphs = 4;
  SFScalarEvaluation evaluation;
  std::vector<SFEvaluationContext> contexts;
  for (std::size_t g = 0; g < graphs; ++g)
    contexts.emplace_back(static_cast<int>(graphs * iTask + g));
  contexts[0] = GridContext(contexts[0].GetIndex());
  return ForEachPoint(_grid, iBegin, iEnd, [&](ZULMathPoint const& iPoint, std::size_t iIndex) {
    std::array<double, graphs> values{};
    for (std::size_t g = 0; g < graphs; ++g) {
      _resets[g].Reset(contexts[g]);
      contexts[g].SetAtPosition(iPoint);
      HRESULT const code = evaluation.Compute(contexts[g], *_roots[g]);
      if (Failed(code)) {
        Diagnostics::FailedSentence(
            g == 0 ? "Error in SFDagEvaluator::Render, ComputeScalar(ctx, iNode)"
                   : "Error in SFDagEvaluator::Render, ComputeScalar(gradientCtxs[i], *gradientNodes[i])",
            code);
        return code;
      }
      values[g] = ValueOf(*_roots[g], contexts[g]);
      if (g == 0)
        ioValues[iIndex] = static_cast<float>(values[0]);
    }
    ZULMathVector normal{values[1], values[2], values[3]};
    normal.Normalize();
    ioNormals[3 * iIndex] = static_cast<float>(normal.x);
    ioNormals[3 * iIndex + 1] = static_cast<float>(normal.y);
    ioNormals[3 * iIndex + 2] = static_cast<float>(normal.z);
    return S_OK;
  });
}

} // namespace SF
