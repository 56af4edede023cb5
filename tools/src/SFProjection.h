#pragma once

#include "SFGeometry.h"
#include "SFRenderer.h"

#include <array>
#include <cstdint>
#include <span>
#include <vector>

namespace SF {

/// A part of a picture, in pixels from its upper left corner.
struct SFPixelRange
{
  double left = 0.0;
  double top = 0.0;
  double right = 0.0;
  double bottom = 0.0;

  bool Meets(SFPixelRange const& iOther) const
  {
    return left < iOther.right && iOther.left < right && top < iOther.bottom && iOther.top < bottom;
  }
};

/// Where a pixel looks: points origin + depth * direction. The depth counts along the middle of the view, so that the
/// direction is longer than 1 away from the middle of a perspective.
struct SFRay
{
  SFVector3 origin{};
  SFVector3 direction{};

  SFVector3 At(double iDepth) const { return origin + direction * iDepth; }
};

/// A camera with a picture of square pixels.
class SFProjection
{
public:
  /// The camera's height is set where its projection is parallel. std::invalid_argument for a camera that sees nothing.
  SFProjection(SFCamera const& iCamera, double iWidth, double iHeight);

  /// The ray of a place in the picture, in pixels.
  SFRay RayAt(double iColumn, double iRow) const;
  /// The place of a point, and its depth as z. A point beside or behind the eye has no place in a perspective.
  SFVector3 Project(SFVector3 const& iPoint) const;
  /// What a box covers at most; the whole picture and more when it reaches behind the eye.
  SFPixelRange Cover(ZULMathBox const& iBox) const;
  /// The edge of a pixel at a depth, as a length.
  double PixelAt(double iDepth) const { return _isPerspective ? _pixel * iDepth : _pixel; }

  bool IsPerspective() const { return _isPerspective; }
  /// Depths begin here.
  double Nearest() const;
  SFVector3 const& Eye() const { return _eye; }
  SFVector3 const& Forward() const { return _forward; }
  SFVector3 const& Right() const { return _right; }
  SFVector3 const& Up() const { return _up; }

private:
  SFVector3 _eye{};
  SFVector3 _forward{};
  SFVector3 _right{};
  SFVector3 _up{};
  bool _isPerspective;
  double _pixel; ///< the edge of a pixel: as a length, or at depth 1
  double _centreColumn;
  double _centreRow;
};

/// The projection that shows the whole box along a direction, parallel, in a square picture of `iSide` pixels with a margin
/// of two.
SFProjection SquareViewOf(ZULMathBox const& iBox, SFVector3 const& iForward, SFVector3 const& iUp, std::uint32_t iSide);

/// The camera with its height set to show some points where it is not set.
SFCamera Fitted(SFCamera const& iCamera, std::span<SFVector3 const> iPoints, double iAspect);

/// CameraFor, around some points.
SFCamera CameraOver(SFView iView, std::span<SFVector3 const> iPoints, double iAspect, double iFieldOfView);

/// A convex region: the box and what cuts leave of it.
class SFClipRegion
{
public:
  SFClipRegion(ZULMathBox const& iBox, std::vector<SFCutPlane> const& iCuts);

  /// The depths at which a ray is in the region.
  struct Span
  {
    double begin;
    double end; ///< not above `begin` when the ray misses it
    int face;   ///< the number of the plane through which it enters; -1 when it begins inside
  };
  Span Clip(SFRay const& iRay, double iNearest) const;
  /// Outwards, of length 1.
  SFVector3 const& NormalOf(int iFace) const { return _planes[static_cast<std::size_t>(iFace)].normal; }

private:
  struct Plane
  {
    SFVector3 normal{};
    double offset;
  };
  std::vector<Plane> _planes;
};

} // namespace SF
