#pragma once

#include "SFBricks.h"

#include <cmath>
#include <cstdint>
#include <span>
#include <vector>

namespace SF {

/// A view of the pieces of a field: how rays of one projection find them.
class SFTracedView
{
public:
  SFTracedView(SFBricks const& iBricks, SFProjection const& iProjection);

  SFProjection const& Projection() const { return _projection; }
  /// A piece, and the part of the picture in which it may be seen.
  struct Covered
  {
    SFPixelRange range;
    std::uint32_t piece;
  };
  /// Near ones first on each ray.
  std::vector<Covered> const& FrontToBack() const { return _frontToBack; }

private:
  SFProjection _projection;
  std::vector<Covered> _frontToBack;
};

/// Rays through the middles of the cells that a part of a picture is divided into.
struct SFTraceTask
{
  SFTracedView const* view;
  SFPixelRange range;
  std::uint32_t columns;
  std::uint32_t rows;

  std::size_t RayCount() const { return std::size_t{columns} * rows; }
};

/// A ray and the first surface on it.
struct SFTracedRay
{
  SFRay ray;
  SFProjection const* projection = nullptr; ///< that of its view
  SFClipRegion::Span span{};                ///< what is looked at of it
  double depth = 0.0;                       ///< of the surface; infinite where there is none
  double value = 0.0;                       ///< of the field at the depth, when wanted
  SFVector3 gradient{};                     ///< of the field at the depth, when wanted
  double curvature = 0.0;                   ///< mean curvature of the surface, when wanted; NaN where there is none
  int face = -1; ///< the plane of the region that cuts the solid there; -1 for a surface of the field
};

/// How exactly surfaces are found.
enum class SFTraceQuality
{
  Shadow,   ///< to a quarter of a pixel, and not sure where no Lipschitz bound is known; no gradients
  Surface,  ///< with value and gradient
  Curvature ///< with the curvature, too
};

/// Finds the first surface on rays that lie close together. For one thread.
class SFRayTracer
{
public:
  SFRayTracer(SFBricks const& iBricks, SFClipRegion const& iRegion, SFWorkOptions const& iOptions,
              SFTraceQuality iQuality)
    : _bricks(iBricks), _region(iRegion), _options(iOptions), _quality(iQuality)
  {
  }

  /// The rays of some tasks, of one after those of the other. They go through a piece together, so all views have the
  /// pieces in one order. The result is valid until the next call.
  std::vector<SFTracedRay>& Trace(std::span<SFTraceTask const> iTasks);

private:
  /// A ray within a piece.
  struct Active
  {
    std::uint32_t ray;
    double depth;
    double end;
    double step = 0.0; ///< a first guess of how far the surface is, by walking
  };

  void Start(SFTraceTask const& iTask);
  void Enter(SFBrick const& iPiece, SFPixelRange const& iCover, SFTraceTask const& iTask, std::size_t iFirstRay);
  void TraceIn(SFBrick const& iPiece);
  void March(SFBrick const& iPiece);
  void Advance(std::size_t iCount, double iLipschitz);
  void AcceptNear(SFBrick const& iPiece);
  void Slide(SFBrick const& iPiece);
  void Walk(SFBrick const& iPiece, Active const& iActive);
  bool IsHitIn(SFBrick const& iPiece, SFRay const& iRay, double iFrom, double iTo, double& oDepth);
  void Hit(std::uint32_t iRay, double iDepth);
  void EvaluateHits(SFBrick const& iPiece);
  void EvaluateCurvatures(SFBrick const& iPiece);
  void Evaluate(SFBrick const& iPiece, std::vector<Active> const& iPlaces, bool iWithGradients);
  double ToleranceAt(std::uint32_t iRay, double iDepth) const
  {
    constexpr double ofPixel = 0.005;
    constexpr double ofShadow = 0.25;
    return (_quality == SFTraceQuality::Shadow ? ofShadow : ofPixel) * PixelAt(iRay, iDepth);
  }

  double PixelAt(std::uint32_t iRay, double iDepth) const { return _rays[iRay].projection->PixelAt(std::abs(iDepth)); }

  SFBricks const& _bricks;
  SFClipRegion const& _region;
  SFWorkOptions const& _options;
  SFTraceQuality _quality;
  std::vector<SFTracedRay> _rays;
  std::size_t _openCount = 0; ///< rays that may still meet something
  std::vector<std::uint8_t> _isOpen;
  std::vector<Active> _active;
  std::vector<Active> _near;   ///< as close to a surface as steps come
  std::vector<Active> _walked; ///< go on by interval arithmetic
  std::vector<Active> _hits;
  std::vector<double> _x;
  std::vector<double> _y;
  std::vector<double> _z;
  std::vector<double> _values;
  std::vector<double> _gradients;
  std::vector<double> _curvatures;
};

} // namespace SF
