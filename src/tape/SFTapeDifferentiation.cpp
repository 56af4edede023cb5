#include "tape/SFTapeDifferentiation.h"

#include "calculus/SFCalculusRules.h"
#include "tape/SFTapeList.h"

#include <limits>
#include <utility>

namespace SF {
namespace {

/// A derivative that is zero everywhere.
constexpr SFValueId Zero = UINT32_MAX;

/// As a chooser.
constexpr SFValueId NotOne = UINT32_MAX;
constexpr SFValueId NotYet = UINT32_MAX - 1;

} // namespace

using enum SFNodeType;

/// Notes what the rules ask for.
SFValueId SFTapeDifferentiation::Emit(SFNodeType iOperator, SFValueId iA, SFValueId iB)
{
  SFValueId const id = _builder.Emit(iOperator, iA, iB);
  if (_isEmitted.size() <= id)
    _isEmitted.resize(2 * std::size_t{id} + 1, 0);
  _isEmitted[id] = 1;
  return id;
}

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
  NoteChoice(iCondition);
  SFTapeInstruction select;
  select.code = SelectCode;
  select.operands = {iCondition, Written(iThen), Written(iElse)};
  for (SFValueId const operand : select.operands)
    select.axes |= _builder.At(operand).axes;
  return _builder.Number(select);
}

void SFTapeDifferentiation::NoteChoice(SFValueId iCondition)
{
  if (_choosers.size() <= iCondition)
    _choosers.resize(2 * std::size_t{iCondition} + 1, NotYet);
  SFValueId& chooser = _choosers[iCondition];
  chooser = chooser == NotYet || chooser == _chooser ? _chooser : NotOne;
}

/// Not of fields that hold derivatives themselves.
void SFTapeDifferentiation::AddNotes(SFTape const& iFields)
{
  for (SFTapeInstruction const& instruction : iFields.instructions)
    if (instruction.code == SelectCode)
      return;
  for (SFValueId condition = 0; condition < _choosers.size(); ++condition)
    if (_choosers[condition] != NotYet && _choosers[condition] != NotOne)
      _builder.AddChoice({condition, _choosers[condition]});
  for (SFValueId const copy : _copies)
    if (copy < _isEmitted.size() && _isEmitted[copy] != 0)
      _builder.AddReadAside(copy);
}

// ---- rules ----------------------------------------------------------------------------------------------------

/// Turns the tree of a rule into instructions. Recurses over the tree, which is as deep as its text is long.
class SFTapeDifferentiation::Growth
{
public:
  Growth(SFTapeDifferentiation& ioOwner, Terms const& iTerms) : _owner(ioOwner), _terms(iTerms) {}

  SFValueId Grow(SFTreeTemplate const& iTree)
  {
    _next = iTree.Steps().data();
    return Next().id;
  }

private:
  using StepKind = SFTreeTemplate::StepKind;

  /// A value, or a sum of products with a derivative each, which alone may be Zero.
  struct Term
  {
    SFValueId id;
    bool isDerivative;
  };
  struct Dual
  {
    SFValueId value;
    SFValueId derivative;
  };

  Term Next()
  {
    SFTreeTemplate::Step const& step = *_next++;
    switch (step.kind) {
    case StepKind::Operator:
      return NextOperator(step.type);
    case StepKind::Lhs:
      return {_terms.a, false};
    case StepKind::Rhs:
      return {_terms.b, false};
    case StepKind::LhsDerivative:
      return {_terms.da, true};
    case StepKind::RhsDerivative:
      return {_terms.db, true};
    case StepKind::Derivative:
      return {NextDual().derivative, true};
    case StepKind::Constant:
      return {_owner._builder.Constant(step.value), false};
    case StepKind::Value:
      return {_terms.value, false};
    case StepKind::Select: {
      SFValueId const condition = _owner.Written(Next().id);
      Term const a = Next();
      Term const b = Next();
      return {_owner.Select(condition, a.id, b.id), a.isDerivative || b.isDerivative};
    }
    case StepKind::Still:
      return {_owner.ZeroIfStill(_terms.da, Next().id), true};
    }
    return {Zero, true};
  }

  /// Keeps what is linear in a derivative in the arithmetic that knows Zero.
  Term NextOperator(SFNodeType iOperator)
  {
    Term const a = Next();
    if (IsUnaryOperator(iOperator)) {
      bool const negates = a.isDerivative && iOperator == NOT;
      return {negates ? _owner.Negative(a.id) : _owner.Emit(iOperator, _owner.Written(a.id)), a.isDerivative};
    }
    Term const b = Next();
    if (a.isDerivative && b.isDerivative && iOperator == PLUS)
      return {_owner.Sum(a.id, b.id), true};
    if (a.isDerivative && b.isDerivative && iOperator == MINUS)
      return {_owner.Difference(a.id, b.id), true};
    if (a.isDerivative != b.isDerivative && iOperator == MULT)
      return {a.isDerivative ? _owner.Product(b.id, a.id) : _owner.Product(a.id, b.id), true};
    if (a.isDerivative && !b.isDerivative && iOperator == DIV)
      return {_owner.Quotient(a.id, b.id), true};
    return {_owner.Emit(iOperator, _owner.Written(a.id), _owner.Written(b.id)), a.isDerivative || b.isDerivative};
  }

  /// The tree that comes next, of operators, operands and constants, together with its derivative.
  Dual NextDual()
  {
    SFTreeTemplate::Step const& step = *_next++;
    if (step.kind == StepKind::Lhs)
      return {_terms.a, _terms.da};
    if (step.kind == StepKind::Rhs)
      return {_terms.b, _terms.db};
    if (step.kind == StepKind::Constant)
      return {_owner._builder.Constant(step.value), Zero};
    Dual const a = NextDual();
    Dual const b = IsBinaryOperator(step.type) ? NextDual() : Dual{a.value, Zero};
    SFValueId const value = _owner.Emit(step.type, a.value, b.value);
    return {value, _owner.OfOperator(step.type, {a.value, b.value, value, a.derivative, b.derivative})};
  }

  SFTapeDifferentiation& _owner;
  Terms const& _terms;
  SFTreeTemplate::Step const* _next = nullptr;
};

/// The angle of (u, w) moves by (u dw - w du) / (u^2 + w^2).
SFValueId SFTapeDifferentiation::OfAngle(Terms const& iTerms)
{
  auto const& [u, w, angle, du, dw] = iTerms;
  return Quotient(Difference(Product(u, dw), Product(w, du)), Emit(PLUS, Emit(SQUARE, u), Emit(SQUARE, w)));
}

SFValueId SFTapeDifferentiation::OfOperator(SFNodeType iOperator, Terms const& iTerms)
{
  if (iTerms.da == Zero && iTerms.db == Zero)
    return Zero;
  if (iOperator == POW) { // constant exponents whose rule needs no power, which could be infinite or NaN
    if (IsConstant(iTerms.b, 0.0))
      return Zero;
    if (IsConstant(iTerms.b, 1.0))
      return iTerms.da;
    if (IsConstant(iTerms.b, 2.0))
      return OfOperator(SQUARE, iTerms);
  }
  bool const chooses = iOperator == MIN || iOperator == MAX;
  SFValueId const outer = std::exchange(_chooser, chooses ? iTerms.value : NotOne);
  SFValueId const derivative = Growth(*this, iTerms).Grow(CalculusRulesOf(iOperator).tapeDerivative);
  _chooser = outer;
  return derivative;
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

/// The choice stands still: it moves on sets without volume alone. What ZeroIfStill has made of a derivative d, which is d
/// itself where d is 0, goes on as the chained one wherever d moves.
SFValueId SFTapeDifferentiation::OfSelection(SFTapeInstruction const& iInstruction, std::size_t iAxis)
{
  SFValueId const then = _gradients[iInstruction.operands[1]][iAxis];
  SFValueId const otherwise = _gradients[iInstruction.operands[2]][iAxis];
  if (then == Zero && otherwise == Zero)
    return Zero;
  SFValueId const condition = _copies[iInstruction.operands[0]];
  SFTapeInstruction const& chosenBy = _builder.At(condition);
  bool const isStill = chosenBy.code == CodeOf(ABS) && chosenBy.operands[0] == _copies[iInstruction.operands[2]];
  bool const moves = otherwise != Zero;
  return Select(condition, then, isStill && moves ? ZeroIfStill(otherwise, then) : otherwise);
}

/// A host gives first derivatives only.
SFValueId SFTapeDifferentiation::OfResourceGradient(SFTapeInstruction const& iInstruction, std::size_t iAxis)
{
  bool moves = false;
  ForOperands(iInstruction, [&](SFValueId iOperand) { moves = moves || _gradients[iOperand][iAxis] != Zero; });
  return moves ? _builder.Constant(std::numeric_limits<double>::quiet_NaN()) : Zero;
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
  if (iInstruction.code == SelectCode || IsResourceCode(iInstruction.code)) {
    for (std::size_t axis = 0; axis < 3; ++axis)
      gradient[axis] =
          iInstruction.code == SelectCode ? OfSelection(iInstruction, axis) : OfResourceGradient(iInstruction, axis);
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

SFTape SFTapeDifferentiation::Run(SFTape const& iFields)
{
  _builder.Reserve(4 * iFields.instructions.size()); // about as many
  _copies.reserve(iFields.instructions.size());
  _gradients.reserve(iFields.instructions.size());
  for (SFTapeInstruction const& instruction : iFields.instructions) {
    SFValueId const copy = Copy(instruction);
    _copies.push_back(copy);
    _gradients.push_back(Differentiate(instruction, copy));
  }
  AddNotes(iFields);
  if (iFields.slopes != nullptr) {
    _builder.TakeSlopes();
    for (std::size_t id = 0; id < iFields.slopes->entries.size(); ++id)
      _builder.AddSlope(_copies[id], iFields.slopes->entries[id]);
  }
  for (SFStatedBound const& bound : iFields.bounds)
    _builder.AddBound({_copies[bound.value], bound.lipschitz});
  for (SFValueId const field : iFields.results) {
    _builder.AddResult(_copies[field]);
    for (SFValueId const derivative : _gradients[field])
      _builder.AddResult(Written(derivative));
  }
  return _builder.Finish();
}

} // namespace SF
