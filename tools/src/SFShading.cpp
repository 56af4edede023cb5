#include "SFShading.h"

#include "SFQuantile.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace SF {
namespace {

constexpr double Gloss = 0.10;
constexpr double GlossExponent = 40.0;
constexpr double GroundDarkness = 0.55;
constexpr double LinesAcross = 40.0; ///< iso-lines of a section along the longest side, for a field of slope 1
constexpr SFVector3 Convex{0.80, 0.36, 0.16};
constexpr SFVector3 Flat{0.82, 0.82, 0.81};
constexpr SFVector3 Concave{0.16, 0.42, 0.70};

bool IsHit(SFTracedRay const& iRay) { return std::isfinite(iRay.depth); }

/// Keeps bright places below white.
double Compressed(double iLight) { return iLight < 0.6 ? iLight : 0.6 + 0.4 * std::tanh((iLight - 0.6) / 0.4); }

} // namespace

SFShadingScales ScalesOf(std::vector<SFTracedRay> const& iRays, double iSize, std::optional<double> iSpacing)
{
  std::vector<double> curvatures;
  std::vector<double> slopes;
  SFShadingScales scales{HUGE_VAL, -HUGE_VAL, 0.0, 0.0};
  for (SFTracedRay const& ray : iRays) {
    if (!IsHit(ray))
      continue;
    scales.nearest = std::min(scales.nearest, ray.depth);
    scales.farthest = std::max(scales.farthest, ray.depth);
    if (ray.face >= 0 && std::isfinite(Norm(ray.gradient)))
      slopes.push_back(Norm(ray.gradient));
    else if (std::isfinite(ray.curvature))
      curvatures.push_back(std::abs(ray.curvature));
  }
  scales.curvature = std::max(Quantile(curvatures, 0.8), 1e-3 / iSize);
  double const slope = Quantile(slopes, 0.5);
  scales.isoSpacing = iSpacing.value_or(slope > 0.0 ? RoundNumber(slope * iSize / LinesAcross) : 0.0);
  return scales;
}

SFVector3 SFShading::NormalOf(SFTracedRay const& iRay) const
{
  if (iRay.face >= 0)
    return _region.NormalOf(iRay.face);
  double const norm = Norm(iRay.gradient);
  return norm > 0.0 && std::isfinite(norm) ? iRay.gradient * (1.0 / norm) : Unit(iRay.ray.direction) * -1.0;
}

SFShade SFShading::ShadeOf(SFTracedRay const& iRay, SFShadingCache& ioCache) const
{
  if (!IsHit(iRay))
    return {{}, _ground != nullptr ? GroundDarkness * _ground->At(iRay.ray) : 0.0};
  switch (_options.mode) {
  case SFRenderMode::Shaded:
  case SFRenderMode::Curvature:
    return {Lit(iRay, ioCache), 1.0};
  case SFRenderMode::Normals:
    return {LinearOf(NormalOf(iRay) * 0.5 + SFVector3{0.5, 0.5, 0.5}), 1.0};
  case SFRenderMode::Depth: {
    double const range = std::max(_scales.farthest - _scales.nearest, 1e-300);
    double const far = std::clamp((iRay.depth - _scales.nearest) / range, 0.0, 1.0);
    double const grey = LinearOf(0.97 - 0.87 * far);
    return {{grey, grey, grey}, 1.0};
  }
  }
  return {};
}

SFLight const& SFShading::LightAt(SFTracedRay const& iRay, SFVector3 const& iNormal, SFShadingCache& ioCache) const
{
  constexpr double near = 1.5;   // pixels
  constexpr double alike = 0.98; // cosine
  SFVector3 const point = iRay.ray.At(iRay.depth);
  bool const isKnown = Norm(point - ioCache.point) < near * _projection.PixelAt(std::abs(iRay.depth)) &&
                       Dot(iNormal, ioCache.normal) > alike;
  if (!isKnown)
    ioCache = {point, iNormal, _lighting->At(point, iNormal)};
  return ioCache.light;
}

SFVector3 SFShading::Lit(SFTracedRay const& iRay, SFShadingCache& ioCache) const
{
  SFVector3 const normal = NormalOf(iRay);
  bool const isFace = iRay.face >= 0;
  bool const isCurvature = _options.mode == SFRenderMode::Curvature;
  SFVector3 const colour = isFace ? FaceColour(iRay) : isCurvature ? CurvatureColour(iRay) : _colour;
  SFLight const light = LightAt(iRay, normal, ioCache);
  SFVector3 const towardsKey = _lighting->TowardsKey();
  SFVector3 lit = light.Total(Dot(normal, towardsKey));
  if (isFace) // a drawing more than a thing
    lit = Mix({0.95, 0.95, 0.95}, lit, 0.3);
  SFVector3 result = Product(colour, lit);
  if (!isFace && !isCurvature) {
    SFVector3 const back = Unit(iRay.ray.direction) * -1.0;
    double const mirror = std::max(0.0, Dot(normal, Unit(towardsKey + back)));
    double const rim = std::pow(1.0 - std::clamp(Dot(normal, back), 0.0, 1.0), 4.0);
    result = result + KeyColour * (Gloss * light.key * std::pow(mirror, GlossExponent)) + light.sky * (0.12 * rim);
  }
  return {Compressed(result[0]), Compressed(result[1]), Compressed(result[2])};
}

/// The solid where a plane cuts it: its hue deepens inwards, with iso-lines and the surface as a line.
SFVector3 SFShading::FaceColour(SFTracedRay const& iRay) const
{
  SFVector3 const normal = _region.NormalOf(iRay.face);
  SFVector3 const along = iRay.gradient - normal * Dot(iRay.gradient, normal);
  double const pixel = _projection.PixelAt(std::abs(iRay.depth)) * std::max(Norm(along), 1e-300);
  double const inPixels = -iRay.value / pixel;
  SFVector3 colour = InsideHue.near;
  if (_scales.isoSpacing > 0.0) {
    double const lines = -iRay.value / _scales.isoSpacing;
    colour = Mix(InsideHue.near, InsideHue.far, 1.0 - std::exp(-0.22 * lines));
    double const apart = _scales.isoSpacing / pixel;
    double const off = std::abs(lines - std::round(lines)) * apart;
    if (std::round(lines) > 0.0)
      colour = Mix(colour, InkColour, 0.35 * SmoothStep(3.0, 8.0, apart) * std::clamp(1.1 - off, 0.0, 1.0));
  }
  colour = Mix(colour, InkColour, 0.9 * std::clamp(2.0 - inPixels, 0.0, 1.0));
  return LinearOf(colour);
}

SFVector3 SFShading::CurvatureColour(SFTracedRay const& iRay) const
{
  double const ratio = std::isfinite(iRay.curvature) ? iRay.curvature / _scales.curvature : 0.0;
  double const share = std::abs(ratio) / (1.0 + std::abs(ratio)) * 1.5; // the scale itself is at three quarters
  return LinearOf(Mix(Flat, ratio < 0.0 ? Convex : Concave, std::min(share, 1.0)));
}

} // namespace SF
