#include "SFArgument.h"
#include "SFElementary.h"
#include "SFShapeParts.h"
#include "SFShapes.h"

#include <cmath>

namespace SF {
namespace {

constexpr double Addendum = 1.0; // in modules
constexpr double Dedendum = 1.25;

/// At the base circle, half the angle that a tooth takes: a quarter of the pitch, and the involute of the pressure angle.
SFField HalfTooth(SFField const& iTeeth, SFField const& iPressureAngle)
{
  return ZULPI / 2.0 / iTeeth + (tan(iPressureAngle) - iPressureAngle);
}

SFFieldFacts GearFacts(std::span<double const> d)
{
  double const teeth = d[1];
  if (teeth < 3.0 || teeth != std::floor(teeth))
    Argument::Refuse("teeth", "not a whole number of at least 3");
  if (!(d[3] < ZULPI / 4.0))
    Argument::Refuse("pressureAngle", "not below pi / 4");
  double const tip = d[0] * (teeth / 2.0 + Addendum);
  SFFieldFacts facts = ShapeParts::DistanceFacts({tip, tip, d[2] / 2.0});
  facts.isDistance = false;
  // Over the flanks below the base circle: rho (|theta| - theta0) has the slopes |theta| - theta0 and 1.
  double const halfTooth = ZULPI / 2.0 / teeth + Elementary::Tan(d[3]) - d[3];
  facts.lipschitz = Elementary::Hypot(1.0, std::fmax(halfTooth, ZULPI / teeth - halfTooth));
  return facts;
}

} // namespace

SFField Gear(SFField const& iModule, SFField const& iTeeth, SFField const& iHeight, SFField const& iPressureAngle)
{
  using Range = SFDimension::Range;
  SFField const x = SFField::X();
  SFField const y = SFField::Y();
  SFField const pitch = iModule * iTeeth / 2.0;
  SFField const base = pitch * cos(iPressureAngle);
  SFField const rho = Length({x, y});
  // The angle from the middle of the nearest tooth. The tangent folds all teeth into one, precisely everywhere.
  SFField const fromMiddle = atan(abs(tan(Angle(y, x) * (iTeeth / 2.0)))) * (2.0 / iTeeth);
  SFField const tangent = sqrt(max(square(rho) - square(base), 0.0));
  SFField const flank =
      tangent - base * atan(tangent / base) + min(rho, base) * (fromMiddle - HalfTooth(iTeeth, iPressureAngle));
  SFField const profile = max(min(flank, rho - (pitch - Dedendum * iModule)), rho - (pitch + Addendum * iModule));
  return WithRecipe(max(profile, abs(SFField::Z()) - iHeight / 2.0),
                    {{{"module", iModule, Range::Positive},
                      {"teeth", iTeeth, Range::Positive},
                      {"height", iHeight},
                      {"pressureAngle", iPressureAngle, Range::Positive}},
                     GearFacts,
                     {}});
}

} // namespace SF
