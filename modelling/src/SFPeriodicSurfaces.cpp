#include "SFArgument.h"
#include "SFShapeParts.h"
#include "SFShapes.h"

#include <cmath>

namespace SF {
namespace {

/// Sines and cosines of the three coordinates in phase, and of their doubles.
struct Waves
{
  explicit Waves(SFField const& iWaveNumber)
  {
    SFField3 const coordinates{SFField::X(), SFField::Y(), SFField::Z()};
    for (std::size_t i = 0; i < 3; ++i) {
      SFField const phase = coordinates[i] * iWaveNumber;
      s[i] = sin(phase);
      c[i] = cos(phase);
      s2[i] = sin(phase * 2.0);
      c2[i] = cos(phase * 2.0);
    }
  }

  SFField3 s;
  SFField3 c;
  SFField3 s2;
  SFField3 c2;
};

/// The sum over the cyclic permutations of the axes.
template <class Term>
SFField Cyclic(Term iTerm)
{
  return iTerm(std::size_t{0}, std::size_t{1}, std::size_t{2}) + iTerm(std::size_t{1}, std::size_t{2}, std::size_t{0}) +
         iTerm(std::size_t{2}, std::size_t{0}, std::size_t{1});
}

SFField Products(SFField3 const& iA, SFField3 const& iB)
{
  return Cyclic([&](std::size_t i, std::size_t j, std::size_t) { return iA[i] * iB[j]; });
}

SFField Sum(SFField3 const& iA) { return iA[0] + iA[1] + iA[2]; }

SFField Lidinoid(Waves const& w)
{
  SFField const mixed = Cyclic([&](std::size_t i, std::size_t j, std::size_t k) { return w.s2[i] * w.c[j] * w.s[k]; });
  return (mixed - Products(w.c2, w.c2)) * 0.5 + 0.15;
}

SFField SchwarzD(Waves const& w)
{
  return w.s[0] * w.s[1] * w.s[2] +
         Cyclic([&](std::size_t i, std::size_t j, std::size_t k) { return w.s[i] * w.c[j] * w.c[k]; });
}

struct Series
{
  SFField value;
  double slope;   ///< the harmonic mean of the length of the gradient over the surface, for the wave number 1
  double maximum; ///< the largest length of the gradient anywhere
};

// The slopes are means over about 10^6 points of each surface, found by Newton's method from a grid; the maxima are attained
// at points of symmetry.
Series SeriesOf(SFPeriodicSurface iSurface, SFField const& iWaveNumber)
{
  Waves const w(iWaveNumber);
  double const root3 = std::sqrt(3.0);
  switch (iSurface) {
  case SFPeriodicSurface::Gyroid:
    return {Products(w.s, w.c), 1.529, root3};
  case SFPeriodicSurface::SchwarzP:
    return {Sum(w.c), 1.312, root3};
  case SFPeriodicSurface::SchwarzD:
    return {SchwarzD(w), 1.493, root3};
  case SFPeriodicSurface::Lidinoid:
    return {Lidinoid(w), 1.267, 1.5 * root3};
  case SFPeriodicSurface::Neovius:
    return {Sum(w.c) * 3.0 + w.c[0] * w.c[1] * w.c[2] * 4.0, 2.584, 7.0};
  case SFPeriodicSurface::IWP:
    return {Products(w.c, w.c) * 2.0 - Sum(w.c2), 4.301, 3.0 * root3};
  }
  Argument::Refuse("surface", "no such surface");
}

/// The scaled series less an offset, as a solid or as a wall on both sides.
SFField Periodic(SFPeriodicSurface iSurface, SFField const& iCell, bool iIsSheet, SFDimension const& iLast)
{
  SFField const waveNumber = 2.0 * ZULPI / iCell;
  Series const series = SeriesOf(iSurface, waveNumber);
  SFField const scaled = series.value / (waveNumber * series.slope);
  double const slope = series.maximum / series.slope;
  auto const facts = [slope](std::span<double const>) {
    SFFieldFacts periodic;
    periodic.lipschitz = slope;
    return periodic;
  };
  return WithRecipe(iIsSheet ? abs(scaled) - iLast.field / 2.0 : scaled - iLast.field,
                    {{{"cell", iCell, SFDimension::Range::Positive}, iLast}, facts, {}});
}

} // namespace

SFField PeriodicSheet(SFPeriodicSurface iSurface, SFField const& iCell, SFField const& iThickness)
{
  return Periodic(iSurface, iCell, true, {"thickness", iThickness});
}

SFField PeriodicNetwork(SFPeriodicSurface iSurface, SFField const& iCell, SFField const& iOffset)
{
  return Periodic(iSurface, iCell, false, {"offset", iOffset, SFDimension::Range::Any});
}

} // namespace SF
