#include "calculus/SFNumericDerivative.h"

#include "ResourceGradientToSF.h"
#include "SFDagEvaluator.h"

#include <string>

namespace SF {
namespace {

constexpr char const* Method = "Error in SFDagEvaluator::ComputeAndSetFirstOrderDerivative, ";

HRESULT NoFunction()
{
  Diagnostics::Sentence("SFDagEvaluator::ComputeAndSetFirstOrderDerivative, no function provided ! ");
  return E_FAIL;
}

HRESULT DerivativeFailed(HRESULT iCode)
{
  Diagnostics::FailedSentence(std::string(Method) + "ComputeFirstOrderDerivative", iCode);
  return E_FAIL;
}

/// "<call> for <name> on LHS"; the name is the operator's own where it borrows none.
void ReportOperand(char const* iCall, std::string_view iBorrowed, SFNodeType iType, bool iLeft, HRESULT iCode)
{
  std::string line(Method);
  line.append(iCall).append(" for ").append(iBorrowed.empty() ? OperatorRow(iType).name : iBorrowed);
  Diagnostics::FailedSentence(line.append(iLeft ? " on LHS" : " on RHS"), iCode);
}

bool IsBinary(SFDagNode const& iNode) { return IsBinaryOperator(iNode.GetTypeTag()); }

} // namespace

HRESULT SFNumericDerivative::Compute(SFEvaluationContext const& iValueContext,
                                     SFEvaluationContext const& iDerivativeContext,
                                     std::shared_ptr<SFDagNode> const& iNode, SFNodeType iVariable)
{
  if (iNode == nullptr)
    return NoFunction();
  if (iValueContext.GetIndex() < 0 || iDerivativeContext.GetIndex() < 0) // names no slot
    return E_INVALIDARG;
  _valueContext = &iValueContext;
  _derivativeContext = &iDerivativeContext;
  _variable = iVariable;
  return _walk.Run(*this, *iNode);
}

SFDagNode::ContextInfos& SFNumericDerivative::SlotOf(SFDagNode const& iNode) const
{
  iNode.ReserveEvaluationContexts(*_derivativeContext);
  return iNode.GetContextInfos(_derivativeContext->GetIndex());
}

HRESULT SFNumericDerivative::Store(SFDagNode const& iNode, double iDerivative)
{
  SlotOf(iNode) = {iDerivative, SFDagNode::ECacheDone};
  return S_OK;
}

HRESULT SFNumericDerivative::Step(Frame& ioFrame, SFDagNode const*& oNext)
{
  SFDagNode const& node = *ioFrame.node;
  switch (ioFrame.derivativesEntered) {
  case 0:
    return SlotOf(node).state == SFDagNode::ECacheDone ? S_OK : Begin(ioFrame, oNext);
  case 1:
    ioFrame.u.d = SlotOf(*node.GetLhs()).value;
    return IsBinary(node) ? EnterOperand(ioFrame, oNext) : Finish(ioFrame);
  default:
    ioFrame.v.d = SlotOf(*node.GetRhs()).value;
    return Finish(ioFrame);
  }
}

HRESULT SFNumericDerivative::Begin(Frame& ioFrame, SFDagNode const*& oNext)
{
  SFDagNode const& node = *ioFrame.node;
  SFNodeType const type = node.GetTypeTag();
  switch (FamilyOf(type)) {
  case SFNodeFamily::Coordinate:
    return Store(node, type == _variable ? 1.0 : 0.0);
  case SFNodeFamily::Constant:
    return Store(node, 0.0);
  case SFNodeFamily::Resource:
    return OfResource(node);
  case SFNodeFamily::Operator:
    switch (CalculusRulesOf(type).numericReads) {
    case SFNumericReads::Nothing:
      return Finish(ioFrame);
    case SFNumericReads::Derivatives:
      return EnterOperand(ioFrame, oNext);
    case SFNumericReads::ValuesAndDerivatives: {
      HRESULT const hr = ReadValues(ioFrame);
      return Failed(hr) ? hr : EnterOperand(ioFrame, oNext);
    }
    }
    break;
  case SFNodeFamily::None:
  case SFNodeFamily::End:
  case SFNodeFamily::Reference:
  case SFNodeFamily::Transform:
  case SFNodeFamily::Blend:
  case SFNodeFamily::Offset:
    break;
  }
  return NotRecognized(node);
}

HRESULT SFNumericDerivative::NotRecognized(SFDagNode const& iNode)
{
  Diagnostics::Sentence(std::string(Method) + "SFNodeType provided not recognized ! ");
  return Store(iNode, 0.0);
}

HRESULT SFNumericDerivative::OfResource(SFDagNode const& iNode)
{
  auto const* const resource = NodeAs<ResourceToSF>(iNode);
  if (resource == nullptr || iNode.GetTypeTag() != SFNodeType::POLY)
    return NotRecognized(iNode);
  // Borrowed for one call, which only reads.
  std::shared_ptr<ResourceToSF> const borrowed(std::shared_ptr<void>(), const_cast<ResourceToSF*>(resource));
  return Store(iNode, ResourceGradientToSF(borrowed, _variable).GetScalar(_valueContext->GetPosition()));
}

/// The values of the operands, before any of their derivatives.
HRESULT SFNumericDerivative::ReadValues(Frame& ioFrame)
{
  SFDagNode const& node = *ioFrame.node;
  auto const read = [&](SFOperand iOperand, double& oValue) {
    HRESULT const hr = _evaluation.ComputeOperand(*_valueContext, node, iOperand, oValue);
    if (Failed(hr))
      ReportOperand("ComputeAndSetScalar", CalculusRulesOf(node.GetTypeTag()).nameInValueFailures, node.GetTypeTag(),
                    iOperand == SFOperand::ELhs, hr);
    return hr;
  };
  HRESULT const hr = read(SFOperand::ELhs, ioFrame.u.value);
  return Failed(hr) || !IsBinary(node) ? hr : read(SFOperand::ERhs, ioFrame.v.value);
}

HRESULT SFNumericDerivative::EnterOperand(Frame& ioFrame, SFDagNode const*& oNext)
{
  bool const left = ioFrame.derivativesEntered++ == 0;
  oNext = (left ? ioFrame.node->GetLhs() : ioFrame.node->GetRhs()).get();
  return oNext != nullptr ? S_OK : Unwind(ioFrame, NoFunction());
}

HRESULT SFNumericDerivative::Unwind(Frame& ioFrame, HRESULT iCode)
{
  HRESULT const hr = DerivativeFailed(iCode);
  SFNodeType const type = ioFrame.node->GetTypeTag();
  ReportOperand("ComputeAndSetFirstOrderDerivative", CalculusRulesOf(type).nameInDerivativeFailures, type,
                ioFrame.derivativesEntered == 1, hr);
  return hr;
}

HRESULT SFNumericDerivative::Finish(Frame const& iFrame)
{
  auto const& rules = CalculusRulesOf(iFrame.node->GetTypeTag());
  return Store(*iFrame.node, rules.numericDerivative(iFrame.u, iFrame.v));
}

// ---- the evaluator --------------------------------------------------------------------------------------------

HRESULT SFDagEvaluator::ComputeFirstOrderDerivative(std::shared_ptr<SFDagNode> iNode, SFNodeType iVariable,
                                                    SFEvaluationContext& ioValueCtx,
                                                    SFEvaluationContext& ioDerivativeCtx) const
{
  return SFNumericDerivative().Compute(ioValueCtx, ioDerivativeCtx, iNode, iVariable);
}

HRESULT SFDagEvaluator::ComputeAndSetFirstOrderDerivative(std::shared_ptr<SFDagNode> iNode,
                                                          SFEvaluationContext& ioValueCtx,
                                                          SFEvaluationContext& ioDerivativeCtx, SFNodeType iVariable,
                                                          double& oDerivative) const
{
  HRESULT const hr = ComputeFirstOrderDerivative(iNode, iVariable, ioValueCtx, ioDerivativeCtx);
  if (Failed(hr))
    return DerivativeFailed(hr);
  oDerivative = iNode->GetContextInfos(ioDerivativeCtx.GetIndex()).value;
  return hr;
}

} // namespace SF
