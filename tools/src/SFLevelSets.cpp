#include "SFLevelSets.h"

#include "SFColours.h"
#include "SFQuantile.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

namespace SF {
namespace {

constexpr double LinesAcross = 26;    ///< iso-lines along the longer side, where the field runs evenly
constexpr double IsoStrength = 0.4;   ///< share of ink
constexpr double CrowdedPixels = 3;   ///< iso-lines this close have faded away...
constexpr double ClearPixels = 9;     ///< ... and at this distance are in full ink
constexpr double ZeroLineWidth = 2.8; ///< in widths of an iso-line
constexpr double FinePicture = 900;   ///< the longer side up to which an iso-line is one pixel wide
constexpr double HueShare = 0.8;      ///< the share of the pixels of a hue that lie nearer than its reach

/// The field in pixels: column from the left, row from the bottom, both counted at pixel centres.
class PixelField
{
public:
  PixelField(SFPlaneSamples const& iSamples, std::uint32_t iScale) : _samples(iSamples), _scale(iScale) {}

  /// Bilinear between the samples; the half samples along the border continue the slope beside them.
  double Value(double iColumn, double iRow) const
  {
    Place const x = At(iColumn, _samples.nx);
    Place const y = At(iRow, _samples.ny);
    auto const along = [&](std::size_t iJ) {
      float const* const row = _samples.values.data() + iJ * _samples.nx;
      return row[x.first] + (static_cast<double>(row[x.second]) - row[x.first]) * x.share;
    };
    double const below = along(y.first);
    return below + (along(y.second) - below) * y.share;
  }

private:
  /// Two neighbouring samples and the second one's share.
  struct Place
  {
    std::size_t first;
    std::size_t second;
    double share;
  };

  Place At(double iPixel, std::uint32_t iCount) const
  {
    if (iCount == 1)
      return {0, 0, 0.0};
    double const position = std::clamp((iPixel + 0.5) / _scale - 0.5, -0.5, iCount - 0.5);
    double const below = std::clamp(std::floor(position), 0.0, iCount - 2.0);
    auto const first = static_cast<std::size_t>(below);
    return {first, first + 1, position - below};
  }

  SFPlaneSamples const& _samples;
  double _scale;
};

/// The field at a pixel and on a circle around it, from which lines are found by where they cross the spokes. That
/// keeps their width true at corners and steps, where the slope at the pixel alone says little.
class Neighbourhood
{
public:
  Neighbourhood(PixelField const& iField, double iRadius, double iColumn, double iRow)
    : _radius(iRadius), _centre(iField.Value(iColumn, iRow))
  {
    for (std::size_t spoke = 0; spoke < Spokes; ++spoke) {
      auto const [x, y] = Directions[spoke];
      _around[spoke] = iField.Value(iColumn + iRadius * x, iRow + iRadius * y);
    }
  }

  double Centre() const { return _centre; }
  /// The steepest change over one pixel.
  double Slope() const
  {
    double steepest = 0.0;
    for (double const value : _around)
      steepest = std::max(steepest, std::abs(value - _centre));
    return steepest / _radius;
  }
  /// How much ink the zero line has: less where one side of it is a sliver, narrower than the line, whose two borders
  /// would else make a speck. The slope further around says how deep something wider would be.
  double ZeroStrength(PixelField const& iField, double iColumn, double iRow) const
  {
    double highest = _centre;
    double lowest = _centre;
    for (double const value : _around) {
      highest = std::max(highest, value);
      lowest = std::min(lowest, value);
    }
    double const slope = std::max(Slope(), Neighbourhood(iField, 3.0 * _radius, iColumn, iRow).Slope());
    return slope > 0.0 ? SmoothStep(0.1, 0.55, std::min(highest, -lowest) / (slope * _radius)) : 1.0;
  }
  /// Pixels from the centre to the line where the field is `iLevel`; infinite beyond the radius.
  double DistanceTo(double iLevel) const
  {
    double const here = _centre - iLevel;
    double nearest = std::numeric_limits<double>::infinity();
    for (double const value : _around) {
      double const there = value - iLevel;
      if ((here < 0.0) != (there < 0.0))
        nearest = std::min(nearest, _radius * std::abs(here) / (std::abs(here) + std::abs(there)));
    }
    return nearest;
  }

private:
  static constexpr std::size_t Spokes = 12;
  static constexpr double C30 = 0.86602540378443865; // cos 30 degrees
  static constexpr std::array<std::array<double, 2>, Spokes> Directions{{{1, 0},
                                                                         {C30, 0.5},
                                                                         {0.5, C30},
                                                                         {0, 1},
                                                                         {-0.5, C30},
                                                                         {-C30, 0.5},
                                                                         {-1, 0},
                                                                         {-C30, -0.5},
                                                                         {-0.5, -C30},
                                                                         {0, -1},
                                                                         {0.5, -C30},
                                                                         {C30, -0.5}}};
  double _radius;
  double _centre;
  std::array<double, Spokes> _around{};
};

/// Fits the spacing and the hues to what is seen most, which the few extreme values of a field do not disturb.
SFLevelSetStyle ChooseStyle(PixelField const& iField, std::uint32_t iWidth, std::uint32_t iHeight,
                            std::optional<double> iSpacing)
{
  std::uint32_t const longer = std::max(iWidth, iHeight);
  SFLevelSetStyle style{};
  style.isoWidth = std::max(1.0, longer / FinePicture);
  style.zeroWidth = ZeroLineWidth * style.isoWidth;

  constexpr std::uint32_t probes = 128;
  std::vector<double> slopes;
  std::vector<double> depths[2];
  for (std::uint32_t j = 0; j < probes; ++j)
    for (std::uint32_t i = 0; i < probes; ++i) {
      Neighbourhood const pixel(iField, style.Radius(), (i + 0.5) * iWidth / probes - 0.5,
                                (j + 0.5) * iHeight / probes - 0.5);
      depths[pixel.Centre() < 0.0 ? 0 : 1].push_back(std::abs(pixel.Centre()));
      if (pixel.Slope() > 0.0)
        slopes.push_back(pixel.Slope());
    }
  style.insideReach = Quantile(depths[0], HueShare);
  style.outsideReach = Quantile(depths[1], HueShare);
  double const spacing = slopes.empty() ? 0.0 : RoundNumber(Quantile(slopes, 0.5) * longer / LinesAcross);
  style.spacing = iSpacing.value_or(std::isfinite(spacing) ? spacing : 0.0);
  return style;
}

/// How much of a pixel a line covers whose middle is at a distance from the pixel's centre.
double Coverage(double iDistance, double iWidth) { return std::clamp(0.5 * iWidth + 0.5 - iDistance, 0.0, 1.0); }

double IsoInk(Neighbourhood const& iPixel, SFLevelSetStyle const& iStyle)
{
  double const level = std::round(iPixel.Centre() / iStyle.spacing) * iStyle.spacing;
  if (!(iStyle.spacing > 0.0) || level == 0.0)
    return 0.0;
  return IsoStrength * SmoothStep(CrowdedPixels, ClearPixels, iStyle.spacing / iPixel.Slope()) *
         Coverage(iPixel.DistanceTo(level), iStyle.isoWidth);
}

SFVector3 GroundColour(double iValue, SFLevelSetStyle const& iStyle)
{
  bool const inside = iValue < 0.0;
  SFHue const& hue = inside ? InsideHue : OutsideHue;
  double const reach = inside ? iStyle.insideReach : iStyle.outsideReach;
  double const depth = reach > 0.0 ? std::abs(iValue) / reach : 0.0;
  return Mix(hue.near, hue.far, 1.0 - std::exp(-1.2 * depth));
}

SFVector3 PixelColour(PixelField const& iField, SFLevelSetStyle const& iStyle, double iColumn, double iRow)
{
  Neighbourhood const pixel(iField, iStyle.Radius(), iColumn, iRow);
  SFVector3 const ground = GroundColour(pixel.Centre(), iStyle);
  SFVector3 const withIsoLines = Mix(ground, InkColour, IsoInk(pixel, iStyle));
  double const coverage = Coverage(pixel.DistanceTo(0.0), iStyle.zeroWidth);
  return coverage > 0.0 ? Mix(withIsoLines, InkColour, coverage * pixel.ZeroStrength(iField, iColumn, iRow))
                        : withIsoLines;
}

/// What interpolation can work with.
float Finite(float iValue)
{
  constexpr float greatest = std::numeric_limits<float>::max();
  return std::isnan(iValue) ? greatest : std::clamp(iValue, -greatest, greatest);
}

} // namespace

SFLevelSets::SFLevelSets(SFPlaneSamples iSamples, std::uint32_t iScale, std::optional<double> iSpacing)
  : _samples(std::move(iSamples)), _scale(iScale)
{
  std::transform(_samples.values.begin(), _samples.values.end(), _samples.values.begin(), Finite);
  _style = ChooseStyle(PixelField(_samples, _scale), _samples.nx * _scale, _samples.ny * _scale, iSpacing);
}

SFImage SFLevelSets::Draw(bool iHasLines) const
{
  SFImage image(_samples.nx * _scale, _samples.ny * _scale);
  PixelField const field(_samples, _scale);
  std::uint8_t* channel = image.pixels.data();
  for (std::uint32_t fromTop = 0; fromTop < image.height; ++fromTop)
    for (std::uint32_t column = 0; column < image.width; ++column) {
      double const row = image.height - 1 - fromTop;
      SFVector3 const colour =
          iHasLines ? PixelColour(field, _style, column, row) : GroundColour(field.Value(column, row), _style);
      for (double const value : colour)
        *channel++ = ByteOf(value);
    }
  return image;
}

SFImage DrawLevelSets(SFPlaneSamples iSamples, std::uint32_t iScale, std::optional<double> iSpacing)
{
  return SFLevelSets(std::move(iSamples), iScale, iSpacing).Draw(true);
}

double LevelSetsMemory(std::uint32_t iNx, std::uint32_t iNy, std::uint32_t iScale)
{
  constexpr double bytesPerPixel = 7.0; // three of the image, as many and a little more of the encoded one
  return bytesPerPixel * iNx * iNy * iScale * iScale;
}

} // namespace SF
