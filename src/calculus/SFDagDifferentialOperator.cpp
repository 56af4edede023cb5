#include "SFDagDifferentialOperator.h"

#include "SFOperatorTable.h"
#include "calculus/SFDifferentiation.h"
#include "calculus/SFSimplification.h"
#include "operators/SFScalarOps.h"

#include <cmath>
#include <string>

namespace SF {

std::shared_ptr<SFDagNode> SFDagDifferentialOperator::DifferentiateFunctionTree(std::shared_ptr<SFDagNode> iNode,
                                                                                SFNodeType iVariable)
{
  return SFDifferentiation(MaxSeparateDerivatives).Differentiate(iNode, iVariable);
}

std::shared_ptr<SFDagNode> SFDagDifferentialOperator::DifferentiateABSFunction(SFDagNode const& iAbsNode, unsigned char,
                                                                               SFNodeType iVariable)
{
  return SFDifferentiation(MaxSeparateDerivatives).DifferentiateAs(SFNodeType::ABS, iAbsNode, iVariable);
}

std::shared_ptr<SFDagNode> SFDagDifferentialOperator::BuildGradientTree(std::shared_ptr<SFDagNode> iNode,
                                                                        SFNodeType iVariable,
                                                                        ZULTolerance const& iTolerance)
{
  if (!IsCoordinate(iVariable)) {
    Diagnostics::Sentence("Error in SFDagEvaluator::DifferentiateFunctionTree, Invalid variable provided ! ");
    return nullptr;
  }
  auto derivative = DifferentiateFunctionTree(std::move(iNode), iVariable);
  auto simplified = SimplifyTree(derivative, iTolerance);
  return simplified != nullptr ? simplified : derivative;
}

// ---- simplification -------------------------------------------------------------------------------------------

unsigned int SFDagDifferentialOperator::GetScalarType(double iValue, double iTolerance)
{
  if (iTolerance > std::abs(iValue))
    return EZero;
  return iTolerance > std::abs(iValue - 1.0) ? EOne : EConstant;
}

HRESULT SFDagDifferentialOperator::EvaluateSimplification(double& oValue, SFNodeType iType,
                                                          std::shared_ptr<SFDagNode> iLhs,
                                                          std::shared_ptr<SFDagNode> iRhs)
{
  constexpr auto fail = [](char const* iWhy) {
    Diagnostics::Sentence(std::string("Error in SFDagEvaluator::EvaluateSimplification, ").append(iWhy));
    return E_FAIL;
  };
  if (!IsOperator(iType))
    return S_FALSE;
  bool const binary = IsBinaryOperator(iType);
  if (iLhs == nullptr || (binary && iRhs == nullptr))
    return fail(binary ? "no lhs or rhs provided !" : "no lhs provided !");
  double a = 0.0;
  double b = 0.0;
  if (Failed(iLhs->GetConstant(a)) || (binary && Failed(iRhs->GetConstant(b))))
    return fail("Couldn't retrieve constant from node !");
  if (iType == SFNodeType::DIV && b == 0.0) {
    Diagnostics::Sentence("Error in SFDagEvaluator::EvaluateSimplification, Division by 0 undefined ! ");
    oValue = 0.0;
  } else
    oValue = ScalarOps::Apply(iType, a, b);
  return S_OK;
}

std::shared_ptr<SFDagNode> SFDagDifferentialOperator::SimplifyTree(std::shared_ptr<SFDagNode> iNode,
                                                                   unsigned int& ioKind, double iTolerance)
{
  auto result = SFSimplification(iTolerance).Run(iNode);
  if (result.replacement != nullptr)
    ioKind = result.kind;
  return std::move(result.replacement);
}

std::shared_ptr<SFDagNode> SFDagDifferentialOperator::SimplifyTree(std::shared_ptr<SFDagNode> iNode,
                                                                   ZULTolerance const& iTolerance)
{
  unsigned int kind = EConstant;
  return SimplifyTree(std::move(iNode), kind, iTolerance.GetResolution());
}

} // namespace SF
