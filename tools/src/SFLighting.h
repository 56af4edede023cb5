#pragma once

#include "SFRayTracer.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <span>
#include <vector>

namespace SF {

/// What a light sees of the part: the depth of the first surface at each place of a square picture.
class SFLightMap
{
public:
  SFLightMap(SFBricks const& iBricks, ZULMathBox const& iExtent, SFVector3 const& iTowardsLight, std::uint32_t iSide);

  /// Tiles in which it is traced, in any order, by any thread.
  std::size_t TileCount() const;
  SFTraceTask TaskOf(std::size_t iTile) const;
  /// The rays of a tile, traced.
  void Take(std::size_t iTile, std::span<SFTracedRay const> iRays);
  /// The same for maps of which a tile of each can be traced together.
  std::array<std::uint32_t, 2> KindOfTrace() const;

  SFVector3 const& TowardsLight() const { return _towardsLight; }
  SFProjection const& Projection() const { return _view.Projection(); }
  /// Adds the points of the surface that it sees.
  void AddSeenPoints(std::vector<SFVector3>& ioPoints) const;
  /// The edge of a texel, as a length.
  double Texel() const { return _texel; }
  /// A point as column, row and depth of the map.
  SFVector3 PlaceOf(SFVector3 const& iPoint) const
  {
    return {Dot(_columnAxis, iPoint) + _corner[0], Dot(_rowAxis, iPoint) + _corner[1],
            _corner[2] - Dot(_towardsLight, iPoint)};
  }
  /// The share of light, 0 to 1, at a place of the map; interpolated between texels.
  double Visibility(SFVector3 const& iPlace) const;
  /// As Visibility, over a disk that widens with the distance from what keeps the light off: the shadow of a light that
  /// is seen under an angle of twice `iSpread`. (R. Fernando, "Percentage-closer soft shadows", 2005.)
  double SoftVisibility(SFVector3 const& iPlace, double iSpread) const;

private:
  /// A column or row, counted from the border and kept within it.
  double InMap(double iPlace) const { return std::clamp(iPlace + 1.0, 0.0, static_cast<double>(_side) + 0.5); }
  double DepthAt(std::size_t iColumn, std::size_t iRow) const { return _depths[iRow * (_side + 2) + iColumn]; }

  SFVector3 _towardsLight{};
  std::uint32_t _side;
  SFTracedView _view;
  double _texel;
  SFVector3 _corner{}; ///< the place of the point (0, 0, 0)
  SFVector3 _columnAxis{};
  SFVector3 _rowAxis{};
  std::vector<float> _depths; ///< with a border of one texel without a surface
};

/// The light on points near the part.
struct SFLight
{
  double key = 0.0; ///< the share of the key light that reaches the point
  SFVector3 sky{};  ///< light from all sides on a white surface

  /// What a white surface reflects whose normal has this cosine with the direction towards the key light.
  SFVector3 Total(double iFacing) const;
};

/// One key light, and light from all sides by many lights evenly around the part.
class SFLighting
{
public:
  /// `iUp` and `iTowardsKey` have length 1; `iPixels` has the longer side of the picture.
  SFLighting(SFBricks const& iBricks, SFClipRegion const& iRegion, ZULMathBox const& iExtent, SFVector3 const& iUp,
             SFVector3 const& iTowardsKey, std::uint32_t iPixels, SFWorkOptions const& iOptions,
             SFProgress const& iProgress);

  SFLight At(SFVector3 const& iPoint, SFVector3 const& iNormal) const;
  /// What At gives where nothing is in the way.
  SFLight Unshadowed(SFVector3 const& iNormal) const;
  SFVector3 const& TowardsKey() const { return _maps.front().TowardsLight(); }

private:
  template <class Visible>
  SFVector3 Sky(SFVector3 const& iNormal, Visible const& iVisible) const;

  std::vector<SFLightMap> _maps; ///< the first one is of the key light
  std::vector<SFVector3> _colours;
};

/// The shadow of a part on a level ground at its lowest point.
class SFGroundShadow
{
public:
  SFGroundShadow(SFLighting const& iLighting, ZULMathBox const& iExtent, SFWorkOptions const& iOptions);

  /// The share of light that is missing where a ray meets the ground.
  double At(SFRay const& iRay) const;

private:
  static constexpr std::size_t Side = 384;

  double _height;
  double _left = 0.0;
  double _front = 0.0;
  double _cell = 1.0;
  std::vector<float> _shares; ///< x fastest
};

/// Bytes that lighting takes.
double LightingMemory(std::uint32_t iPixels);

/// What six views along the axes see of a part.
struct SFSeenPart
{
  ZULMathBox extent;
  std::vector<SFVector3> points; ///< on its surface; none when there is no surface
};
SFSeenPart LookAround(SFBricks const& iBricks, SFClipRegion const& iRegion, SFWorkOptions const& iOptions);

} // namespace SF
