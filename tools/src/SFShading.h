#pragma once

#include "SFColours.h"
#include "SFLighting.h"

#include <optional>

namespace SF {

/// Colour and opacity; the colour is multiplied by the opacity.
struct SFShade
{
  SFVector3 colour{};
  double opacity = 0.0;
};

/// What the colours of one picture depend on beside the rays, found out by looking at a few of them first.
struct SFShadingScales
{
  double nearest = 0.0; ///< depths
  double farthest = 1.0;
  double curvature = 1.0; ///< the mean curvature that most of the surface stays below
  double isoSpacing = 1.0;
};

/// The scales of the surfaces on some rays. A `iSpacing` is taken as it is.
SFShadingScales ScalesOf(std::vector<SFTracedRay> const& iRays, double iSize, std::optional<double> iSpacing);

/// The light on the last surface that was shaded, which its neighbours share.
struct SFShadingCache
{
  SFVector3 point{HUGE_VAL, 0.0, 0.0};
  SFVector3 normal{};
  SFLight light;
};

/// Colours what rays find. Safe to share between threads, each with its own cache.
class SFShading
{
public:
  /// The lighting is null for modes that need none, the ground where there is none.
  SFShading(SFRenderOptions const& iOptions, SFShadingScales const& iScales, SFProjection const& iProjection,
            SFClipRegion const& iRegion, SFLighting const* iLighting, SFGroundShadow const* iGround)
    : _options(iOptions), _scales(iScales), _projection(iProjection), _region(iRegion), _lighting(iLighting),
      _ground(iGround), _colour(LinearOf(SFVector3{iOptions.colour[0], iOptions.colour[1], iOptions.colour[2]}))
  {
  }

  SFShade ShadeOf(SFTracedRay const& iRay, SFShadingCache& ioCache) const;

private:
  SFVector3 NormalOf(SFTracedRay const& iRay) const;
  SFVector3 Lit(SFTracedRay const& iRay, SFShadingCache& ioCache) const;
  SFLight const& LightAt(SFTracedRay const& iRay, SFVector3 const& iNormal, SFShadingCache& ioCache) const;
  SFVector3 FaceColour(SFTracedRay const& iRay) const;
  SFVector3 CurvatureColour(SFTracedRay const& iRay) const;

  SFRenderOptions const& _options;
  SFShadingScales _scales;
  SFProjection const& _projection;
  SFClipRegion const& _region;
  SFLighting const* _lighting;
  SFGroundShadow const* _ground;
  SFVector3 _colour{};
};

} // namespace SF
