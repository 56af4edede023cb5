#include "SFRayTracer.h"

#include <algorithm>
#include <array>
#include <limits>

namespace SF {
namespace {

constexpr double Infinity = std::numeric_limits<double>::infinity();

/// Cuts a span of a ray to a box.
void ClipTo(ZULMathBox const& iBox, SFRay const& iRay, double& ioFrom, double& ioTo)
{
  SFVector3 const low = VectorOf(iBox.low);
  SFVector3 const high = VectorOf(iBox.high);
  for (std::size_t axis = 0; axis < 3; ++axis) {
    double const slope = iRay.direction[axis];
    double const origin = iRay.origin[axis];
    if (slope == 0.0) {
      if (origin < low[axis] || origin > high[axis])
        ioTo = -Infinity;
      continue;
    }
    double const one = (low[axis] - origin) / slope;
    double const other = (high[axis] - origin) / slope;
    ioFrom = std::max(ioFrom, std::min(one, other));
    ioTo = std::min(ioTo, std::max(one, other));
  }
}

} // namespace

SFTracedView::SFTracedView(SFBricks const& iBricks, SFProjection const& iProjection) : _projection(iProjection)
{
  for (std::uint32_t const piece : iBricks.FrontToBack(iProjection))
    _frontToBack.push_back({iProjection.Cover(iBricks.Pieces()[piece].box), piece});
}

std::vector<SFTracedRay>& SFRayTracer::Trace(SFTracedView const& iView, SFPixelRange const& iRange,
                                             std::uint32_t iColumns, std::uint32_t iRows)
{
  _projection = &iView.Projection();
  _columns = iColumns;
  _rows = iRows;
  Start(iRange);
  for (auto const& [cover, number] : iView.FrontToBack()) {
    if (_openCount == 0)
      break;
    if (!cover.Meets(iRange))
      continue;
    ThrowIfCancelled(_options);
    SFBrick const& piece = _bricks.Pieces()[number];
    Enter(piece, cover);
    if (!_active.empty())
      TraceIn(piece);
  }
  return _rays;
}

void SFRayTracer::Start(SFPixelRange const& iRange)
{
  _range = iRange;
  _rays.clear();
  _isOpen.assign(std::size_t{_columns} * _rows, 0);
  double const width = (iRange.right - iRange.left) / _columns;
  double const height = (iRange.bottom - iRange.top) / _rows;
  for (std::uint32_t row = 0; row < _rows; ++row)
    for (std::uint32_t column = 0; column < _columns; ++column) {
      SFTracedRay traced;
      traced.ray = _projection->RayAt(iRange.left + (column + 0.5) * width, iRange.top + (row + 0.5) * height);
      traced.span = _region.Clip(traced.ray, _projection->Nearest());
      traced.depth = Infinity;
      _isOpen[_rays.size()] = traced.span.begin <= traced.span.end;
      _rays.push_back(traced);
    }
  _openCount = static_cast<std::size_t>(std::count(_isOpen.begin(), _isOpen.end(), 1));
}

/// Makes the rays that may meet a piece active.
void SFRayTracer::Enter(SFBrick const& iPiece, SFPixelRange const& iCover)
{
  auto const clamped = [](double iPlace, std::uint32_t iMost) {
    return static_cast<std::uint32_t>(std::clamp(iPlace, 0.0, static_cast<double>(iMost)));
  };
  double const perColumn = _columns / (_range.right - _range.left);
  double const perRow = _rows / (_range.bottom - _range.top);
  // Rays stand in the middle of their cells.
  std::uint32_t const left = clamped(std::floor((iCover.left - _range.left) * perColumn), _columns);
  std::uint32_t const right = clamped(std::ceil((iCover.right - _range.left) * perColumn), _columns);
  std::uint32_t const top = clamped(std::floor((iCover.top - _range.top) * perRow), _rows);
  std::uint32_t const bottom = clamped(std::ceil((iCover.bottom - _range.top) * perRow), _rows);
  _active.clear();
  for (std::uint32_t row = top; row < bottom; ++row)
    for (std::uint32_t ray = row * _columns + left; ray < row * _columns + right; ++ray) {
      if (_isOpen[ray] == 0)
        continue;
      SFTracedRay const& traced = _rays[ray];
      double from = traced.span.begin;
      double to = traced.span.end;
      ClipTo(iPiece.box, traced.ray, from, to);
      if (from <= to)
        _active.push_back({ray, from, to});
    }
}

void SFRayTracer::TraceIn(SFBrick const& iPiece)
{
  _hits.clear();
  if (iPiece.isSolid)
    for (Active const& active : _active)
      Hit(active.ray, active.depth);
  else
    March(iPiece);
  if (_hits.empty())
    return;
  if (_quality != SFTraceQuality::Shadow)
    EvaluateHits(iPiece);
  if (_quality == SFTraceQuality::Curvature)
    EvaluateCurvatures(iPiece);
}

void SFRayTracer::Hit(std::uint32_t iRay, double iDepth)
{
  _rays[iRay].depth = iDepth;
  _isOpen[iRay] = 0;
  --_openCount;
  _hits.push_back({iRay, iDepth, iDepth});
}

void SFRayTracer::Evaluate(SFBrick const& iPiece, std::vector<Active> const& iPlaces, bool iWithGradients)
{
  std::size_t const count = iPlaces.size();
  for (auto* const coordinates : {&_x, &_y, &_z, &_values})
    coordinates->resize(std::max(coordinates->size(), count));
  for (std::size_t i = 0; i < count; ++i) {
    SFVector3 const point = _rays[iPlaces[i].ray].ray.At(iPlaces[i].depth);
    _x[i] = point[0];
    _y[i] = point[1];
    _z[i] = point[2];
  }
  if (!iWithGradients)
    return Require(iPiece.field->Evaluate(count, _x.data(), _y.data(), _z.data(), _values.data()));
  _gradients.resize(std::max(_gradients.size(), 3 * count));
  Require(iPiece.field->EvaluateGradient(count, _x.data(), _y.data(), _z.data(), _values.data(), _gradients.data()));
}

void SFRayTracer::March(SFBrick const& iPiece)
{
  _near.clear();
  _walked.clear();
  if (iPiece.lipschitz == Infinity) {
    for (Active& active : _active)
      active.step = 8.0 * _projection->PixelAt(std::abs(active.depth));
    _walked.swap(_active);
  }
  while (!_active.empty()) {
    Evaluate(iPiece, _active, false);
    Advance(_active.size(), iPiece.lipschitz);
  }
  if (!_near.empty())
    AcceptNear(iPiece);
  if (_quality == SFTraceQuality::Shadow)
    return Slide(iPiece);
  for (Active const& active : _walked)
    Walk(iPiece, active);
}

/// One step of all active rays, by their values: no surface is nearer than the value over the Lipschitz bound.
void SFRayTracer::Advance(std::size_t iCount, double iLipschitz)
{
  std::size_t left = 0;
  for (std::size_t i = 0; i < iCount; ++i) {
    Active active = _active[i];
    double const value = _values[i];
    if (value <= 0.0) {
      Hit(active.ray, active.depth);
      continue;
    }
    double step = value / (iLipschitz * Norm(_rays[active.ray].ray.direction));
    double const tolerance = ToleranceAt(active.depth);
    if (_quality == SFTraceQuality::Shadow)
      step = std::max(step, tolerance);
    if (std::isnan(value)) {
      active.step = tolerance;
      _walked.push_back(active);
    } else if (!(step >= tolerance))
      _near.push_back(active);
    else if ((active.depth += step) < active.end)
      _active[left++] = active;
  }
  _active.resize(left);
}

/// A small value is a near surface only where the field is steep.
void SFRayTracer::AcceptNear(SFBrick const& iPiece)
{
  Evaluate(iPiece, _near, true);
  for (std::size_t i = 0; i < _near.size(); ++i) {
    Active near = _near[i];
    SFVector3 const gradient{_gradients[3 * i], _gradients[3 * i + 1], _gradients[3 * i + 2]};
    SFVector3 const& direction = _rays[near.ray].ray.direction;
    double const reach = 2.0 * ToleranceAt(near.depth);
    if (_values[i] <= reach * Norm(gradient) * Norm(direction)) {
      double const slope = -Dot(gradient, direction);
      double const rest = slope > 0.0 ? std::min(_values[i] / slope, reach) : 0.0;
      Hit(near.ray, std::min(near.depth + rest, near.end));
    } else {
      near.step = 4.0 * reach;
      _walked.push_back(near);
    }
  }
}

/// Follows the gradient where bounds are of no use: fast, and good enough for shadows.
void SFRayTracer::Slide(SFBrick const& iPiece)
{
  _active.swap(_walked);
  while (!_active.empty()) {
    Evaluate(iPiece, _active, true);
    std::size_t left = 0;
    for (std::size_t i = 0; i < _active.size(); ++i) {
      Active active = _active[i];
      double const slope = Norm({_gradients[3 * i], _gradients[3 * i + 1], _gradients[3 * i + 2]});
      double const distance = std::max(0.0, _values[i]) / (slope * Norm(_rays[active.ray].ray.direction));
      double const tolerance = ToleranceAt(active.depth);
      if (distance <= tolerance)
        Hit(active.ray, active.depth);
      else if ((active.depth += std::fmax(0.7 * distance, tolerance)) < active.end)
        _active[left++] = active;
    }
    _active.resize(left);
  }
}

/// Interval arithmetic leaves out pieces of the ray as long as it can.
void SFRayTracer::Walk(SFBrick const& iPiece, Active const& iActive)
{
  SFRay const& ray = _rays[iActive.ray].ray;
  double from = iActive.depth;
  double length = iActive.step;
  while (from <= iActive.end) {
    double const to = std::min(from + length, iActive.end);
    SFBoxAround around;
    around.Add(ray.At(from));
    around.Add(ray.At(to));
    double low = 0.0;
    double high = 0.0;
    Require(iPiece.field->EvaluateInterval(around.Get(), low, high));
    if (low > 0.0) {
      if (to == iActive.end)
        return;
      from = to;
      length *= 2.0;
      continue;
    }
    double depth = 0.0;
    if (length > 2.0 * ToleranceAt(from))
      length *= 0.25;
    else if (IsHitIn(iPiece, ray, from, to, depth))
      return Hit(iActive.ray, depth);
    else if (to == iActive.end)
      return;
    else
      from = to;
  }
}

/// Whether a piece of the ray that is too short to divide has a surface on or next to it.
bool SFRayTracer::IsHitIn(SFBrick const& iPiece, SFRay const& iRay, double iFrom, double iTo, double& oDepth)
{
  constexpr std::size_t Points = 9;
  std::array<double, Points> x{};
  std::array<double, Points> y{};
  std::array<double, Points> z{};
  std::array<double, Points> values{};
  std::array<double, 3 * Points> gradients{};
  auto const depthOf = [&](std::size_t i) { return iFrom + (iTo - iFrom) * static_cast<double>(i) / (Points - 1); };
  for (std::size_t i = 0; i < Points; ++i) {
    SFVector3 const point = iRay.At(depthOf(i));
    x[i] = point[0];
    y[i] = point[1];
    z[i] = point[2];
  }
  Require(iPiece.field->EvaluateGradient(Points, x.data(), y.data(), z.data(), values.data(), gradients.data()));
  double const reach = 2.0 * (iTo - iFrom);
  for (std::size_t i = 0; i < Points; ++i) {
    SFVector3 const gradient{gradients[3 * i], gradients[3 * i + 1], gradients[3 * i + 2]};
    if (!(values[i] <= reach * Norm(gradient) * Norm(iRay.direction)) && !(values[i] <= 0.0))
      continue;
    double const slope = -Dot(gradient, iRay.direction);
    double const rest = slope > 0.0 ? std::clamp(values[i] / slope, -reach, reach) : 0.0;
    oDepth = std::max(iFrom, depthOf(i) + rest);
    return true;
  }
  return false;
}

/// Values and gradients where rays have ended, and whether it was in the middle of the solid.
void SFRayTracer::EvaluateHits(SFBrick const& iPiece)
{
  Evaluate(iPiece, _hits, true);
  for (std::size_t i = 0; i < _hits.size(); ++i) {
    SFTracedRay& traced = _rays[_hits[i].ray];
    traced.value = _values[i];
    traced.gradient = {_gradients[3 * i], _gradients[3 * i + 1], _gradients[3 * i + 2]};
    bool const entersHere = traced.span.face >= 0 && traced.depth <= traced.span.begin;
    double const half = 0.5 * _projection->PixelAt(std::abs(traced.depth));
    if (entersHere && traced.value < 0.0 && !(traced.value >= -half * Norm(traced.gradient)))
      traced.face = traced.span.face;
  }
}

/// At the points of EvaluateHits.
void SFRayTracer::EvaluateCurvatures(SFBrick const& iPiece)
{
  constexpr std::size_t each = 4;
  std::size_t const count = _hits.size();
  _curvatures.resize(std::max(_curvatures.size(), each * count));
  Require(iPiece.field->EvaluateCurvature(count, _x.data(), _y.data(), _z.data(), _curvatures.data()));
  for (std::size_t i = 0; i < count; ++i)
    _rays[_hits[i].ray].curvature = _curvatures[each * i + 2];
}

} // namespace SF
