#pragma once

#include "SFGeometry.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>

namespace SF {

// Colours are linear light as red, green, blue in x, y, z, unless they are said to be sRGB.

/// The number 1, 2 or 5 times a power of ten that is nearest on a logarithmic scale.
inline double RoundNumber(double iValue)
{
  double const power = std::pow(10.0, std::floor(std::log10(iValue)));
  double const digits = iValue / power;
  for (double const step : {1.0, 2.0, 5.0})
    if (digits < step * std::sqrt(step == 2.0 ? 2.5 : 2.0))
      return step * power;
  return 10.0 * power;
}

inline double SmoothStep(double iFrom, double iTo, double iValue)
{
  double const t = std::clamp((iValue - iFrom) / (iTo - iFrom), 0.0, 1.0);
  return t * t * (3.0 - 2.0 * t);
}

/// IEC 61966-2-1, both ways.
inline double LinearOf(double iSrgb)
{
  return iSrgb <= 0.04045 ? iSrgb / 12.92 : std::pow((iSrgb + 0.055) / 1.055, 2.4);
}
inline double SrgbOf(double iLinear)
{
  return iLinear <= 0.0031308 ? 12.92 * iLinear : 1.055 * std::pow(iLinear, 1.0 / 2.4) - 0.055;
}
inline SFVector3 LinearOf(SFVector3 const& iSrgb)
{
  return {LinearOf(iSrgb[0]), LinearOf(iSrgb[1]), LinearOf(iSrgb[2])};
}
inline std::uint8_t ByteOf(double iSrgb)
{
  return static_cast<std::uint8_t>(std::lround(255.0 * std::clamp(iSrgb, 0.0, 1.0)));
}

/// The hues of solid and empty space in sections, in sRGB: at the surface, and far from it.
struct SFHue
{
  SFVector3 near{};
  SFVector3 far{};
};
inline constexpr SFHue InsideHue{{1.0, 0.898, 0.722}, {0.827, 0.412, 0.110}};
inline constexpr SFHue OutsideHue{{0.886, 0.929, 0.965}, {0.290, 0.471, 0.659}};
inline constexpr SFVector3 KeyColour{1.05, 0.98, 0.88}; ///< of the main light
inline constexpr SFVector3 InkColour{0.094, 0.102, 0.122};

} // namespace SF
