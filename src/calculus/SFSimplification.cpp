#include "calculus/SFSimplification.h"

#include "SFAffineTransform.h"
#include "SFConstant.h"
#include "SFDagDifferentialOperator.h"
#include "SFOp.h"

#include <utility>

namespace SF {
namespace {

using NodePtr = SFSimplification::NodePtr;
using Operator = SFDagDifferentialOperator;

/// The outcome for a binary node.
enum class Verdict
{
  Keep,
  Fold,
  Lhs,
  Rhs,
  LhsZero, ///< the left operand, which is a zero
  RhsZero,
  OneAsZero, ///< a new constant 1 that its parent takes for a zero
  OneAsOne,
  OneAsGeneral
};

/// By the kind of the left operand and that of the right one; the last row and column are for kept operands.
using Verdicts = std::array<std::array<Verdict, 5>, 5>;
constexpr std::size_t Kept = 4;

constexpr auto K = Verdict::Keep;
constexpr auto F = Verdict::Fold;
constexpr auto L = Verdict::Lhs;
constexpr auto R = Verdict::Rhs;
constexpr auto L0 = Verdict::LhsZero;
constexpr auto R0 = Verdict::RhsZero;
constexpr auto One0 = Verdict::OneAsZero;
constexpr auto One1 = Verdict::OneAsOne;
constexpr auto One3 = Verdict::OneAsGeneral;

// clang-format off
//                           0     1     2     3     kept
constexpr Verdicts Sum     {{{F,    F,    F,    R,    R},     // 0
                             {F,    F,    F,    K,    K},     // 1
                             {F,    F,    F,    K,    K},     // 2
                             {L,    K,    K,    K,    K},     // 3
                             {L,    K,    K,    K,    K}}};   // kept
constexpr Verdicts Product {{{F,    F,    F,    L0,   L0},
                             {F,    F,    F,    R,    R},
                             {F,    F,    F,    K,    K},
                             {R0,   L,    K,    K,    K},
                             {R0,   L,    K,    K,    K}}};
constexpr Verdicts Quotient{{{F,    F,    F,    K,    L0},
                             {F,    F,    F,    R,    K},     // 1 / x
                             {F,    F,    F,    K,    K},
                             {K,    L,    K,    K,    K},
                             {K,    L,    K,    K,    K}}};
constexpr Verdicts Power   {{{F,    F,    F,    K,    L0},
                             {F,    F,    F,    One1, One3},  // 1 ^ x
                             {F,    F,    F,    K,    K},
                             {One1, L,    K,    K,    K},     // x ^ 0
                             {One0, L,    K,    K,    K}}};
// clang-format on

Verdict VerdictOn(SFRewriting iRewriting, std::size_t iLhs, std::size_t iRhs)
{
  switch (iRewriting) {
  case SFRewriting::Sum:
    return Sum[iLhs][iRhs];
  case SFRewriting::Product:
    return Product[iLhs][iRhs];
  case SFRewriting::Quotient:
    return Quotient[iLhs][iRhs];
  case SFRewriting::Power:
    return Power[iLhs][iRhs];
  case SFRewriting::None:
  case SFRewriting::Fold:
    break;
  }
  return Verdict::Keep;
}

SFRewriting RewritingOf(SFNodeType iType)
{
  return iType == SFNodeType::AFFINETRANSFORM ? SFRewriting::Fold : CalculusRulesOf(iType).rewriting;
}

/// A node that was made for a derivative, without its operands.
NodePtr CopyOf(SFDagNode const& iNode)
{
  if (iNode.GetTypeTag() == SFNodeType::AFFINETRANSFORM)
    return std::make_shared<SFAffineTransform>(static_cast<SFAffineTransform const&>(iNode).GetTransformation());
  return std::make_shared<SFOp>(iNode.GetTypeTag());
}

} // namespace

SFSimplification::Result SFSimplification::Run(NodePtr const& iRoot)
{
  Result result;
  if (Enter(iRoot, result))
    return result;
  for (;;) {
    Frame& frame = _frames.back();
    unsigned int const arity = frame.rewriting == SFRewriting::Fold ? 1 : 2;
    if (frame.entered < arity) {
      NodePtr const& operand = frame.entered++ == 0 ? frame.node->GetLhs() : frame.node->GetRhs();
      if (!Enter(operand, result))
        continue; // its result comes when its own frame ends
    } else {
      result = Decide(frame);
      if (result.settled && _recall)
        Remember(*frame.node, result);
      _frames.pop_back();
      if (_frames.empty())
        return result;
    }
    Frame& parent = _frames.back();
    parent.settled = parent.settled && result.settled;
    parent.operands[parent.entered - 1] = std::move(result);
    result = {};
  }
}

/// Gives the result of a node that needs no visit; false when a frame has been opened for one.
bool SFSimplification::Enter(NodePtr const& iNode, Result& oResult)
{
  oResult = {};
  if (iNode == nullptr)
    return true;
  if (iNode->GetTypeTag() == SFNodeType::CONSTANT) {
    double value = 0.0;
    if (Succeeded(iNode->GetConstant(value)))
      oResult = {iNode, Operator::GetScalarType(value, _tolerance)};
    else {
      Diagnostics::Sentence("Error in SFDagEvaluator::SimplifyTree, failed to retrieve scalar value ! ");
      oResult.settled = !RepeatsLine();
    }
    return true;
  }
  SFRewriting const rewriting = RewritingOf(iNode->GetTypeTag());
  if (rewriting == SFRewriting::None || Recall(*iNode, oResult))
    return true;
  _frames.push_back({iNode.get(), rewriting, IsMade(*iNode)});
  return false;
}

bool SFSimplification::Recall(SFDagNode const& iNode, Result& oResult)
{
  std::uint32_t const number = _settledNodes.Find(&iNode);
  if (number == SFNodeIndex::Absent)
    return false;
  oResult = _settledResults[number];
  double value = 0.0;
  if (!oResult.isNew || IsMade(iNode))
    return true;
  if (Succeeded(oResult.replacement->GetConstant(value)))
    oResult.replacement = std::make_shared<SFConstant>(value);
  else // 0 - x; the node made before may have been rewritten since
    oResult.replacement = std::make_shared<SFOp>(SFNodeType::NOT, iNode.GetRhs());
  return true;
}

void SFSimplification::Remember(SFDagNode const& iNode, Result const& iResult)
{
  _settledNodes.Insert(&iNode);
  _settledResults.push_back(iResult);
}

SFSimplification::Result SFSimplification::Decide(Frame& ioFrame)
{
  Result result = ioFrame.rewriting == SFRewriting::Fold ? DecideUnary(ioFrame) : DecideBinary(ioFrame);
  result.settled = ioFrame.settled;
  return result;
}

SFSimplification::Result SFSimplification::DecideUnary(Frame& ioFrame)
{
  Result const& operand = ioFrame.operands[0];
  if (operand.replacement != nullptr && operand.kind != Operator::EGeneral)
    return Fold(ioFrame, {operand.replacement, nullptr});
  return Keep(ioFrame, OperandsNow(ioFrame));
}

SFSimplification::Result SFSimplification::DecideBinary(Frame& ioFrame)
{
  Operands const operands = OperandsNow(ioFrame);
  auto const& [lhs, rhs] = operands;
  auto const kindOf = [](Result const& iOperand) { return iOperand.replacement == nullptr ? Kept : iOperand.kind; };
  Result result;
  switch (VerdictOn(ioFrame.rewriting, kindOf(ioFrame.operands[0]), kindOf(ioFrame.operands[1]))) {
  case Verdict::Keep:
    return Keep(ioFrame, operands);
  case Verdict::Fold:
    return Fold(ioFrame, operands);
  case Verdict::Lhs:
    result = {lhs, Operator::EGeneral};
    break;
  case Verdict::Rhs:
    result = {rhs, Operator::EGeneral};
    break;
  case Verdict::LhsZero:
    return {lhs, Operator::EZero};
  case Verdict::RhsZero:
    return {rhs, Operator::EZero};
  case Verdict::OneAsZero:
    return MakeConstant(1.0, Operator::EZero);
  case Verdict::OneAsOne:
    return MakeConstant(1.0, Operator::EOne);
  case Verdict::OneAsGeneral:
    return MakeConstant(1.0, Operator::EGeneral);
  }
  if (result.replacement == nullptr) // a missing operand is no replacement
    return Keep(ioFrame, operands);
  if (ioFrame.node->GetTypeTag() == SFNodeType::MINUS && result.replacement == rhs) {
    result.replacement = std::make_shared<SFOp>(SFNodeType::NOT, rhs);
    result.isNew = true;
  }
  return result;
}

/// The operands after their visits. A node of the field has them from now on, even if it is replaced itself.
SFSimplification::Operands SFSimplification::OperandsNow(Frame& ioFrame)
{
  auto const now = [](Result const& iResult, NodePtr const& iBefore) {
    return iResult.replacement != nullptr ? iResult.replacement : iResult.copy != nullptr ? iResult.copy : iBefore;
  };
  SFDagNode& node = *ioFrame.node;
  Operands operands{now(ioFrame.operands[0], node.GetLhs()), now(ioFrame.operands[1], node.GetRhs())};
  if (!ioFrame.isMade && (operands[0] != node.GetLhs() || operands[1] != node.GetRhs())) {
    ioFrame.settled = false;
    Store(node, operands);
  }
  return operands;
}

void SFSimplification::Store(SFDagNode& ioNode, Operands const& iOperands)
{
  if (iOperands[0] != ioNode.GetLhs()) {
    _replaced.push_back(ioNode.GetLhs());
    ioNode.SetLhs(iOperands[0]);
  }
  if (iOperands[1] != ioNode.GetRhs()) {
    _replaced.push_back(ioNode.GetRhs());
    ioNode.SetRhs(iOperands[1]);
  }
}

SFSimplification::Result SFSimplification::Keep(Frame& ioFrame, Operands const& iOperands)
{
  if (!ioFrame.isMade)
    return {};
  SFDagNode& node = *ioFrame.node;
  if (ioFrame.settled) {
    Store(node, iOperands);
    return {};
  }
  // A copy even where nothing has changed: another visit may rewrite the node.
  Result result;
  result.copy = CopyOf(node);
  result.copy->SetLhs(iOperands[0]);
  result.copy->SetRhs(iOperands[1]);
  return result;
}

SFSimplification::Result SFSimplification::Fold(Frame& ioFrame, Operands const& iOperands)
{
  auto const& [lhs, rhs] = iOperands;
  double value = 0.0;
  HRESULT const hr = Operator::EvaluateSimplification(value, ioFrame.node->GetTypeTag(), lhs, rhs);
  double divisor = 1.0;
  bool const byZero =
      ioFrame.rewriting == SFRewriting::Quotient && Succeeded(rhs->GetConstant(divisor)) && divisor == 0.0;
  if ((byZero || Failed(hr)) && RepeatsLine())
    ioFrame.settled = false;
  if (Failed(hr)) {
    Diagnostics::Sentence("Error in SFDagEvaluator::SimplifyTree, failed to evaluate simplification ! ");
    return ioFrame.isMade ? Keep(ioFrame, iOperands) : Result{};
  }
  return MakeConstant(value, Operator::GetScalarType(value, _tolerance));
}

SFSimplification::Result SFSimplification::MakeConstant(double iValue, unsigned int iKind)
{
  return {std::make_shared<SFConstant>(iValue), iKind, true};
}

} // namespace SF
