#include "SFBoxes.h"
#include "SFFieldWalk.h"

#include <algorithm>
#include <cmath>

namespace SF {
namespace {

/// What follows for an operator from the facts of its operands.
class Rule
{
public:
  Rule(SFFieldNode const& iNode, SFFieldFacts const& iA, SFFieldFacts const& iB) : _node(iNode), _a(iA), _b(iB) {}

  SFFieldFacts Facts() const
  {
    using enum SFNodeType;
    switch (_node.GetType()) {
    case X:
    case Y:
    case Z:
      return {.lipschitz = 1.0, .growth = 0.0, .bounds = {}, .isDistance = true};
    case CONSTANT:
    case PARAMETER:
      return Constant();
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
    default:
      return Other();
    }
  }

private:
  static SFFieldFacts Constant() { return {.lipschitz = 0.0, .growth = 0.0, .bounds = {}, .isDistance = false}; }

  /// A field plus or minus a constant moves its surface; other sums only add up their slopes.
  SFFieldFacts Sum(bool iMinus) const
  {
    SFFieldNode const& lhs = *_node.GetOperand(0);
    SFFieldNode const& rhs = *_node.GetOperand(1);
    if (rhs.IsConstant())
      return Shifted(_a, iMinus ? rhs.GetValue() : -rhs.GetValue());
    if (lhs.IsConstant() && !iMinus)
      return Shifted(_b, -lhs.GetValue());
    SFFieldFacts facts;
    facts.lipschitz = _a.lipschitz + _b.lipschitz;
    facts.isDistance = (_a.isDistance && _b.lipschitz == 0.0) || (_b.isDistance && _a.lipschitz == 0.0);
    return facts;
  }

  static SFFieldFacts Shifted(SFFieldFacts iFacts, double iOutwards)
  {
    if (!std::isfinite(iOutwards))
      return {};
    if (iFacts.HasBounds() && iOutwards > 0.0)
      iFacts.bounds = Boxes::Grown(iFacts.bounds, iOutwards / iFacts.growth);
    return iFacts;
  }

  SFFieldFacts Scaled() const
  {
    bool const isQuotient = _node.GetType() == SFNodeType::DIV;
    bool const isRight = _node.GetOperand(1)->IsConstant();
    if (!isRight && (isQuotient || !_node.GetOperand(0)->IsConstant()))
      return Other();
    double const constant = _node.GetOperand(isRight ? 1 : 0)->GetValue();
    double const factor = isQuotient ? 1.0 / constant : constant;
    if (!std::isfinite(factor))
      return {};
    SFFieldFacts facts = isRight ? _a : _b;
    facts.lipschitz = factor == 0.0 ? 0.0 : facts.lipschitz * std::abs(factor);
    facts.growth = std::fmax(0.0, facts.growth * factor);
    facts.isDistance = facts.isDistance && std::abs(factor) == 1.0;
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
    SFFieldFacts facts = _a;
    if (!iKeepsBounds)
      facts.growth = 0.0;
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
  SFFieldFacts const& _a;
  SFFieldFacts const& _b;
};

/// The nodes below which facts are asked for: nothing below a node whose facts are stated.
std::vector<SFFieldNode const*> UnstatedNodes(SFFieldNode const& iRoot, SFFieldNumbers& oNumbers)
{
  std::vector<SFFieldNode const*> order;
  std::vector<std::pair<SFFieldNode const*, int>> frames{{&iRoot, 0}};
  while (!frames.empty()) {
    auto& [node, next] = frames.back();
    int const count = node->GetFacts() != nullptr ? 0 : node->GetOperandCount();
    if (next < count) {
      SFFieldNode const* const operand = node->GetOperand(next++).Get();
      if (oNumbers.Find(operand) == SFFieldNumbers::None)
        frames.emplace_back(operand, 0);
      continue;
    }
    auto& number = oNumbers.Place(node);
    if (number == SFFieldNumbers::None) {
      number = static_cast<std::uint32_t>(order.size());
      order.push_back(node);
    }
    frames.pop_back();
  }
  return order;
}

} // namespace

SFFieldFacts FactsOf(SFField const& iField)
{
  SFFieldNumbers numbers;
  auto const order = UnstatedNodes(*iField.GetNode(), numbers);
  std::vector<SFFieldFacts> facts(order.size());
  SFFieldFacts const none;
  for (std::size_t i = 0; i < order.size(); ++i) {
    SFFieldNode const& node = *order[i];
    if (node.GetFacts() != nullptr) {
      facts[i] = *node.GetFacts();
      continue;
    }
    auto const operand = [&](int iNumber) -> SFFieldFacts const& {
      auto const* const below = node.GetOperand(iNumber).Get();
      return below == nullptr ? none : facts[numbers.Find(below)];
    };
    facts[i] = Rule(node, operand(0), operand(1)).Facts();
  }
  return facts.back();
}

double SFField::LipschitzBound() const { return FactsOf(*this).lipschitz; }

} // namespace SF
