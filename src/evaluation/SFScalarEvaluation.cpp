#include "evaluation/SFScalarEvaluation.h"

#include "ResourceToSF.h"
#include "SFAffineTransform.h"
#include "SFCylindricalTransform.h"
#include "SFDagFunctor.h"
#include "SFOperatorTable.h"
#include "evaluation/SFEvaluatorReports.h"
#include "SFElementary.h"
#include "operators/SFScalarOps.h"

#include <cmath>
#include <string>

namespace SF {
namespace {

HRESULT NotSupported()
{
  Diagnostics::Sentence("Error in SFDagEvaluator::ComputeScalar, node type not supported.");
  return E_FAIL;
}

/// "<kind> on <side>" as the failure lines of a kind's operands have it, slips included.
std::string OperandWords(SFNodeType iType, bool iLeft)
{
  switch (iType) {
  case SFNodeType::LN:
  case SFNodeType::ATAN:
    return std::string("SQUARE on ").append(OperatorRow(iType).name);
  case SFNodeType::OFFSET:
    return "CYLINDRICALTRANSFORM on LHS";
  default:
    return std::string(OperatorRow(iType).name).append(iLeft ? " on LHS" : " on RHS");
  }
}

void ReportOperandEvaluation(SFOperand iOperand, HRESULT iCode)
{
  Diagnostics::FailedSentence(iOperand == SFOperand::ELhs
                                  ? "Error in SFDagEvaluator::ComputeAndSetScalar, ComputeScalar(iCtx, *lhs) "
                                  : "Error in SFDagEvaluator::ComputeAndSetScalar, ComputeScalar(iCtx, *rhs)",
                              iCode);
}

} // namespace

HRESULT SFScalarEvaluation::Compute(SFEvaluationContext const& iContext, SFDagNode const& iNode)
{
  if (iContext.GetIndex() < 0) // names no slot
    return E_INVALIDARG;
  _context = &iContext;
  _positions.assign(1, iContext.GetPosition());
  return _walk.Run(*this, iNode);
}

HRESULT SFScalarEvaluation::ComputeOperand(SFEvaluationContext const& iContext, SFDagNode const& iNode,
                                           SFOperand iOperand, double& oValue)
{
  if (iOperand != SFOperand::ELhs && iOperand != SFOperand::ERhs)
    return E_INVALIDARG;
  SFDagNode const* const operand = (iOperand == SFOperand::ELhs ? iNode.GetLhs() : iNode.GetRhs()).get();
  if (operand == nullptr) {
    EvaluatorReports::MissingOperand(iOperand);
    return E_FAIL;
  }
  HRESULT const hr = Compute(iContext, *operand);
  if (Failed(hr)) {
    ReportOperandEvaluation(iOperand, hr);
    return E_FAIL;
  }
  oValue = ValueOf(*operand);
  return hr;
}

double SFScalarEvaluation::ValueOf(SFDagNode const& iNode) const
{
  iNode.ReserveEvaluationContexts(*_context);
  return iNode.GetContextInfos(_context->GetIndex()).value;
}

HRESULT SFScalarEvaluation::Store(SFDagNode const& iNode, double iValue)
{
  iNode.ReserveEvaluationContexts(*_context);
  iNode.GetContextInfos(_context->GetIndex()) = {iValue, SFDagNode::ECacheDone};
  return S_OK;
}

HRESULT SFScalarEvaluation::Step(Frame& ioFrame, SFDagNode const*& oNext)
{
  SFDagNode const& node = *ioFrame.node;
  switch (ioFrame.operandsEntered) {
  case 0:
    return Begin(ioFrame, oNext);
  case 1: {
    SFDagNode const* const first =
        FamilyOf(node.GetTypeTag()) == SFNodeFamily::Offset ? DerivedDagOf(node) : node.GetLhs().get();
    double const value = ValueOf(*first);
    if (!IsBinaryOperator(node.GetTypeTag()))
      return Finish(ioFrame, value);
    ioFrame.lhs = value;
    return EnterOperand(ioFrame, oNext);
  }
  default:
    return Finish(ioFrame, ValueOf(*node.GetRhs()));
  }
}

HRESULT SFScalarEvaluation::Begin(Frame& ioFrame, SFDagNode const*& oNext)
{
  SFDagNode const& node = *ioFrame.node;
  SFNodeType const type = node.GetTypeTag();
  node.ReserveEvaluationContexts(*_context);
  if (node.GetContextInfos(_context->GetIndex()).state == SFDagNode::ECacheDone)
    return S_OK;

  ZULMathPoint const& position = _positions.back();
  switch (FamilyOf(type)) {
  case SFNodeFamily::Coordinate:
    return Store(node, type == SFNodeType::X ? position.x : type == SFNodeType::Y ? position.y : position.z);
  case SFNodeFamily::Constant: {
    double value = 0.0;
    HRESULT const hr = node.GetConstant(value);
    if (Failed(hr)) {
      Diagnostics::FailedSentence("Error in SFDagEvaluator::ComputeScalar, iNode.GetConstant(scalar)", hr);
      return hr;
    }
    return Store(node, value);
  }
  case SFNodeFamily::Resource:
    if (auto const* const resource = NodeAs<ResourceToSF>(node))
      return Store(node, resource->GetScalar(position));
    return NotSupported();
  case SFNodeFamily::Operator:
    return EnterOperand(ioFrame, oNext);
  case SFNodeFamily::Transform:
    return BeginTransform(ioFrame, oNext);
  case SFNodeFamily::Offset:
    oNext = DerivedDagOf(node);
    if (oNext == nullptr) {
      EvaluatorReports::OffsetNotBuilt();
      return E_FAIL;
    }
    ioFrame.operandsEntered = 1;
    return S_OK;
  case SFNodeFamily::None:
  case SFNodeFamily::End:
  case SFNodeFamily::Reference:
  case SFNodeFamily::Blend:
    break;
  }
  return NotSupported();
}

HRESULT SFScalarEvaluation::BeginTransform(Frame& ioFrame, SFDagNode const*& oNext)
{
  ZULMathPoint position = _positions.back();
  if (auto const* const affine = NodeAs<SFAffineTransform>(*ioFrame.node)) {
    HRESULT const hr = affine->ApplyInverseTransformation(position);
    if (Failed(hr)) {
      EvaluatorReports::AffineMappingFailed(hr);
      return hr;
    }
  } else if (auto const* const cylinder = NodeAs<SFCylindricalTransform>(*ioFrame.node)) {
    HRESULT const hr = cylinder->ApplyInverseTransformation(position);
    if (Failed(hr)) {
      EvaluatorReports::CylinderMappingFailed(hr);
      return hr;
    }
  } else
    return NotSupported();
  _positions.push_back(position);
  return EnterOperand(ioFrame, oNext);
}

HRESULT SFScalarEvaluation::EnterOperand(Frame& ioFrame, SFDagNode const*& oNext)
{
  bool const left = ioFrame.operandsEntered++ == 0;
  oNext = (left ? ioFrame.node->GetLhs() : ioFrame.node->GetRhs()).get();
  if (oNext != nullptr)
    return S_OK;
  EvaluatorReports::MissingOperand(left ? SFOperand::ELhs : SFOperand::ERhs);
  return FailOnOperand(ioFrame);
}

HRESULT SFScalarEvaluation::Unwind(Frame& ioFrame, HRESULT iCode)
{
  ReportOperandEvaluation(ioFrame.operandsEntered == 1 ? SFOperand::ELhs : SFOperand::ERhs, iCode);
  return FailOnOperand(ioFrame);
}

HRESULT SFScalarEvaluation::FailOnOperand(Frame const& iFrame)
{
  SFNodeType const type = iFrame.node->GetTypeTag();
  Diagnostics::FailedSentence("Error in SFDagEvaluator::ComputeScalar, ComputeAndSetScalar for " +
                                  OperandWords(type, iFrame.operandsEntered == 1),
                              E_FAIL);
  if (FamilyOf(type) == SFNodeFamily::Transform)
    _positions.pop_back();
  return E_FAIL;
}

HRESULT SFScalarEvaluation::Finish(Frame const& iFrame, double iLast)
{
  SFNodeType const type = iFrame.node->GetTypeTag();
  switch (FamilyOf(type)) {
  case SFNodeFamily::Operator:
    return Store(*iFrame.node, IsBinaryOperator(type) ? ScalarOps::Apply(type, iFrame.lhs, iLast)
                                                      : ScalarOps::Apply(type, iLast, 0.0));
  case SFNodeFamily::Transform: {
    double const radius = _positions.back().x;
    _positions.pop_back();
    if (type == SFNodeType::CYLINDRICALTRANSFORM)
      return Store(*iFrame.node, iLast - SFCylindricalTransform::CorrectionLimit(_context->GetDomainSize(),
                                                                                 _context->GetVoxelSize()) /
                                             Elementary::Pow(radius, 4.0));
    return Store(*iFrame.node, iLast);
  }
  default:
    return Store(*iFrame.node, iLast);
  }
}

} // namespace SF
