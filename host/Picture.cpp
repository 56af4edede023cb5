#include "Picture.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

namespace SFHost {
namespace {

using Colour = std::array<double, 3>;

/// The two ends of a hue: at the zero line, and far from it.
struct Hue
{
  Colour near;
  Colour far;
};

constexpr Hue InsideHue{{255, 229, 184}, {211, 105, 28}};
constexpr Hue OutsideHue{{226, 237, 246}, {74, 120, 168}};
constexpr Colour Ink{24, 26, 31};

constexpr double LinesAcross = 26;    ///< iso-lines along the longer side, where the field runs evenly
constexpr double IsoStrength = 0.4;   ///< share of ink
constexpr double CrowdedPixels = 3;   ///< iso-lines this close have faded away...
constexpr double ClearPixels = 9;     ///< ... and at this distance are in full ink
constexpr double ZeroLineWidth = 2.8; ///< in widths of an iso-line
constexpr double FinePicture = 900;   ///< the longer side up to which an iso-line is one pixel wide
constexpr double HueShare = 0.8;      ///< the share of the pixels of a hue that lie nearer than its reach

Colour Mix(Colour const& iA, Colour const& iB, double iShare)
{
  Colour mixed{};
  for (std::size_t channel = 0; channel < 3; ++channel)
    mixed[channel] = iA[channel] + (iB[channel] - iA[channel]) * iShare;
  return mixed;
}

double SmoothStep(double iFrom, double iTo, double iValue)
{
  double const t = std::clamp((iValue - iFrom) / (iTo - iFrom), 0.0, 1.0);
  return t * t * (3.0 - 2.0 * t);
}

/// The field in pixels: column from the left, row from the bottom, both counted at pixel centres.
class PixelField
{
public:
  PixelField(PlaneSamples const& iSamples, std::uint32_t iScale) : _samples(iSamples), _scale(iScale) {}

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

  PlaneSamples const& _samples;
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

/// The number 1, 2 or 5 times a power of ten that is nearest on a logarithmic scale.
double RoundNumber(double iValue)
{
  double const power = std::pow(10.0, std::floor(std::log10(iValue)));
  double const digits = iValue / power;
  for (double const step : {1.0, 2.0, 5.0})
    if (digits < step * std::sqrt(step == 2.0 ? 2.5 : 2.0))
      return step * power;
  return 10.0 * power;
}

/// The value that a share of the others lies below; 0 when there are none.
double Quantile(std::vector<double>& ioValues, double iShare)
{
  if (ioValues.empty())
    return 0.0;
  auto const place = ioValues.begin() + static_cast<std::ptrdiff_t>(static_cast<double>(ioValues.size()) * iShare);
  std::nth_element(ioValues.begin(), place, ioValues.end());
  return *place;
}

/// How a picture is drawn; widths in pixels, the rest in units of the field.
struct Style
{
  double isoWidth;
  double zeroWidth;
  double spacing;     ///< of the iso-lines; 0 for none
  double insideReach; ///< the depth at which a hue has nearly reached its far end
  double outsideReach;

  double Radius() const { return 0.5 * zeroWidth + 0.5; }
};

/// Fits the spacing and the hues to what is seen most, which the few extreme values of a field do not disturb.
Style ChooseStyle(PixelField const& iField, Image const& iImage, std::optional<double> iSpacing)
{
  std::uint32_t const longer = std::max(iImage.width, iImage.height);
  Style style{};
  style.isoWidth = std::max(1.0, longer / FinePicture);
  style.zeroWidth = ZeroLineWidth * style.isoWidth;

  constexpr std::uint32_t probes = 128;
  std::vector<double> slopes;
  std::vector<double> depths[2];
  for (std::uint32_t j = 0; j < probes; ++j)
    for (std::uint32_t i = 0; i < probes; ++i) {
      Neighbourhood const pixel(iField, style.Radius(), (i + 0.5) * iImage.width / probes - 0.5,
                                (j + 0.5) * iImage.height / probes - 0.5);
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

double IsoInk(Neighbourhood const& iPixel, Style const& iStyle)
{
  double const level = std::round(iPixel.Centre() / iStyle.spacing) * iStyle.spacing;
  if (!(iStyle.spacing > 0.0) || level == 0.0)
    return 0.0;
  return IsoStrength * SmoothStep(CrowdedPixels, ClearPixels, iStyle.spacing / iPixel.Slope()) *
         Coverage(iPixel.DistanceTo(level), iStyle.isoWidth);
}

Colour PixelColour(Neighbourhood const& iPixel, Style const& iStyle)
{
  bool const inside = iPixel.Centre() < 0.0;
  Hue const& hue = inside ? InsideHue : OutsideHue;
  double const reach = inside ? iStyle.insideReach : iStyle.outsideReach;
  double const depth = reach > 0.0 ? std::abs(iPixel.Centre()) / reach : 0.0;
  Colour const ground = Mix(hue.near, hue.far, 1.0 - std::exp(-1.2 * depth));
  Colour const withIsoLines = Mix(ground, Ink, IsoInk(iPixel, iStyle));
  return Mix(withIsoLines, Ink, Coverage(iPixel.DistanceTo(0.0), iStyle.zeroWidth));
}

/// What interpolation can work with.
float Finite(float iValue)
{
  constexpr float greatest = std::numeric_limits<float>::max();
  return std::isnan(iValue) ? greatest : std::clamp(iValue, -greatest, greatest);
}

} // namespace

Image DrawLevelSets(PlaneSamples iSamples, std::uint32_t iScale, std::optional<double> iSpacing)
{
  std::transform(iSamples.values.begin(), iSamples.values.end(), iSamples.values.begin(), Finite);
  Image image(iSamples.nx * iScale, iSamples.ny * iScale);
  PixelField const field(iSamples, iScale);
  Style const style = ChooseStyle(field, image, iSpacing);

  std::uint8_t* channel = image.pixels.data();
  for (std::uint32_t fromTop = 0; fromTop < image.height; ++fromTop)
    for (std::uint32_t column = 0; column < image.width; ++column) {
      Neighbourhood const pixel(field, style.Radius(), column, image.height - 1 - fromTop);
      for (double const value : PixelColour(pixel, style))
        *channel++ = static_cast<std::uint8_t>(std::lround(value));
    }
  return image;
}

double PictureMemory(std::uint32_t iNx, std::uint32_t iNy, std::uint32_t iScale)
{
  constexpr double bytesPerPixel = 7.0; // three of the image, as many and a little more of the encoded one
  return bytesPerPixel * iNx * iNy * iScale * iScale;
}

} // namespace SFHost
