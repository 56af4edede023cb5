#pragma once

#include "SFFieldNode.h"
#include "ZULMathTransformation.h"

#include <functional>
#include <span>
#include <string_view>
#include <vector>

namespace SF {

/// What an affine mapping of space does to the facts of a field that moves along.
struct SFPlacement
{
  double lipschitz = 1.0; ///< factor of the Lipschitz bound
  double growth = 1.0;    ///< factor of the growth outside of the bounds; 0 when nothing is known
  bool isMotion = true;   ///< lengths are preserved
  ZULMathTransformation toWorld;

  SFFieldFacts operator()(SFFieldFacts iFacts) const;
  /// This placement and then another one.
  SFPlacement Then(SFPlacement const& iNext) const;
};

/// A dimension of a shape: a number, or an expression of parameters.
struct SFDimension
{
  enum class Range
  {
    Any, ///< any finite number
    NotNegative,
    Positive
  };

  std::string_view name; ///< a literal
  SFField field;
  Range range = Range::NotNegative;

  /// The number that the field is now. std::invalid_argument, with the name, when it is out of range or depends on x, y
  /// or z.
  double Value() const;
};

/// How the facts of a shape follow from its dimensions, kept where these hold parameters, so that another value of a
/// parameter is checked as the first one was and moves the bounds. Immutable; shared by the nodes that carry it.
struct SFFactsRecipe
{
  /// From the values of the dimensions, each in its range. std::invalid_argument when they do not go together.
  using Maker = std::function<SFFieldFacts(std::span<double const>)>;

  std::vector<SFDimension> dimensions;
  Maker maker;
  SFPlacement placement;

  SFFieldFacts Facts() const;
};

/// A field with the facts that a recipe gives.
SFField WithRecipe(SFField const& iField, SFFactsRecipe iRecipe);

} // namespace SF
