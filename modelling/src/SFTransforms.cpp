#include "SFTransforms.h"

#include "SFAffineImage.h"
#include "SFArgument.h"
#include "SFBoxes.h"
#include "SFElementary.h"
#include "SFFactsRecipe.h"
#include "SFSubstitution.h"
#include "ZULPI.h"

#include <cmath>

namespace SF {
namespace {

/// A transform of coordinates p' = M p + t, which carries along what is known of the solids that its inverse moves.
class AffineRemapping : public SFRemapping
{
public:
  AffineRemapping(SFAffineRows const& iToLocal, ZULMathTransformation const& iToWorld)
    : SFRemapping(AffineImage(iToLocal, Coordinates())), _placement(PlacementOf(iToLocal, iToWorld))
  {
  }

private:
  std::optional<StatedFacts> MapFacts(StatedFacts const& iOld) const override
  {
    StatedFacts moved{_placement(iOld.facts), nullptr};
    if (iOld.recipe != nullptr)
      moved.recipe = std::make_shared<SFFactsRecipe const>(
          SFFactsRecipe{iOld.recipe->dimensions, iOld.recipe->maker, iOld.recipe->placement.Then(_placement)});
    return moved;
  }

  static SFPlacement PlacementOf(SFAffineRows const& iRows, ZULMathTransformation const& iToWorld)
  {
    SFPlacement placement{0.0, 0.0, false, iToWorld};
    double sumOfSquares = 0.0;
    bool isAxisParallel = true;
    double smallest = Infinity;
    double largest = 0.0;
    for (auto const& row : iRows) {
      int terms = 0;
      double norm = 0.0;
      for (std::size_t i = 0; i < 3; ++i) {
        norm += row[i] * row[i];
        terms += row[i] != 0.0 ? 1 : 0;
      }
      isAxisParallel = isAxisParallel && terms == 1;
      sumOfSquares += norm;
      smallest = std::fmin(smallest, std::sqrt(norm));
      largest = std::fmax(largest, std::sqrt(norm));
    }
    placement.isMotion = IsOrthogonal(iRows);
    constexpr double margin = 1.0 + 1e-12; // the rounding of the coefficients
    if (placement.isMotion) {
      placement.lipschitz = margin;
      placement.growth = (isAxisParallel ? 1.0 : 1.0 / std::sqrt(3.0)) / margin;
    } else if (isAxisParallel) {
      placement.lipschitz = largest * margin;
      placement.growth = smallest / margin;
    } else {
      placement.lipschitz = std::sqrt(sumOfSquares) * margin; // the Frobenius norm
    }
    return placement;
  }

  static bool IsOrthogonal(SFAffineRows const& iRows)
  {
    constexpr double tolerance = 1e-13;
    for (std::size_t i = 0; i < 3; ++i)
      for (std::size_t j = i; j < 3; ++j) {
        double const dot = iRows[i][0] * iRows[j][0] + iRows[i][1] * iRows[j][1] + iRows[i][2] * iRows[j][2];
        if (!(std::abs(dot - (i == j ? 1.0 : 0.0)) <= tolerance))
          return false;
      }
    return true;
  }

  SFPlacement _placement;
};

ZULMathTransformation TransformationOf(SFAffineRows const& iRows)
{
  std::array<double, 12> coefficients{};
  for (std::size_t i = 0; i < 12; ++i)
    coefficients[i] = iRows[i / 4][i % 4];
  return {coefficients.data(), 12};
}

/// A rotation by Rodrigues' formula about an axis of unit length through a point.
SFAffineRows RotationRows(ZULMathVector const& iAxis, double iAngle, ZULMathPoint const& iThrough)
{
  double const c = Elementary::Cos(iAngle);
  double const s = Elementary::Sin(iAngle);
  std::array<double, 3> const a{iAxis.x, iAxis.y, iAxis.z};
  std::array<double, 3> const p{iThrough.x, iThrough.y, iThrough.z};
  std::array<std::array<double, 3>, 3> const cross{{{0.0, -a[2], a[1]}, {a[2], 0.0, -a[0]}, {-a[1], a[0], 0.0}}};
  SFAffineRows rows{};
  for (std::size_t i = 0; i < 3; ++i) {
    for (std::size_t j = 0; j < 3; ++j)
      rows[i][j] = (i == j ? c : 0.0) + s * cross[i][j] + (1.0 - c) * a[i] * a[j];
    rows[i][3] = p[i] - (rows[i][0] * p[0] + rows[i][1] * p[1] + rows[i][2] * p[2]);
  }
  return rows;
}

/// Each copy has a node of its own at least.
void RequireRoomFor(double iCopies)
{
  if (iCopies > static_cast<double>(SFField::MaxNodes))
    throw std::length_error("a field of more than " + std::to_string(SFField::MaxNodes) + " nodes");
}

} // namespace

SFField Remap(SFField const& iField, SFField const& iX, SFField const& iY, SFField const& iZ)
{
  return SFRemapping({iX, iY, iZ})(iField);
}

SFField Affine(SFField const& iField, ZULMathTransformation const& iTransformation)
{
  for (auto const& row : RowsOf(iTransformation))
    for (double const coefficient : row)
      Argument::Finite("transformation", coefficient);
  ZULMathTransformation inverse;
  if (Failed(iTransformation.ComputeInverse(inverse)))
    Argument::Refuse("transformation", "has no inverse");
  return AffineRemapping(RowsOf(inverse), iTransformation)(iField);
}

SFField Translate(SFField const& iField, ZULMathVector const& iBy)
{
  Argument::FiniteVector("by", iBy);
  SFAffineRows const toLocal{{{1.0, 0.0, 0.0, -iBy.x}, {0.0, 1.0, 0.0, -iBy.y}, {0.0, 0.0, 1.0, -iBy.z}}};
  SFAffineRows const toWorld{{{1.0, 0.0, 0.0, iBy.x}, {0.0, 1.0, 0.0, iBy.y}, {0.0, 0.0, 1.0, iBy.z}}};
  return AffineRemapping(toLocal, TransformationOf(toWorld))(iField);
}

SFField Rotate(SFField const& iField, ZULMathVector const& iAxis, double iAngle, ZULMathPoint const& iThrough)
{
  ZULMathVector const axis = Argument::Direction("axis", iAxis);
  Argument::Finite("angle", iAngle);
  Argument::FiniteVector("through", iThrough);
  return AffineRemapping(RotationRows(axis, -iAngle, iThrough),
                         TransformationOf(RotationRows(axis, iAngle, iThrough)))(iField);
}

SFField Scale(SFField const& iField, double iFactor, ZULMathPoint const& iAbout)
{
  Argument::Positive("factor", iFactor);
  Argument::FiniteVector("about", iAbout);
  double const f = 1.0 / iFactor;
  SFAffineRows const toLocal{{{f, 0.0, 0.0, iAbout.x - f * iAbout.x},
                              {0.0, f, 0.0, iAbout.y - f * iAbout.y},
                              {0.0, 0.0, f, iAbout.z - f * iAbout.z}}};
  SFAffineRows toWorld = toLocal;
  std::array<double, 3> const about{iAbout.x, iAbout.y, iAbout.z};
  for (std::size_t i = 0; i < 3; ++i) {
    toWorld[i][i] = iFactor;
    toWorld[i][3] = about[i] - iFactor * about[i];
  }
  SFField const scaled = AffineRemapping(toLocal, TransformationOf(toWorld))(iField) * iFactor;
  SFFieldFacts facts = FactsOf(iField);
  facts.lipschitz *= 1.0 + 1e-12;
  facts.isAffine = false;
  facts.constant.reset();
  if (facts.HasBounds())
    facts.bounds = Boxes::Moved(facts.bounds, TransformationOf(toWorld));
  return WithFacts(scaled, facts);
}

SFField Stretch(SFField const& iField, ZULMathVector const& iFactors)
{
  Argument::Positive("factors", iFactors.x);
  Argument::Positive("factors", iFactors.y);
  Argument::Positive("factors", iFactors.z);
  SFAffineRows const toLocal{
      {{1.0 / iFactors.x, 0.0, 0.0, 0.0}, {0.0, 1.0 / iFactors.y, 0.0, 0.0}, {0.0, 0.0, 1.0 / iFactors.z, 0.0}}};
  SFAffineRows const toWorld{{{iFactors.x, 0.0, 0.0, 0.0}, {0.0, iFactors.y, 0.0, 0.0}, {0.0, 0.0, iFactors.z, 0.0}}};
  double const smallest = std::fmin(iFactors.x, std::fmin(iFactors.y, iFactors.z));
  return AffineRemapping(toLocal, TransformationOf(toWorld))(iField) * smallest;
}

SFField Mirror(SFField const& iField, ZULMathVector const& iNormal, ZULMathPoint const& iThrough)
{
  ZULMathVector const n = Argument::Direction("normal", iNormal);
  Argument::FiniteVector("through", iThrough);
  std::array<double, 3> const a{n.x, n.y, n.z};
  double const twice = 2.0 * (n.x * iThrough.x + n.y * iThrough.y + n.z * iThrough.z);
  SFAffineRows rows{};
  for (std::size_t i = 0; i < 3; ++i) {
    for (std::size_t j = 0; j < 3; ++j)
      rows[i][j] = (i == j ? 1.0 : 0.0) - 2.0 * a[i] * a[j];
    rows[i][3] = twice * a[i];
  }
  return AffineRemapping(rows, TransformationOf(rows))(iField);
}

SFField Twist(SFField const& iField, double iRate)
{
  Argument::Finite("rate", iRate);
  SFField const x = SFField::X();
  SFField const y = SFField::Y();
  SFField const angle = iRate * SFField::Z();
  SFField const c = cos(angle);
  SFField const s = sin(angle);
  return Remap(iField, c * x + s * y, c * y - s * x, SFField::Z());
}

SFField Revolve(SFField const& iProfile)
{
  return Remap(iProfile, Length({SFField::X(), SFField::Y()}), 0.0, SFField::Z());
}

SFField Extrude(SFField const& iProfile, double iHeight)
{
  Argument::Positive("height", iHeight);
  SFField const half = iHeight / 2.0;
  SFField const flat = Remap(iProfile, SFField::X(), SFField::Y(), 0.0);
  return Intersection(flat, abs(SFField::Z() - half) - half);
}

SFField ToCylindrical(SFField const& iField)
{
  SFField const x = SFField::X();
  SFField const y = SFField::Y();
  return Remap(iField, Length({x, y}), Angle(y, x), SFField::Z());
}

SFField Array(SFField const& iField, std::array<unsigned int, 3> const& iCounts, ZULMathVector const& iSpacing)
{
  Argument::FiniteVector("spacing", iSpacing);
  double total = 1.0;
  for (unsigned int const count : iCounts) {
    if (count == 0)
      Argument::Refuse("counts", "holds a 0");
    total *= count;
  }
  RequireRoomFor(total);
  std::vector<SFField> copies;
  for (unsigned int k = 0; k < iCounts[2]; ++k)
    for (unsigned int j = 0; j < iCounts[1]; ++j)
      for (unsigned int i = 0; i < iCounts[0]; ++i)
        copies.push_back(Translate(iField, {i * iSpacing.x, j * iSpacing.y, k * iSpacing.z}));
  return Union(copies);
}

SFField PolarArray(SFField const& iField, unsigned int iCount)
{
  if (iCount == 0)
    Argument::Refuse("count", "is 0");
  RequireRoomFor(iCount);
  std::vector<SFField> copies;
  for (unsigned int i = 0; i < iCount; ++i)
    copies.push_back(Rotate(iField, {0.0, 0.0, 1.0}, 2.0 * ZULPI * i / iCount));
  return Union(copies);
}

} // namespace SF
