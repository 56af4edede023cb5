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

std::vector<SFTracedRay>& SFRayTracer::Trace(std::span<SFTraceTask const> iTasks)
{
  _rays.clear();
  _isOpen.clear();
  _openCount = 0;
  for (SFTraceTask const& task : iTasks)
    Start(task);
  std::size_t const pieces = iTasks.front().view->FrontToBack().size();
  for (std::size_t i = 0; i < pieces && _openCount > 0; ++i) {
    SFBrick const& piece = _bricks.Pieces()[iTasks.front().view->FrontToBack()[i].piece];
    _active.clear();
    std::size_t firstRay = 0;
    for (SFTraceTask const& task : iTasks) {
      SFPixelRange const& cover = task.view->FrontToBack()[i].range;
      if (cover.Meets(task.range))
        Enter(piece, cover, task, firstRay);
      firstRay += task.RayCount();
    }
    if (_active.empty())
      continue;
    ThrowIfCancelled(_options);
    TraceIn(piece);
  }
  return _rays;
}

void SFRayTracer::Start(SFTraceTask const& iTask)
{
  SFProjection const& projection = iTask.view->Projection();
  SFPixelRange const& range = iTask.range;
  double const width = (range.right - range.left) / iTask.columns;
  double const height = (range.bottom - range.top) / iTask.rows;
  for (std::uint32_t row = 0; row < iTask.rows; ++row)
    for (std::uint32_t column = 0; column < iTask.columns; ++column) {
      SFTracedRay& traced = _rays.emplace_back();
      traced.ray = projection.RayAt(range.left + (column + 0.5) * width, range.top + (row + 0.5) * height);
      traced.projection = &projection;
      traced.span = _region.Clip(traced.ray, projection.Nearest());
      traced.depth = Infinity;
      bool const isOpen = traced.span.begin <= traced.span.end;
      _isOpen.push_back(isOpen ? 1 : 0);
      _openCount += isOpen ? 1 : 0;
    }
}

/// Makes the rays of a task that may meet a piece active.
void SFRayTracer::Enter(SFBrick const& iPiece, SFPixelRange const& iCover, SFTraceTask const& iTask,
                        std::size_t iFirstRay)
{
  auto const clamped = [](double iPlace, std::uint32_t iMost) {
    return static_cast<std::uint32_t>(std::clamp(iPlace, 0.0, static_cast<double>(iMost)));
  };
  double const perColumn = iTask.columns / (iTask.range.right - iTask.range.left);
  double const perRow = iTask.rows / (iTask.range.bottom - iTask.range.top);
  // Rays stand in the middle of their cells.
  std::uint32_t const left = clamped(std::floor((iCover.left - iTask.range.left) * perColumn), iTask.columns);
  std::uint32_t const right = clamped(std::ceil((iCover.right - iTask.range.left) * perColumn), iTask.columns);
  std::uint32_t const top = clamped(std::floor((iCover.top - iTask.range.top) * perRow), iTask.rows);
  std::uint32_t const bottom = clamped(std::ceil((iCover.bottom - iTask.range.top) * perRow), iTask.rows);
  for (std::uint32_t row = top; row < bottom; ++row)
    for (std::uint32_t column = left; column < right; ++column) {
      auto const ray = static_cast<std::uint32_t>(iFirstRay + std::size_t{row} * iTask.columns + column);
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
      active.step = 8.0 * PixelAt(active.ray, active.depth);
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
    double const tolerance = ToleranceAt(active.ray, active.depth);
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
    double const reach = 2.0 * ToleranceAt(near.ray, near.depth);
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
      double const tolerance = ToleranceAt(active.ray, active.depth);
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
    if (length > 2.0 * ToleranceAt(iActive.ray, from))
      length *= 0.25;
    else if (IsHitIn(iPiece, ray, from, to, depth))
      return Hit(iActive.ray, depth);
    else if (to == iActive.end)
      return;
    else
      from = std::min(depth, to + PixelAt(iActive.ray, to));
  }
}

/// Whether a piece of the ray that is too short to divide has a surface on or next to it. Else `oDepth` is where to go on:
/// interval arithmetic does not decide there, so half of the way that values and gradients tell is left out.
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
  double nearest = Infinity;
  for (std::size_t i = 0; i < Points; ++i) {
    SFVector3 const gradient{gradients[3 * i], gradients[3 * i + 1], gradients[3 * i + 2]};
    double const distance = values[i] / (Norm(gradient) * Norm(iRay.direction));
    if (!(distance <= reach) && !(values[i] <= 0.0)) {
      nearest = distance > 0.0 ? std::min(nearest, distance) : 0.0;
      continue;
    }
    double const slope = -Dot(gradient, iRay.direction);
    double const rest = slope > 0.0 ? std::clamp(values[i] / slope, -reach, reach) : 0.0;
    oDepth = std::max(iFrom, depthOf(i) + rest);
    return true;
  }
  oDepth = iTo + 0.5 * nearest;
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
    double const half = 0.5 * PixelAt(_hits[i].ray, traced.depth);
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
