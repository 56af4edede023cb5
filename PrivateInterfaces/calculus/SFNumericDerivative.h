#pragma once

#include "SFEvaluationContext.h"
#include "calculus/SFCalculusRules.h"
#include "evaluation/SFScalarEvaluation.h"
#include "graph/SFDagTraversal.h"

#include <memory>

namespace SF {

/// The derivative of a graph at one point in forward mode: node by node, with values in the slots of one context
/// and derivatives in those of another. Reuse one object for many points; it keeps its working memory.
class SFNumericDerivative
{
public:
  HRESULT Compute(SFEvaluationContext const& iValueContext, SFEvaluationContext const& iDerivativeContext,
                  std::shared_ptr<SFDagNode> const& iNode, SFNodeType iVariable);

  struct Frame
  {
    explicit Frame(SFDagNode const& iNode) : node(&iNode) {}
    SFDagNode const* node;
    int derivativesEntered = 0;
    SFDual u;
    SFDual v;
  };
  HRESULT Step(Frame& ioFrame, SFDagNode const*& oNext);
  HRESULT Unwind(Frame& ioFrame, HRESULT iCode);

private:
  HRESULT Begin(Frame& ioFrame, SFDagNode const*& oNext);
  HRESULT ReadValues(Frame& ioFrame);
  HRESULT EnterOperand(Frame& ioFrame, SFDagNode const*& oNext);
  HRESULT Finish(Frame const& iFrame);
  HRESULT OfResource(SFDagNode const& iNode);
  HRESULT NotRecognized(SFDagNode const& iNode);
  HRESULT Store(SFDagNode const& iNode, double iDerivative);
  SFDagNode::ContextInfos& SlotOf(SFDagNode const& iNode) const;

  SFEvaluationContext const* _valueContext = nullptr;
  SFEvaluationContext const* _derivativeContext = nullptr;
  SFNodeType _variable = SFNodeType::X;
  SFScalarEvaluation _evaluation;
  SFDagWalk<Frame> _walk;
};

} // namespace SF
