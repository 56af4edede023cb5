#pragma once

#include "SFBoxes.h"
#include "SFFactsRecipe.h"

#include <array>

/// What shapes have in common.
namespace SF::ShapeParts {

/// The facts of an exact distance from a solid in a box around the origin.
inline SFFieldFacts DistanceFacts(std::array<double, 3> const& iHalf)
{
  SFFieldFacts facts;
  facts.lipschitz = 1.0;
  facts.growth = 1.0; // no Euclidean distance is below that in the maximum norm
  facts.bounds =
      Boxes::Grown(Boxes::BoxOf({{{-iHalf[0], iHalf[0]}, {-iHalf[1], iHalf[1]}, {-iHalf[2], iHalf[2]}}}), 0.0);
  facts.isDistance = true;
  return facts;
}

/// An exact distance without bounds.
inline SFFieldFacts UnboundedDistanceFacts()
{
  SFFieldFacts facts;
  facts.lipschitz = 1.0;
  facts.isDistance = true;
  return facts;
}

/// The exact distance from the common part of solids whose surfaces are perpendicular where they meet, from the exact
/// distances of each.
SFField RightAngled(std::span<SFField const> iDistances);
inline SFField RightAngled(std::initializer_list<SFField> iDistances)
{
  return RightAngled(std::span<SFField const>(iDistances.begin(), iDistances.size()));
}

} // namespace SF::ShapeParts
