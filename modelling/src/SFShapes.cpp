#include "SFShapes.h"

#include "SFAffineImage.h"
#include "SFArgument.h"
#include "SFShapeParts.h"

#include <algorithm>
#include <cmath>

namespace SF {
namespace ShapeParts {

SFField RightAngled(std::span<SFField const> iDistances)
{
  std::vector<SFField> outside;
  for (SFField const& distance : iDistances)
    outside.push_back(max(distance, 0.0));
  return min(Intersection(iDistances), 0.0) + Length(outside);
}

} // namespace ShapeParts

namespace {

using ShapeParts::DistanceFacts;
using ShapeParts::RightAngled;
using Range = SFDimension::Range;
using Values = std::span<double const>;

SFField const& AlongZ()
{
  static SFField const distance = abs(SFField::Z());
  return distance;
}

SFField FromAxis() { return Length({SFField::X(), SFField::Y()}); }

/// The distance from a block with the given half edges.
SFField BlockDistance(SFField3 const& iHalf)
{
  return RightAngled({abs(SFField::X()) - iHalf[0], abs(SFField::Y()) - iHalf[1], AlongZ() - iHalf[2]});
}

std::vector<SFDimension> Components(std::string_view iName, SFField3 const& iVector, Range iRange)
{
  return {{iName, iVector[0], iRange}, {iName, iVector[1], iRange}, {iName, iVector[2], iRange}};
}

} // namespace

SFField Sphere(SFField const& iRadius)
{
  SFField const distance = Length({SFField::X(), SFField::Y(), SFField::Z()}) - iRadius;
  return WithRecipe(distance, {{{"radius", iRadius}}, [](Values d) { return DistanceFacts({d[0], d[0], d[0]}); }, {}});
}

SFField Box(SFField3 const& iSize)
{
  SFField const distance = BlockDistance({iSize[0] / 2.0, iSize[1] / 2.0, iSize[2] / 2.0});
  return WithRecipe(distance, {Components("size", iSize, Range::NotNegative),
                               [](Values d) {
                                 return DistanceFacts({d[0] / 2.0, d[1] / 2.0, d[2] / 2.0});
                               },
                               {}});
}

SFField RoundedBox(SFField3 const& iSize, SFField const& iRadius)
{
  SFField3 half;
  for (std::size_t i = 0; i < 3; ++i)
    half[i] = iSize[i] / 2.0 - iRadius;
  auto dimensions = Components("size", iSize, Range::NotNegative);
  dimensions.push_back({"radius", iRadius});
  auto const facts = [](Values d) {
    if (2.0 * d[3] > std::min({d[0], d[1], d[2]}))
      Argument::Refuse("radius", "more than half an edge");
    return DistanceFacts({d[0] / 2.0, d[1] / 2.0, d[2] / 2.0});
  };
  return WithRecipe(BlockDistance(half) - iRadius, {std::move(dimensions), facts, {}});
}

SFField Cylinder(SFField const& iRadius, SFField const& iHeight)
{
  SFField const distance = RightAngled({FromAxis() - iRadius, AlongZ() - iHeight / 2.0});
  return WithRecipe(distance, {{{"radius", iRadius}, {"height", iHeight}},
                               [](Values d) {
                                 return DistanceFacts({d[0], d[0], d[1] / 2.0});
                               },
                               {}});
}

SFField Capsule(SFField3 const& iFrom, SFField3 const& iTo, SFField const& iRadius)
{
  SFField3 const point{SFField::X(), SFField::Y(), SFField::Z()};
  SFField3 along;
  SFField3 from;
  SFField product = 0.0;
  SFField square = std::numeric_limits<double>::min(); // two points that are one make a sphere
  for (std::size_t i = 0; i < 3; ++i) {
    along[i] = iTo[i] - iFrom[i];
    from[i] = point[i] - iFrom[i];
    product += from[i] * along[i];
    square += along[i] * along[i];
  }
  SFField const part = max(min(product / square, 1.0), 0.0);
  SFField const distance =
      Length({from[0] - part * along[0], from[1] - part * along[1], from[2] - part * along[2]}) - iRadius;
  auto dimensions = Components("from", iFrom, Range::Any);
  for (SFDimension const& end : Components("to", iTo, Range::Any))
    dimensions.push_back(end);
  dimensions.push_back({"radius", iRadius});
  auto const facts = [](Values d) {
    auto axis = DistanceFacts({});
    axis.bounds = Boxes::Grown(
        Boxes::Hull({{d[0], d[1], d[2]}, {d[0], d[1], d[2]}}, {{d[3], d[4], d[5]}, {d[3], d[4], d[5]}}), d[6]);
    return axis;
  };
  return WithRecipe(distance, {std::move(dimensions), facts, {}});
}

SFField Cone(SFField const& iRadius, SFField const& iHeight, SFField const& iTopRadius)
{
  SFField const half = iHeight / 2.0;
  SFField const fromAxis = FromAxis();
  SFField const below = SFField::Z() + half;
  // The side runs upwards from the rim of the lower end; along it, and perpendicular to it outwards.
  SFField const inwards = iRadius - iTopRadius;
  SFField const length = Length({inwards, iHeight});
  SFField const fromRim = fromAxis - iRadius;
  SFField const side = (fromRim * iHeight + below * inwards) / length;
  SFField const along = (below * iHeight - fromRim * inwards) / length;
  SFField const beyond = max(abs(along - length / 2.0) - length / 2.0, 0.0);
  SFField const inside = max(AlongZ() - half, side);
  SFField const lower = square(max(fromRim, 0.0)) + square(below);
  SFField const upper = square(max(fromAxis - iTopRadius, 0.0)) + square(SFField::Z() - half);
  SFField const outside = sqrt(Union({square(side) + square(beyond), lower, upper}));
  SFField const distance = min(inside, 0.0) + max(sign(inside), 0.0) * outside;
  return WithRecipe(distance, {{{"radius", iRadius}, {"height", iHeight, Range::Positive}, {"topRadius", iTopRadius}},
                               [](Values d) {
                                 double const radius = std::max(d[0], d[2]);
                                 return DistanceFacts({radius, radius, d[1] / 2.0});
                               },
                               {}});
}

SFField Torus(SFField const& iRadius, SFField const& iTubeRadius)
{
  SFField const distance = Length({FromAxis() - iRadius, SFField::Z()}) - iTubeRadius;
  auto const facts = [](Values d) {
    if (d[1] > d[0])
      Argument::Refuse("tubeRadius", "more than the radius");
    return DistanceFacts({d[0] + d[1], d[0] + d[1], d[1]});
  };
  return WithRecipe(distance, {{{"radius", iRadius}, {"tubeRadius", iTubeRadius}}, facts, {}});
}

SFField Ellipsoid(SFField3 const& iRadii)
{
  SFField const stretched = Length({SFField::X() / iRadii[0], SFField::Y() / iRadii[1], SFField::Z() / iRadii[2]});
  SFField const bound = (stretched - 1.0) * min(min(iRadii[0], iRadii[1]), iRadii[2]);
  auto const facts = [](Values d) {
    auto ellipsoid = DistanceFacts({d[0], d[1], d[2]});
    ellipsoid.isDistance = false;
    ellipsoid.growth = std::min({d[0], d[1], d[2]}) / std::max({d[0], d[1], d[2]});
    return ellipsoid;
  };
  return WithRecipe(bound, {Components("radii", iRadii, Range::Positive), facts, {}});
}

SFField HalfSpace(ZULMathVector const& iNormal, SFField const& iOffset)
{
  ZULMathVector const n = Argument::Direction("normal", iNormal);
  return WithRecipe(
      AffineForm({n.x, n.y, n.z, 0.0}, Coordinates()) - iOffset,
      {{{"offset", iOffset, Range::Any}}, [](Values) { return ShapeParts::UnboundedDistanceFacts(); }, {}});
}

} // namespace SF
