#include "SFFieldCalculus.h"

#include "SFArgument.h"
#include "SFBoxes.h"
#include "SFFieldWalk.h"

#include <cmath>
#include <limits>
#include <stdexcept>
#include <utility>
#include <vector>

namespace SF {
namespace {

using enum SFNodeType;

/// b where `iTakesB` is 1, a where it is -1. What does not count is multiplied by an exact 0, and so must be finite.
SFField Chosen(SFField const& iTakesB, SFField const& iA, SFField const& iB)
{
  if (iA == iB)
    return iA;
  return iA * ((1.0 - iTakesB) * 0.5) + iB * ((1.0 + iTakesB) * 0.5);
}

bool IsZero(SFField const& iField) { return iField.GetNode()->IsConstant(0.0); }

SFField Product(SFField const& iA, SFField const& iB) { return IsZero(iA) || IsZero(iB) ? SFField(0.0) : iA * iB; }
SFField Sum(SFField const& iA, SFField const& iB)
{
  if (IsZero(iA))
    return iB;
  return IsZero(iB) ? iA : iA + iB;
}
SFField Minus(SFField const& iA, SFField const& iB)
{
  if (IsZero(iB))
    return iA;
  return IsZero(iA) ? -iB : iA - iB;
}

/// The derivatives of a field's nodes along one axis.
class Derivation
{
public:
  Derivation(SFFieldOrder const& iOrder, SFNodeType iAxis) : _order(iOrder), _axis(iAxis)
  {
    _derivatives.reserve(iOrder.Size());
    for (SFFieldNode const* const node : iOrder.Nodes())
      _derivatives.push_back(Of(*node));
  }

  SFField const& Result() const { return _derivatives.back(); }
  SFField const& At(std::uint32_t iNumber) const { return _derivatives[iNumber]; }

private:
  SFField Operand(SFFieldNode const& iNode, int iNumber) const { return SFField(iNode.GetOperand(iNumber)); }
  SFField const& DerivativeOf(SFFieldNode const& iNode, int iNumber) const
  {
    return _derivatives[_order.OperandOf(iNode, iNumber)];
  }

  SFField Of(SFFieldNode const& iNode) const
  {
    switch (iNode.GetType()) {
    case X:
    case Y:
    case Z:
      return iNode.GetType() == _axis ? 1.0 : 0.0;
    case CONSTANT:
    case PARAMETER:
      return 0.0;
    case RESOLVEDREF:
      return OfResource(iNode);
    case POLYGRADIENT:
      throw std::domain_error("the gradient of a resource has no derivative");
    default:
      return IsBinaryOperator(iNode.GetType()) ? OfBinary(iNode) : OfUnary(iNode);
    }
  }

  /// The gradient at the mapped point, along the derivative of the mapping.
  SFField OfResource(SFFieldNode const& iNode) const
  {
    SFField sum = 0.0;
    for (int i = 0; i < SFFieldNode::MaxOperands; ++i) {
      SFField const& inner = DerivativeOf(iNode, i);
      if (IsZero(inner))
        continue;
      auto detail = std::make_unique<SFFieldDetail>();
      detail->resource = iNode.GetDetail()->resource;
      SFField const component(MakeResource(
          POLYGRADIENT, i, {iNode.GetOperand(0), iNode.GetOperand(1), iNode.GetOperand(2)}, std::move(detail)));
      sum = Sum(sum, Product(component, inner));
    }
    return sum;
  }

  SFField OfBinary(SFFieldNode const& iNode) const
  {
    SFField const a = Operand(iNode, 0);
    SFField const b = Operand(iNode, 1);
    SFField const& da = DerivativeOf(iNode, 0);
    SFField const& db = DerivativeOf(iNode, 1);
    if (IsZero(da) && IsZero(db))
      return 0.0;
    switch (iNode.GetType()) {
    case PLUS:
      return Sum(da, db);
    case MINUS:
      return Minus(da, db);
    case MULT:
      return Sum(Product(da, b), Product(a, db));
    case DIV:
      return IsZero(db) ? da / b : Minus(da, Product(SFField(iNode.Share()), db)) / b;
    case POW:
      return OfPower(SFField(iNode.Share()), a, b, da, db);
    case MIN:
      return Chosen(sign(a - b), da, db);
    case MAX:
      return Chosen(sign(b - a), da, db);
    case WITHOUT:
      return Chosen(sign(-b - a), da, -db);
    case SYMDIFF: {
      SFField const low = min(a, b);
      SFField const high = max(a, b);
      return Chosen(sign(-high - low), Chosen(sign(a - b), da, db), -Chosen(sign(b - a), da, db));
    }
    default:
      throw std::logic_error("an operator without a derivative");
    }
  }

  /// A constant exponent needs no logarithm, and so no positive base.
  static SFField OfPower(SFField const& iPower, SFField const& iA, SFField const& iB, SFField const& iDa,
                         SFField const& iDb)
  {
    SFField const byBase = IsZero(iDa) ? SFField(0.0) : Product(Product(iB, pow(iA, iB - 1.0)), iDa);
    SFField const byExponent = IsZero(iDb) ? SFField(0.0) : Product(Product(iPower, log(iA)), iDb);
    return Sum(byBase, byExponent);
  }

  SFField OfUnary(SFFieldNode const& iNode) const
  {
    SFField const& da = DerivativeOf(iNode, 0);
    if (IsZero(da) || iNode.GetType() == SIGN)
      return 0.0;
    SFField const a = Operand(iNode, 0);
    SFField const self(iNode.Share());
    switch (iNode.GetType()) {
    case SQUARE:
      return 2.0 * a * da;
    case NOT:
      return -da;
    case SIN:
      return cos(a) * da;
    case COS:
      return -(sin(a) * da);
    case ROOT:
      // 0 / (smallest number) where the argument and its derivative vanish together.
      return da / max(2.0 * self, std::numeric_limits<double>::min());
    case ABS:
      return sign(a) * da;
    case EXP:
      return self * da;
    case LN:
      return da / a;
    case ACOS:
      return -(da / sqrt(1.0 - square(a)));
    case ASIN:
      return da / sqrt(1.0 - square(a));
    case TAN:
      return da * (1.0 + square(self));
    case ATAN:
      return da / (1.0 + square(a));
    default:
      throw std::logic_error("an operator without a derivative");
    }
  }

  SFFieldOrder const& _order;
  SFNodeType _axis;
  std::vector<SFField> _derivatives;
};

bool IsSetOperation(SFNodeType iType)
{
  return iType == MIN || iType == MAX || iType == WITHOUT || iType == SYMDIFF || iType == NOT;
}

/// A part of a solid, and whether an odd number of complements lies above it: its surface then moves the other way.
struct Part
{
  SFFieldNode const* node;
  bool isInverted;
};

/// Moves the surfaces of the leaves of the set operations, and joins them again.
class Offsetting
{
public:
  Offsetting(SFField const& iField, SFField const& iDistance) : _root(iField), _distance(iDistance)
  {
    ListParts();
    MoveLeaves();
    Join();
  }

  SFField const& Result() const { return *_moved[NumberOf({_root.GetNode().Get(), false})]; }

private:
  static std::size_t Index(std::uint32_t iNumber, bool iIsInverted) { return 2 * std::size_t{iNumber} + iIsInverted; }
  std::size_t NumberOf(Part const& iPart) const { return Index(_numbers.Find(iPart.node), iPart.isInverted); }

  /// The parts that a set operation is made of. A symmetric difference needs both directions of both operands.
  static std::vector<Part> PartsOf(Part const& iPart)
  {
    SFNodeType const type = iPart.node->GetType();
    SFFieldNode const* const a = iPart.node->GetOperand(0).Get();
    SFFieldNode const* const b = iPart.node->GetOperand(1).Get();
    bool const inverted = iPart.isInverted;
    if (type == NOT)
      return {{a, !inverted}};
    if (type == WITHOUT)
      return {{a, inverted}, {b, !inverted}};
    if (type == SYMDIFF)
      return {{a, inverted}, {b, inverted}, {a, !inverted}, {b, !inverted}};
    return {{a, inverted}, {b, inverted}};
  }

  bool IsListed(Part const& iPart) const
  {
    auto const number = _numbers.Find(iPart.node);
    return number != SFFieldNumbers::None && _isListed[Index(number, iPart.isInverted)];
  }

  void List(Part const& iPart)
  {
    auto& number = _numbers.Place(iPart.node);
    if (number == SFFieldNumbers::None)
      number = static_cast<std::uint32_t>(_numbers.Size() - 1);
    _isListed.resize(2 * _numbers.Size());
    _isListed[Index(number, iPart.isInverted)] = true;
    (IsSetOperation(iPart.node->GetType()) ? _joins : _leaves).push_back(iPart);
  }

  /// Operands before the operations that join them.
  void ListParts()
  {
    std::vector<std::pair<Part, bool>> open{{{_root.GetNode().Get(), false}, false}};
    while (!open.empty()) {
      auto const [part, isEntered] = open.back();
      open.pop_back();
      if (IsListed(part))
        continue;
      if (isEntered || !IsSetOperation(part.node->GetType())) {
        List(part);
        continue;
      }
      open.emplace_back(part, true);
      for (Part const& below : PartsOf(part))
        if (!IsListed(below))
          open.emplace_back(below, false);
    }
    _moved.resize(2 * _numbers.Size());
  }

  void MoveLeaves()
  {
    std::vector<SFField> fields;
    for (Part const& leaf : _leaves)
      fields.emplace_back(leaf.node->Share());
    auto const facts = FactsOf(fields);
    std::vector<SFField> sloping;
    for (std::size_t i = 0; i < fields.size(); ++i)
      if (!facts[i].isDistance)
        sloping.push_back(fields[i]);
    auto const slopes = Slopes(sloping);
    std::size_t next = 0;
    for (std::size_t i = 0; i < fields.size(); ++i)
      _moved[NumberOf(_leaves[i])] =
          Moved(fields[i], facts[i], facts[i].isDistance ? SFField(1.0) : slopes[next++], _leaves[i].isInverted);
  }

  /// |grad f| for each field; 0 where it is NaN.
  static std::vector<SFField> Slopes(std::vector<SFField> const& iFields)
  {
    std::vector<SFField> slopes;
    if (iFields.empty())
      return slopes;
    SFFieldOrder const order(iFields);
    std::array<Derivation, 3> const along{Derivation(order, X), Derivation(order, Y), Derivation(order, Z)};
    for (SFField const& field : iFields) {
      auto const number = order.NumberOf(field);
      slopes.push_back(max(0.0, Length({along[0].At(number), along[1].At(number), along[2].At(number)})));
    }
    return slopes;
  }

  SFField Moved(SFField const& iLeaf, SFFieldFacts const& iFacts, SFField const& iSlope, bool iIsInverted) const
  {
    SFField const by = Product(_distance, iSlope);
    SFField const moved = iIsInverted ? iLeaf + by : iLeaf - by;
    SFFieldNode const& distance = *_distance.GetNode();
    if (!distance.IsConstant() || iFacts.isDistance || !iFacts.HasBounds() || iFacts.lipschitz == Infinity)
      return moved;
    // The slope is at most the Lipschitz bound.
    double const outwards = std::fmax(0.0, iIsInverted ? -distance.GetValue() : distance.GetValue()) * iFacts.lipschitz;
    SFFieldFacts facts;
    facts.bounds = Boxes::Grown(iFacts.bounds, outwards / iFacts.growth);
    facts.growth = iFacts.growth;
    return WithFacts(moved, facts);
  }

  void Join()
  {
    for (Part const& join : _joins) {
      std::vector<SFField> parts;
      for (Part const& part : PartsOf(join))
        parts.push_back(*_moved[NumberOf(part)]);
      _moved[NumberOf(join)] = Joined(join.node->GetType(), parts);
    }
  }

  static SFField Joined(SFNodeType iType, std::vector<SFField> const& iParts)
  {
    if (iType == NOT)
      return ~iParts[0];
    if (iType == SYMDIFF)
      return Difference(min(iParts[0], iParts[1]), max(iParts[2], iParts[3]));
    return SFField(MakeNode(iType, iParts[0].GetNode(), iParts[1].GetNode()));
  }

  SFField _root;
  SFField _distance;
  SFFieldNumbers _numbers;
  std::vector<bool> _isListed; ///< by twice the number of a node, and whether it is inverted
  std::vector<Part> _leaves;
  std::vector<Part> _joins;
  std::vector<std::optional<SFField>> _moved; ///< as _isListed
};

void RequireConstantOverSpace(SFField const& iDistance)
{
  SFFieldOrder const order(iDistance);
  for (SFFieldNode const* const node : order.Nodes())
    if (IsCoordinate(node->GetType()) || node->GetType() == RESOLVEDREF || node->GetType() == POLYGRADIENT)
      Argument::Refuse("distance", "depends on the point");
}

} // namespace

SFField3 Gradient(SFField const& iField)
{
  SFFieldOrder const order(iField);
  return {Derivation(order, X).Result(), Derivation(order, Y).Result(), Derivation(order, Z).Result()};
}

SFField Offset(SFField const& iField, SFField const& iDistance)
{
  RequireConstantOverSpace(iDistance);
  if (iDistance.GetNode()->IsConstant())
    Argument::Finite("distance", iDistance.GetNode()->GetValue());
  return Offsetting(iField, iDistance).Result();
}

SFField Offset(SFField const& iField, double iDistance) { return Offset(iField, SFField(iDistance)); }

SFField Shell(SFField const& iField, double iThickness)
{
  Argument::Finite("thickness", iThickness);
  if (iThickness == 0.0)
    Argument::Refuse("thickness", "is 0");
  return iThickness > 0.0 ? Difference(iField, Offset(iField, -iThickness))
                          : Difference(Offset(iField, -iThickness), iField);
}

} // namespace SF
