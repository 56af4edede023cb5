#pragma once

#include "SFEvaluationContext.h"
#include "ZULMathPoint.h"
#include "graph/SFDagTraversal.h"

#include <array>
#include <vector>

namespace SF {

/// The definition of every value: evaluates a graph at one point, node by node, memoising in the slots of a
/// context. Reuse one object for many points; it keeps its working memory.
class SFScalarEvaluation
{
public:
  HRESULT Compute(SFEvaluationContext const& iContext, SFDagNode const& iNode);
  /// See SFDagEvaluator::ComputeAndSetScalar.
  HRESULT ComputeOperand(SFEvaluationContext const& iContext, SFDagNode const& iNode, SFOperand iOperand,
                         double& oValue);

  struct Frame
  {
    explicit Frame(SFDagNode const& iNode) : node(&iNode) {}
    SFDagNode const* node;
    int operandsEntered = 0;
    double lhs = 0.0;
  };
  HRESULT Step(Frame& ioFrame, SFDagNode const*& oNext);
  HRESULT Unwind(Frame& ioFrame, HRESULT iCode);

private:
  HRESULT Begin(Frame& ioFrame, SFDagNode const*& oNext);
  HRESULT BeginTransform(Frame& ioFrame, SFDagNode const*& oNext);
  HRESULT EnterOperand(Frame& ioFrame, SFDagNode const*& oNext);
  HRESULT FailOnOperand(Frame const& iFrame);
  HRESULT Finish(Frame const& iFrame, double iLast);
  HRESULT Store(SFDagNode const& iNode, double iValue);
  double ValueOf(SFDagNode const& iNode) const;

  SFEvaluationContext const* _context = nullptr;
  std::vector<ZULMathPoint> _positions; ///< the point, mapped once more by each transform entered
  SFDagWalk<Frame> _walk;
};

} // namespace SF
