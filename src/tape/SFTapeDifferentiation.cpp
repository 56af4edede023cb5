#include "tape/SFTapeDifferentiation.h"

namespace SF {
namespace {

/// A derivative that is zero everywhere.
constexpr SFValueId Zero = UINT32_MAX;

} // namespace

using enum SFNodeType;

// ---- arithmetic of derivatives --------------------------------------------------------------------------------

bool SFTapeDifferentiation::IsConstant(SFValueId iId, double iValue) const
{
  auto const& instruction = _builder.At(iId);
  return instruction.code == CodeOf(CONSTANT) && instruction.constant == iValue;
}

SFValueId SFTapeDifferentiation::Written(SFValueId iDerivative)
{
  return iDerivative == Zero ? _builder.Constant(0.0) : iDerivative;
}

SFValueId SFTapeDifferentiation::Sum(SFValueId iA, SFValueId iB)
{
  if (iA == Zero || iB == Zero)
    return iA == Zero ? iB : iA;
  return Emit(PLUS, iA, iB);
}

SFValueId SFTapeDifferentiation::Negative(SFValueId iA) { return iA == Zero ? Zero : Emit(NOT, iA); }

SFValueId SFTapeDifferentiation::Difference(SFValueId iA, SFValueId iB)
{
  if (iA == Zero || iB == Zero)
    return iA == Zero ? Negative(iB) : iA;
  return Emit(MINUS, iA, iB);
}

SFValueId SFTapeDifferentiation::Product(SFValueId iFactor, SFValueId iDerivative)
{
  if (iDerivative == Zero || IsConstant(iFactor, 0.0))
    return Zero;
  if (IsConstant(iDerivative, 1.0))
    return iFactor;
  return IsConstant(iFactor, 1.0) ? iDerivative : Emit(MULT, iFactor, iDerivative);
}

SFValueId SFTapeDifferentiation::Quotient(SFValueId iDerivative, SFValueId iDivisor)
{
  return iDerivative == Zero ? Zero : Emit(DIV, iDerivative, iDivisor);
}

/// `iChained`, which is `iDerivative` times a slope that may be infinite; but 0 where `iDerivative` is 0.
SFValueId SFTapeDifferentiation::ZeroIfStill(SFValueId iDerivative, SFValueId iChained)
{
  if (iChained == Zero || _builder.At(iDerivative).code == CodeOf(CONSTANT))
    return iChained;
  return Select(Emit(ABS, iDerivative), iChained, iDerivative);
}

SFValueId SFTapeDifferentiation::Select(SFValueId iCondition, SFValueId iThen, SFValueId iElse)
{
  if (iThen == iElse)
    return iThen;
  SFTapeInstruction select;
  select.code = SelectCode;
  select.operands = {iCondition, Written(iThen), Written(iElse)};
  for (SFValueId const operand : select.operands)
    select.axes |= _builder.At(operand).axes;
  return _builder.Number(select);
}

// ---- rules ----------------------------------------------------------------------------------------------------

/// Without NaN for a base that is not positive where there is a derivative: a power of a negative base has one
/// for a constant integer exponent, and 0 to a varying exponent above 0 has the derivative 0 along the exponent.
SFValueId SFTapeDifferentiation::OfPower(Terms const& iTerms)
{
  auto const& [a, b, value, da, db] = iTerms;
  SFValueId alongBase = da;
  if (IsConstant(b, 0.0))
    alongBase = Zero;
  else if (IsConstant(b, 2.0))
    alongBase = Product(Product(_builder.Constant(2.0), a), da);
  else if (da != Zero && !IsConstant(b, 1.0))
    alongBase = ZeroIfStill(da, Product(Emit(MULT, b, Emit(POW, a, Emit(MINUS, b, _builder.Constant(1.0)))), da));
  if (db == Zero)
    return alongBase;
  // The square root stands for "0 at 0, NaN below".
  SFValueId const logarithm = Select(a, Emit(LN, a), Emit(ROOT, a));
  return Sum(alongBase, Product(Emit(MULT, value, logarithm), db));
}

/// Of max(m, -M), m the minimum and M the maximum of the operands.
SFValueId SFTapeDifferentiation::OfSymmetricDifference(Terms const& iTerms)
{
  SFValueId const least = Emit(MIN, iTerms.a, iTerms.b);
  SFValueId const most = Emit(MAX, iTerms.a, iTerms.b);
  Terms const outer{least, most, iTerms.value, OfOperator(MIN, iTerms), OfOperator(MAX, iTerms)};
  return OfOperator(WITHOUT, outer);
}

/// The angle of (u, w) moves by (u dw - w du) / (u^2 + w^2).
SFValueId SFTapeDifferentiation::OfAngle(Terms const& iTerms)
{
  auto const& [u, w, angle, du, dw] = iTerms;
  return Quotient(Difference(Product(u, dw), Product(w, du)), Emit(PLUS, Emit(SQUARE, u), Emit(SQUARE, w)));
}

SFValueId SFTapeDifferentiation::OfOperator(SFNodeType iOperator, Terms const& iTerms)
{
  auto const& [a, b, value, da, db] = iTerms;
  if (da == Zero && db == Zero)
    return Zero;
  auto const constant = [&](double iValue) { return _builder.Constant(iValue); };
  auto const cosineOfArc = [&] { // sqrt(1 - a^2), without the cancellation near 1
    return Emit(ROOT, Emit(MULT, Emit(MINUS, constant(1.0), iTerms.a), Emit(PLUS, constant(1.0), iTerms.a)));
  };
  // x > y exactly when x - y > 0: a difference of doubles is 0 for equal ones only, thanks to denormals.
  switch (iOperator) {
  case PLUS:
    return Sum(da, db);
  case MINUS:
    return Difference(da, db);
  case SQUARE:
    return Product(Emit(MULT, constant(2.0), a), da);
  case MULT:
    return Sum(Product(b, da), Product(a, db));
  case DIV:
    return Quotient(Difference(da, Product(value, db)), b);
  case MIN:
    return Select(Emit(MINUS, a, b), db, da);
  case MAX:
    return Select(Emit(MINUS, b, a), db, da);
  case WITHOUT:
    return Select(Emit(MINUS, Emit(NOT, b), a), Negative(db), da);
  case SYMDIFF:
    return OfSymmetricDifference(iTerms);
  case NOT:
    return Negative(da);
  case ABS:
    return Select(a, da, Negative(da));
  case SIGN:
    return Zero;
  case COS:
    return Negative(Product(Emit(SIN, a), da));
  case SIN:
    return Product(Emit(COS, a), da);
  case TAN:
    return Product(Emit(PLUS, constant(1.0), Emit(SQUARE, value)), da);
  case ACOS:
    return Negative(ZeroIfStill(da, Quotient(da, cosineOfArc())));
  case ASIN:
    return ZeroIfStill(da, Quotient(da, cosineOfArc()));
  case ATAN:
    return Quotient(da, Emit(PLUS, constant(1.0), Emit(SQUARE, a)));
  case ROOT:
    return ZeroIfStill(da, Quotient(da, Emit(MULT, constant(2.0), value)));
  case EXP:
    return Product(value, da);
  case LN:
    return Quotient(da, a);
  case POW:
    return OfPower(iTerms);
  default:
    return Zero; // not an operator
  }
}

/// The gradient of the resource times the derivatives of the point that it is asked at.
SFTapeDifferentiation::Gradient SFTapeDifferentiation::OfResource(SFTapeInstruction const& iInstruction)
{
  Gradient components{};
  for (std::size_t i = 0; i < 3; ++i) {
    SFTapeInstruction component = iInstruction;
    component.code = static_cast<SFTapeCode>(GradientCode + i);
    RenumberOperands(component, [&](SFValueId iId) { return _copies[iId]; });
    components[i] = _builder.Number(component);
  }
  Gradient gradient{Zero, Zero, Zero};
  for (std::size_t i = 0; i < 3; ++i)
    for (std::size_t axis = 0; axis < 3; ++axis)
      gradient[axis] = Sum(gradient[axis], Product(components[i], _gradients[iInstruction.operands[i]][axis]));
  return gradient;
}

// ---- the tape -------------------------------------------------------------------------------------------------

SFValueId SFTapeDifferentiation::Copy(SFTapeInstruction const& iInstruction)
{
  SFTapeInstruction copy = iInstruction;
  RenumberOperands(copy, [&](SFValueId iId) { return _copies[iId]; });
  return _builder.Number(copy);
}

SFTapeDifferentiation::Gradient SFTapeDifferentiation::Differentiate(SFTapeInstruction const& iInstruction,
                                                                     SFValueId iValue)
{
  Gradient gradient{Zero, Zero, Zero};
  if (iInstruction.code == ResourceCode)
    return OfResource(iInstruction);
  if (FamilyOf(SFNodeType{iInstruction.code}) == SFNodeFamily::Coordinate) {
    gradient[iInstruction.code - CodeOf(X)] = _builder.Constant(1.0);
    return gradient;
  }
  int const arity = ArityOf(iInstruction.code);
  if (arity == 0)
    return gradient;
  SFValueId const first = iInstruction.operands[0];
  SFValueId const second = arity == 2 ? iInstruction.operands[1] : first;
  for (std::size_t axis = 0; axis < 3; ++axis) {
    Terms const terms{_copies[first], _copies[second], iValue, _gradients[first][axis],
                      arity == 2 ? _gradients[second][axis] : Zero};
    if (terms.da == Zero && terms.db == Zero)
      continue;
    gradient[axis] = iInstruction.code == AngleCode ? OfAngle(terms) : OfOperator(SFNodeType{iInstruction.code}, terms);
    if (gradient[axis] != Zero && IsConstant(gradient[axis], 0.0))
      gradient[axis] = Zero;
  }
  return gradient;
}

SFTape SFTapeDifferentiation::Run(SFTape const& iField)
{
  for (SFTapeInstruction const& instruction : iField.instructions) {
    SFValueId const copy = Copy(instruction);
    _copies.push_back(copy);
    _gradients.push_back(Differentiate(instruction, copy));
  }
  SFValueId const field = iField.results.front();
  _builder.AddResult(_copies[field]);
  for (SFValueId const derivative : _gradients[field])
    _builder.AddResult(Written(derivative));
  return _builder.Finish();
}

} // namespace SF
