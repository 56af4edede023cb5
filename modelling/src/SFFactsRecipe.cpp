#include "SFFactsRecipe.h"

#include "SFArgument.h"
#include "SFBoxes.h"

#include <algorithm>

namespace SF {
namespace {

ZULMathTransformation Composed(ZULMathTransformation const& iFirst, ZULMathTransformation const& iNext)
{
  std::array<double, 12> a{};
  std::array<double, 12> b{};
  iFirst.GetCoef(a.data(), a.size());
  iNext.GetCoef(b.data(), b.size());
  std::array<double, 12> product{};
  for (std::size_t row = 0; row < 3; ++row)
    for (std::size_t column = 0; column < 4; ++column) {
      double sum = column == 3 ? b[4 * row + 3] : 0.0;
      for (std::size_t k = 0; k < 3; ++k)
        sum += b[4 * row + k] * a[4 * k + column];
      product[4 * row + column] = sum;
    }
  return {product.data(), product.size()};
}

} // namespace

SFFieldFacts SFPlacement::operator()(SFFieldFacts iFacts) const
{
  iFacts.lipschitz *= lipschitz;
  iFacts.isDistance = iFacts.isDistance && isMotion;
  iFacts.isAffine = false;
  iFacts.growth *= growth;
  if (iFacts.HasBounds())
    iFacts.bounds = Boxes::Moved(iFacts.bounds, toWorld);
  return iFacts;
}

SFPlacement SFPlacement::Then(SFPlacement const& iNext) const
{
  return {lipschitz * iNext.lipschitz, growth * iNext.growth, isMotion && iNext.isMotion,
          Composed(toWorld, iNext.toWorld)};
}

double SFDimension::Value() const
{
  std::optional<double> const value = ConstantValue(field);
  if (!value)
    Argument::Refuse(name, "depends on x, y or z");
  switch (range) {
  case Range::Any:
    return Argument::Finite(name, *value);
  case Range::NotNegative:
    return Argument::NotNegative(name, *value);
  case Range::Positive:
    break;
  }
  return Argument::Positive(name, *value);
}

SFFieldFacts SFFactsRecipe::Facts() const
{
  std::vector<double> values;
  for (SFDimension const& dimension : dimensions)
    values.push_back(dimension.Value());
  return placement(maker(values));
}

SFField WithRecipe(SFField const& iField, SFFactsRecipe iRecipe)
{
  SFFieldFacts const facts = iRecipe.Facts();
  bool const isFixed = std::all_of(iRecipe.dimensions.begin(), iRecipe.dimensions.end(),
                                   [](SFDimension const& d) { return d.field.GetNode()->IsConstant(); });
  return WithFacts(iField, facts, isFixed ? nullptr : std::make_shared<SFFactsRecipe const>(std::move(iRecipe)));
}

} // namespace SF
