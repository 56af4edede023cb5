#include "SFProjection.h"

#include "ZULPI.h"

#include <algorithm>
#include <limits>
#include <stdexcept>

namespace SF {
namespace {

constexpr double Margin = 1.12; ///< of a fitted view, in sizes of what it shows

bool IsFinite(SFVector3 const& iA) { return std::isfinite(iA[0]) && std::isfinite(iA[1]) && std::isfinite(iA[2]); }

/// Half of the extent of a box along a direction of length 1.
double HalfExtent(ZULMathBox const& iBox, SFVector3 const& iDirection)
{
  SFVector3 const half = SizeOf(iBox) * 0.5;
  return half[0] * std::abs(iDirection[0]) + half[1] * std::abs(iDirection[1]) + half[2] * std::abs(iDirection[2]);
}

struct ViewAxes
{
  SFVector3 back{}; ///< from the target to the eye
  SFVector3 up{};
};

ViewAxes AxesOf(SFView iView)
{
  switch (iView) {
  case SFView::Iso:
    return {{1, -1, 1}, {0, 0, 1}};
  case SFView::Top:
    return {{0, 0, 1}, {0, 1, 0}};
  case SFView::Bottom:
    return {{0, 0, -1}, {0, -1, 0}};
  case SFView::Front:
    return {{0, -1, 0}, {0, 0, 1}};
  case SFView::Back:
    return {{0, 1, 0}, {0, 0, 1}};
  case SFView::Left:
    return {{-1, 0, 0}, {0, 0, 1}};
  case SFView::Right:
    return {{1, 0, 0}, {0, 0, 1}};
  }
  throw std::invalid_argument("view: unknown");
}

} // namespace

SFProjection::SFProjection(SFCamera const& iCamera, double iWidth, double iHeight)
  : _eye(VectorOf(iCamera.position)), _forward(Unit(VectorOf(iCamera.target) - VectorOf(iCamera.position))),
    _right(Unit(Cross(_forward, VectorOf(iCamera.up)))), _up(Cross(_right, _forward)),
    _isPerspective(iCamera.fieldOfView != 0.0), _centreColumn(0.5 * iWidth), _centreRow(0.5 * iHeight)
{
  if (!IsFinite(_eye) || !IsFinite(_forward) || Norm(_forward) == 0.0)
    throw std::invalid_argument("camera: its position and its target are one point, or not finite");
  if (!IsFinite(_right) || Norm(_right) < 0.5)
    throw std::invalid_argument("camera: up is along the view, or not finite");
  if (!(iCamera.fieldOfView >= 0.0) || iCamera.fieldOfView >= ZULPI)
    throw std::invalid_argument("field of view: not from 0 to below 180 degrees");
  _pixel = _isPerspective ? 2.0 * std::tan(0.5 * iCamera.fieldOfView) / iHeight : iCamera.height / iHeight;
  if (!(_pixel > 0.0) || !std::isfinite(_pixel))
    throw std::invalid_argument("camera: its height is not a length above 0");
}

SFRay SFProjection::RayAt(double iColumn, double iRow) const
{
  SFVector3 const aside = _right * ((iColumn - _centreColumn) * _pixel) + _up * ((_centreRow - iRow) * _pixel);
  return _isPerspective ? SFRay{_eye, _forward + aside} : SFRay{_eye + aside, _forward};
}

SFVector3 SFProjection::Project(SFVector3 const& iPoint) const
{
  SFVector3 const seen = iPoint - _eye;
  double const depth = Dot(seen, _forward);
  double const pixel = PixelAt(depth);
  return {_centreColumn + Dot(seen, _right) / pixel, _centreRow - Dot(seen, _up) / pixel, depth};
}

SFPixelRange SFProjection::Cover(ZULMathBox const& iBox) const
{
  constexpr double infinity = std::numeric_limits<double>::infinity();
  constexpr double slack = 1e-6; // pixels; more than rounding
  SFPixelRange range{infinity, infinity, -infinity, -infinity};
  for (unsigned int corner = 0; corner < 8; ++corner) {
    SFVector3 const place = Project(CornerOf(iBox, corner));
    if (_isPerspective && place[2] <= 0.0)
      return {-infinity, -infinity, infinity, infinity};
    range.left = std::min(range.left, place[0] - slack);
    range.right = std::max(range.right, place[0] + slack);
    range.top = std::min(range.top, place[1] - slack);
    range.bottom = std::max(range.bottom, place[1] + slack);
  }
  return range;
}

double SFProjection::Nearest() const
{
  return _isPerspective ? std::numeric_limits<double>::min() : -std::numeric_limits<double>::infinity();
}

SFProjection SquareViewOf(ZULMathBox const& iBox, SFVector3 const& iForward, SFVector3 const& iUp, std::uint32_t iSide)
{
  SFVector3 const centre = CentreOf(iBox);
  double const radius = 0.5 * Norm(SizeOf(iBox));
  SFCamera camera{PointOf(centre - iForward * (2.0 * radius)), PointOf(centre), {iUp[0], iUp[1], iUp[2]}, 0.0, 1.0};
  SFProjection const axes(camera, 1.0, 1.0);
  double const half = std::max(HalfExtent(iBox, axes.Right()), HalfExtent(iBox, axes.Up()));
  camera.height = 2.0 * half * iSide / (iSide - 4.0);
  return {camera, static_cast<double>(iSide), static_cast<double>(iSide)};
}

SFCamera Fitted(SFCamera const& iCamera, std::span<SFVector3 const> iPoints, double iAspect)
{
  SFCamera fitted = iCamera;
  if (fitted.fieldOfView != 0.0 || fitted.height != 0.0)
    return fitted;
  fitted.height = 1.0;
  SFProjection const axes(fitted, iAspect, 1.0);
  double half = 0.0;
  for (SFVector3 const& point : iPoints) {
    SFVector3 const aside = point - VectorOf(iCamera.target);
    half = std::max({half, std::abs(Dot(aside, axes.Up())), std::abs(Dot(aside, axes.Right())) / iAspect});
  }
  fitted.height = 2.0 * Margin * half;
  return fitted;
}

SFCamera CameraOver(SFView iView, std::span<SFVector3 const> iPoints, double iAspect, double iFieldOfView)
{
  auto const [direction, up] = AxesOf(iView);
  SFVector3 const back = Unit(direction);
  SFProjection const axes({{back[0], back[1], back[2]}, {}, {up[0], up[1], up[2]}, 0.0, 1.0}, 1.0, 1.0);
  SFBoxAround around; // in the directions of the picture
  for (SFVector3 const& point : iPoints)
    around.Add({Dot(point, axes.Right()), Dot(point, axes.Up()), Dot(point, back)});
  SFVector3 const middle = CentreOf(around.Get());
  SFVector3 const centre = axes.Right() * middle[0] + axes.Up() * middle[1] + back * middle[2];
  double distance = Norm(SizeOf(around.Get()));
  if (iFieldOfView != 0.0) { // as far away as all points are within the picture
    double const slope = std::tan(0.5 * iFieldOfView) / Margin;
    distance = 0.0;
    for (SFVector3 const& point : iPoints) {
      SFVector3 const from = point - centre;
      double const aside = std::max(std::abs(Dot(from, axes.Up())), std::abs(Dot(from, axes.Right())) / iAspect);
      distance = std::max(distance, aside / slope + Dot(from, back));
    }
  }
  return Fitted({PointOf(centre + back * distance), PointOf(centre), {up[0], up[1], up[2]}, iFieldOfView, 0.0}, iPoints,
                iAspect);
}

SFCamera CameraFor(SFView iView, ZULMathBox const& iBox, double iAspect, double iFieldOfView)
{
  std::array<SFVector3, 8> corners;
  for (unsigned int corner = 0; corner < 8; ++corner)
    corners[corner] = CornerOf(iBox, corner);
  return CameraOver(iView, corners, iAspect, iFieldOfView);
}

SFClipRegion::SFClipRegion(ZULMathBox const& iBox, std::vector<SFCutPlane> const& iCuts)
{
  for (std::size_t axis = 0; axis < 3; ++axis) {
    SFVector3 normal{};
    normal[axis] = 1.0;
    _planes.push_back({normal, VectorOf(iBox.high)[axis]});
    _planes.push_back({normal * -1.0, -VectorOf(iBox.low)[axis]});
  }
  for (SFCutPlane const& cut : iCuts) {
    double const norm = Norm(VectorOf(cut.normal));
    if (!(norm > 0.0) || !std::isfinite(norm) || !std::isfinite(cut.offset))
      throw std::invalid_argument("cut: its normal is zero, or a number is not finite");
    _planes.push_back({Unit(VectorOf(cut.normal)), cut.offset / norm});
  }
}

SFClipRegion::Span SFClipRegion::Clip(SFRay const& iRay, double iNearest) const
{
  Span span{iNearest, std::numeric_limits<double>::infinity(), -1};
  for (std::size_t i = 0; i < _planes.size(); ++i) {
    double const along = Dot(_planes[i].normal, iRay.direction);
    double const beyond = Dot(_planes[i].normal, iRay.origin) - _planes[i].offset;
    if (along == 0.0) {
      if (beyond > 0.0)
        span.end = -std::numeric_limits<double>::infinity();
      continue;
    }
    double const depth = -beyond / along;
    if (along > 0.0)
      span.end = std::min(span.end, depth);
    else if (depth > span.begin) {
      span.begin = depth;
      span.face = static_cast<int>(i);
    }
  }
  return span;
}

} // namespace SF
