#include "SFAffineForms.h"
#include "SFBoxes.h"
#include "SFFieldWalk.h"
#include "SFOperators.h"

#include <algorithm>
#include <cmath>

namespace SF {
namespace {

/// What follows for an operator from the facts of its operands. The table gives the facts of nodes below.
template <class Table>
class Rule
{
public:
  Rule(SFFieldNode const& iNode, Table const& iTable)
    : _node(iNode), _table(iTable), _a(iTable(iNode.GetOperand(0).Get())), _b(iTable(iNode.GetOperand(1).Get()))
  {
  }

  SFFieldFacts Facts() const
  {
    SFFieldFacts facts = ByKind();
    facts.constant = Constant();
    return facts;
  }

private:
  std::optional<double> Constant() const
  {
    if (_node.IsConstant() || _node.GetType() == SFNodeType::PARAMETER)
      return _node.GetValue();
    int const count = IsOperator(_node.GetType()) ? _node.GetOperandCount() : 0;
    if (count == 0 || !_a.constant || (count == 2 && !_b.constant))
      return std::nullopt;
    return ApplyOperator(_node.GetType(), *_a.constant, count == 2 ? *_b.constant : 0.0);
  }

  SFFieldFacts ByKind() const
  {
    using enum SFNodeType;
    switch (_node.GetType()) {
    case X:
      return AffineFacts({1.0, 0.0, 0.0, 0.0});
    case Y:
      return AffineFacts({0.0, 1.0, 0.0, 0.0});
    case Z:
      return AffineFacts({0.0, 0.0, 1.0, 0.0});
    case CONSTANT:
      return AffineFacts({0.0, 0.0, 0.0, _node.GetValue()});
    case PARAMETER:
      return Flat();
    case PLUS:
      return Sum(false);
    case MINUS:
      return Sum(true);
    case MULT:
    case DIV:
      return Scaled();
    case MIN:
    case SYMDIFF:
      return Joined();
    case MAX:
      return Common();
    case WITHOUT:
      return Without();
    case NOT:
      return Monotone(false);
    case ABS:
      return Monotone(true);
    case ROOT:
      return Norm();
    default:
      return Other();
    }
  }

  static SFFieldFacts Flat()
  {
    SFFieldFacts facts;
    facts.lipschitz = 0.0;
    return facts;
  }

  static SFFieldFacts AffineFacts(AffineForms::Form const& iForm)
  {
    SFFieldFacts facts;
    double const square = iForm[0] * iForm[0] + iForm[1] * iForm[1] + iForm[2] * iForm[2];
    facts.isAffine = std::isfinite(square) && std::isfinite(iForm[3]);
    facts.form = iForm;
    facts.lipschitz = facts.isAffine ? std::sqrt(square) * AffineForms::Margin : Infinity;
    facts.isDistance = std::abs(square - 1.0) <= AffineForms::Tolerance;
    return facts;
  }

  /// A field plus or minus a constant moves its surface; other sums only add up their slopes.
  SFFieldFacts Sum(bool iMinus) const
  {
    if (_a.isAffine && _b.isAffine)
      return AffineFacts(AffineForms::Sum(_a.form, iMinus ? -1.0 : 1.0, _b.form));
    if (_b.constant)
      return Shifted(_a, iMinus ? *_b.constant : -*_b.constant);
    if (_a.constant && !iMinus)
      return Shifted(_b, -*_a.constant);
    SFFieldFacts facts;
    facts.lipschitz = _a.lipschitz + _b.lipschitz;
    facts.isDistance = (_a.isDistance && _b.lipschitz == 0.0) || (_b.isDistance && _a.lipschitz == 0.0);
    return facts;
  }

  static SFFieldFacts Shifted(SFFieldFacts iFacts, double iOutwards)
  {
    if (!std::isfinite(iOutwards))
      return {};
    iFacts.isAffine = false;
    if (iFacts.HasBounds() && iOutwards > 0.0)
      iFacts.bounds = Boxes::Grown(iFacts.bounds, iOutwards / iFacts.growth);
    return iFacts;
  }

  SFFieldFacts Scaled() const
  {
    bool const isQuotient = _node.GetType() == SFNodeType::DIV;
    bool const isRight = _b.constant.has_value();
    if (!isRight && (isQuotient || !_a.constant))
      return Other();
    double const constant = isRight ? *_b.constant : *_a.constant;
    double const factor = isQuotient ? 1.0 / constant : constant;
    if (!std::isfinite(factor))
      return {};
    SFFieldFacts facts = isRight ? _a : _b;
    bool const isNumber = _node.GetOperand(isRight ? 1 : 0)->IsConstant();
    if (facts.isAffine && isNumber)
      return AffineFacts(AffineForms::Sum({}, factor, facts.form));
    facts.lipschitz = factor == 0.0 ? 0.0 : facts.lipschitz * std::abs(factor);
    facts.growth = std::fmax(0.0, facts.growth * factor);
    facts.isAffine = false;
    facts.isDistance = facts.isDistance && isNumber && std::abs(factor) == 1.0;
    return facts;
  }

  SFFieldFacts Slopes() const
  {
    SFFieldFacts facts;
    facts.lipschitz = std::fmax(_a.lipschitz, _b.lipschitz);
    facts.isDistance = _a.isDistance && _b.isDistance;
    return facts;
  }

  SFFieldFacts Joined() const
  {
    SFFieldFacts facts = Slopes();
    if (_a.HasBounds() && _b.HasBounds()) {
      facts.bounds = Boxes::Hull(_a.bounds, _b.bounds);
      facts.growth = std::fmin(_a.growth, _b.growth);
    }
    return facts;
  }

  /// Distances in the maximum norm from a common part are the larger of those from the two boxes, where these meet.
  SFFieldFacts Common() const
  {
    SFFieldFacts facts = Slopes();
    if (_a.HasBounds() && _b.HasBounds() && Meet()) {
      facts.bounds = Boxes::Common(_a.bounds, _b.bounds);
      facts.growth = std::fmin(_a.growth, _b.growth);
    } else if (_a.HasBounds() || _b.HasBounds()) {
      SFFieldFacts const& bounded = _a.HasBounds() ? _a : _b;
      facts.bounds = bounded.bounds;
      facts.growth = bounded.growth;
    }
    return facts;
  }

  bool Meet() const
  {
    auto const a = Boxes::EndsOf(_a.bounds);
    auto const b = Boxes::EndsOf(_b.bounds);
    for (std::size_t axis = 0; axis < 3; ++axis)
      if (a[axis][0] > b[axis][1] || b[axis][0] > a[axis][1])
        return false;
    return true;
  }

  SFFieldFacts Without() const
  {
    SFFieldFacts facts = Slopes();
    facts.bounds = _a.bounds;
    facts.growth = _a.growth;
    return facts;
  }

  SFFieldFacts Monotone(bool iKeepsBounds) const
  {
    if (_a.isAffine && !iKeepsBounds)
      return AffineFacts(AffineForms::Sum({}, -1.0, _a.form));
    SFFieldFacts facts = _a;
    facts.isAffine = false;
    if (!iKeepsBounds)
      facts.growth = 0.0;
    return facts;
  }

  /// The root of a sum of squares: the length of a vector of fields. Where these are affine, that is a distance in
  /// stretched space.
  SFFieldFacts Norm() const
  {
    std::vector<SFFieldNode const*> terms;
    if (!AffineForms::CollectSquares(*_node.GetOperand(0), terms))
      return Other();
    std::vector<AffineForms::Form> forms;
    double sumOfSquares = 0.0;
    for (SFFieldNode const* const term : terms) {
      SFFieldFacts const& facts = _table(term);
      sumOfSquares += facts.lipschitz * facts.lipschitz;
      if (facts.isAffine)
        forms.push_back(facts.form);
    }
    SFFieldFacts facts;
    if (forms.size() == terms.size())
      facts = AffineForms::NormFacts(forms);
    else if (std::isfinite(sumOfSquares))
      facts.lipschitz = std::sqrt(sumOfSquares) * AffineForms::Margin;
    return facts;
  }

  SFFieldFacts Other() const
  {
    using enum SFNodeType;
    SFFieldFacts facts;
    SFNodeType const type = _node.GetType();
    bool const isFlat = _a.lipschitz == 0.0 && (_node.GetOperandCount() < 2 || _b.lipschitz == 0.0);
    if (isFlat && IsOperator(type))
      facts.lipschitz = 0.0;
    else if (type == SIN || type == COS || type == ATAN)
      facts.lipschitz = _a.lipschitz;
    return facts;
  }

  SFFieldNode const& _node;
  Table const& _table;
  SFFieldFacts const& _a;
  SFFieldFacts const& _b;
};

/// The nodes that facts are computed for, operands first: nothing below a node whose facts are stated.
class Unstated
{
public:
  void Add(SFFieldNode const& iRoot)
  {
    std::vector<std::pair<SFFieldNode const*, int>> frames{{&iRoot, 0}};
    while (!frames.empty()) {
      auto& [node, next] = frames.back();
      int const count = node->GetFacts() != nullptr ? 0 : node->GetOperandCount();
      if (next < count) {
        SFFieldNode const* const operand = node->GetOperand(next++).Get();
        if (numbers.Find(operand) == SFFieldNumbers::None)
          frames.emplace_back(operand, 0);
        continue;
      }
      auto& number = numbers.Place(node);
      if (number == SFFieldNumbers::None) {
        number = static_cast<std::uint32_t>(order.size());
        order.push_back(node);
      }
      frames.pop_back();
    }
  }

  std::vector<SFFieldNode const*> order;
  SFFieldNumbers numbers;
};

} // namespace

std::vector<SFFieldFacts> FactsOf(std::span<SFField const> iFields)
{
  Unstated unstated;
  for (SFField const& field : iFields)
    unstated.Add(*field.GetNode());
  std::vector<SFFieldFacts> facts(unstated.order.size());
  SFFieldFacts const none;
  auto const table = [&](SFFieldNode const* iNode) -> SFFieldFacts const& {
    return iNode == nullptr ? none : facts[unstated.numbers.Find(iNode)];
  };
  for (std::size_t i = 0; i < facts.size(); ++i) {
    SFFieldNode const& node = *unstated.order[i];
    facts[i] = node.GetFacts() != nullptr ? *node.GetFacts() : Rule(node, table).Facts();
  }
  std::vector<SFFieldFacts> results;
  for (SFField const& field : iFields)
    results.push_back(facts[unstated.numbers.Find(field.GetNode().Get())]);
  return results;
}

SFFieldFacts FactsOf(SFField const& iField) { return FactsOf(std::span(&iField, 1)).front(); }

std::optional<double> ConstantValue(SFField const& iField)
{
  SFFieldNode const& node = *iField.GetNode();
  return node.IsConstant() ? node.GetValue() : FactsOf(iField).constant;
}

double SFField::LipschitzBound() const { return FactsOf(*this).lipschitz; }

} // namespace SF
