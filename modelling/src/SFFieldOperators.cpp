#include "SFBoxes.h"
#include "SFFieldNode.h"

#include "ZULPI.h"

#include <cmath>
#include <stdexcept>
#include <utility>

namespace SF {
namespace {

SFField Of(SFNodeType iType, SFField const& iA) { return SFField(MakeNode(iType, iA.GetNode())); }
SFField Of(SFNodeType iType, SFField const& iA, SFField const& iB)
{
  return SFField(MakeNode(iType, iA.GetNode(), iB.GetNode()));
}

/// Joins a list pairwise, so that its depth is the logarithm of its length.
template <class Join>
SFField Balanced(std::span<SFField const> iFields, Join iJoin)
{
  if (iFields.empty())
    throw std::invalid_argument("fields: an empty list");
  std::vector<SFField> level(iFields.begin(), iFields.end());
  while (level.size() > 1) {
    std::size_t count = 0;
    for (std::size_t i = 0; i < level.size(); i += 2)
      level[count++] = i + 1 < level.size() ? iJoin(level[i], level[i + 1]) : level[i];
    level.resize(count);
  }
  return level.front();
}

/// The gradient of a smooth union lies between those of its operands, and its value at most `iDepth` below the sharp one.
SFFieldFacts SmoothFacts(SFField const& iSharp, double iDepth)
{
  SFFieldFacts facts = FactsOf(iSharp);
  facts.isDistance = false;
  if (facts.HasBounds())
    facts.bounds = Boxes::Grown(facts.bounds, iDepth / facts.growth);
  return facts;
}

} // namespace

SFField operator+(SFField const& iA, SFField const& iB) { return Of(SFNodeType::PLUS, iA, iB); }
SFField operator-(SFField const& iA, SFField const& iB) { return Of(SFNodeType::MINUS, iA, iB); }
SFField operator*(SFField const& iA, SFField const& iB) { return Of(SFNodeType::MULT, iA, iB); }
SFField operator/(SFField const& iA, SFField const& iB) { return Of(SFNodeType::DIV, iA, iB); }
SFField operator-(SFField const& iA) { return Of(SFNodeType::NOT, iA); }

SFField square(SFField const& iA) { return Of(SFNodeType::SQUARE, iA); }
SFField sqrt(SFField const& iA) { return Of(SFNodeType::ROOT, iA); }
SFField abs(SFField const& iA) { return Of(SFNodeType::ABS, iA); }
SFField sin(SFField const& iA) { return Of(SFNodeType::SIN, iA); }
SFField cos(SFField const& iA) { return Of(SFNodeType::COS, iA); }
SFField tan(SFField const& iA) { return Of(SFNodeType::TAN, iA); }
SFField asin(SFField const& iA) { return Of(SFNodeType::ASIN, iA); }
SFField acos(SFField const& iA) { return Of(SFNodeType::ACOS, iA); }
SFField atan(SFField const& iA) { return Of(SFNodeType::ATAN, iA); }
SFField exp(SFField const& iA) { return Of(SFNodeType::EXP, iA); }
SFField log(SFField const& iA) { return Of(SFNodeType::LN, iA); }
SFField pow(SFField const& iA, SFField const& iB)
{
  // A square has bounds over negative numbers too, and costs less.
  return iB.GetNode()->IsConstant(2.0) ? square(iA) : Of(SFNodeType::POW, iA, iB);
}
SFField sign(SFField const& iA) { return Of(SFNodeType::SIGN, iA); }
SFField min(SFField const& iA, SFField const& iB) { return Of(SFNodeType::MIN, iA, iB); }
SFField max(SFField const& iA, SFField const& iB) { return Of(SFNodeType::MAX, iA, iB); }

SFField Angle(SFField const& iY, SFField const& iX)
{
  // The angle in the first quadrant, then mirrored where x <= 0 and where y <= 0: exact at the axes, and no quotient of
  // zeros on the axis of the cylinder.
  constexpr double smallest = std::numeric_limits<double>::min();
  SFField const first = atan(abs(iY) / max(abs(iX), smallest));
  SFField const upper = ZULPI / 2.0 - sign(iX) * (ZULPI / 2.0 - first);
  return ZULPI - sign(iY) * (ZULPI - upper);
}

SFField Length(std::span<SFField const> iComponents)
{
  if (iComponents.empty())
    throw std::invalid_argument("components: an empty list");
  SFField sum = square(iComponents.front());
  for (SFField const& component : iComponents.subspan(1))
    sum += square(component);
  return sqrt(sum);
}

SFField Union(SFField const& iA, SFField const& iB) { return min(iA, iB); }
SFField Union(std::span<SFField const> iFields)
{
  return Balanced(iFields, [](SFField const& iA, SFField const& iB) { return min(iA, iB); });
}
SFField Intersection(SFField const& iA, SFField const& iB) { return max(iA, iB); }
SFField Intersection(std::span<SFField const> iFields)
{
  return Balanced(iFields, [](SFField const& iA, SFField const& iB) { return max(iA, iB); });
}
SFField Difference(SFField const& iA, SFField const& iB) { return Of(SFNodeType::WITHOUT, iA, iB); }
SFField SymmetricDifference(SFField const& iA, SFField const& iB) { return Of(SFNodeType::SYMDIFF, iA, iB); }
SFField Complement(SFField const& iA) { return Of(SFNodeType::NOT, iA); }

SFField SmoothUnion(SFField const& iA, SFField const& iB, double iRadius)
{
  if (!(iRadius >= 0.0) || iRadius == Infinity)
    throw std::invalid_argument("radius: " + std::to_string(iRadius) + " is not a finite number of at least 0");
  SFField const sharp = min(iA, iB);
  if (iRadius == 0.0)
    return sharp;
  SFField const h = max(0.0, 1.0 - abs(iA - iB) / iRadius);
  SFField const smooth = sharp - square(h) * (iRadius / 4.0);
  SFFieldFacts const facts = SmoothFacts(sharp, iRadius / 4.0);
  return facts.constant ? smooth : WithFacts(smooth, facts); // a number is known from its operands
}

SFField SmoothUnion(std::span<SFField const> iFields, double iRadius)
{
  return Balanced(iFields, [=](SFField const& iA, SFField const& iB) { return SmoothUnion(iA, iB, iRadius); });
}

SFField SmoothIntersection(SFField const& iA, SFField const& iB, double iRadius)
{
  return ~SmoothUnion(~iA, ~iB, iRadius);
}

SFField SmoothDifference(SFField const& iA, SFField const& iB, double iRadius)
{
  return SmoothIntersection(iA, ~iB, iRadius);
}

} // namespace SF
