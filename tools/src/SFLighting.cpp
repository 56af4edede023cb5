#include "SFLighting.h"

#include "SFColours.h"
#include "ZULPI.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <map>

namespace SF {
namespace {

/// Pixels along the side of a map, for a picture whose longer side has `iPixels`.
std::uint32_t KeySide(std::uint32_t iPixels) { return std::clamp(iPixels, 96U, 1024U); }
std::uint32_t SkySide(std::uint32_t iPixels) { return std::clamp(iPixels / 4, 48U, 160U); }

constexpr std::uint32_t ExtentSide = 128;
constexpr std::size_t SkyLights = 64;
constexpr std::uint32_t TileSide = 80;
constexpr double KeySpread = 0.09; ///< half of the angle that the key light fills
constexpr SFVector3 SkyColour{0.92, 0.98, 1.06};
constexpr SFVector3 GroundColour{0.52, 0.47, 0.43};
constexpr double SkyStrength = 0.78;
constexpr double KeyStrength = 1.15;

/// Directions evenly over the sphere. (R. Swinbank and R. J. Purser, "Fibonacci grids: a novel approach to global
/// modelling", 2006.)
SFVector3 SphereDirection(std::size_t iIndex, std::size_t iCount)
{
  double const height = 1.0 - (2.0 * static_cast<double>(iIndex) + 1.0) / static_cast<double>(iCount);
  double const angle = static_cast<double>(iIndex) * ZULPI * (3.0 - std::sqrt(5.0));
  double const radius = std::sqrt(1.0 - height * height);
  return {radius * std::cos(angle), radius * std::sin(angle), height};
}

/// Any direction that is not along another one.
SFVector3 Aside(SFVector3 const& iDirection)
{
  return std::abs(iDirection[2]) < 0.9 ? SFVector3{0.0, 0.0, 1.0} : SFVector3{1.0, 0.0, 0.0};
}

constexpr std::size_t Taps = 24;

/// Points evenly over the disk of radius 1. (H. Vogel, "A better way to construct the sunflower head", 1979.)
std::array<SFVector3, Taps> DiskPoints()
{
  std::array<SFVector3, Taps> points;
  for (std::size_t i = 0; i < Taps; ++i) {
    double const radius = std::sqrt((static_cast<double>(i) + 0.5) / Taps);
    double const angle = static_cast<double>(i) * ZULPI * (3.0 - std::sqrt(5.0));
    points[i] = {radius * std::cos(angle), radius * std::sin(angle), 0.0};
  }
  return points;
}

/// A tile of each of some maps, whose rays go through the pieces together: a piece has few rays of one map.
struct Bundle
{
  std::vector<SFLightMap*> maps;
  std::size_t tile;
};

std::vector<Bundle> BundlesOf(std::vector<SFLightMap>& ioMaps)
{
  std::map<std::array<std::uint32_t, 2>, std::vector<SFLightMap*>> kinds;
  for (SFLightMap& map : ioMaps)
    kinds[map.KindOfTrace()].push_back(&map);
  std::vector<Bundle> bundles;
  for (auto const& kind : kinds)
    for (std::size_t tile = 0; tile < kind.second.front()->TileCount(); ++tile)
      bundles.push_back({kind.second, tile});
  return bundles;
}

void Trace(Bundle const& iBundle, SFRayTracer& ioTracer)
{
  std::vector<SFTraceTask> tasks;
  for (SFLightMap const* const map : iBundle.maps)
    tasks.push_back(map->TaskOf(iBundle.tile));
  std::span<SFTracedRay const> rays = ioTracer.Trace(tasks);
  for (std::size_t i = 0; i < tasks.size(); ++i) {
    iBundle.maps[i]->Take(iBundle.tile, rays.first(tasks[i].RayCount()));
    rays = rays.subspan(tasks[i].RayCount());
  }
}

void TraceMaps(std::vector<SFLightMap>& ioMaps, SFBricks const& iBricks, SFClipRegion const& iRegion,
               SFWorkOptions const& iOptions, SFProgress const& iProgress)
{
  std::vector<Bundle> const bundles = BundlesOf(ioMaps);
  std::vector<SFRayTracer> tracers(ThreadsOf(iOptions),
                                   SFRayTracer(iBricks, iRegion, iOptions, SFTraceQuality::Shadow));
  ForEach(bundles.size(), iOptions, [&](std::size_t iIndex, unsigned int iWorker) {
    Trace(bundles[iIndex], tracers[iWorker]);
    if (iWorker == 0)
      iProgress.Report(static_cast<double>(iIndex + 1) / static_cast<double>(bundles.size()));
  });
}

} // namespace

SFVector3 SFLight::Total(double iFacing) const
{
  return sky * SkyStrength + KeyColour * (KeyStrength * std::max(0.0, iFacing) * key);
}

SFLightMap::SFLightMap(SFBricks const& iBricks, ZULMathBox const& iExtent, SFVector3 const& iTowardsLight,
                       std::uint32_t iSide)
  : _towardsLight(iTowardsLight), _side(iSide),
    _view(iBricks, SquareViewOf(iExtent, iTowardsLight * -1.0, Aside(iTowardsLight), iSide)),
    _texel(_view.Projection().PixelAt(0.0)), _corner(_view.Projection().Project({})),
    _columnAxis(_view.Projection().Right() * (1.0 / _texel)), _rowAxis(_view.Projection().Up() * (-1.0 / _texel)),
    _depths(std::size_t{iSide + 2} * (iSide + 2), std::numeric_limits<float>::infinity())
{
}

std::size_t SFLightMap::TileCount() const
{
  std::size_t const along = (_side + TileSide - 1) / TileSide;
  return along * along;
}

SFTraceTask SFLightMap::TaskOf(std::size_t iTile) const
{
  std::uint32_t const along = (_side + TileSide - 1) / TileSide;
  std::uint32_t const left = static_cast<std::uint32_t>(iTile % along) * TileSide;
  std::uint32_t const top = static_cast<std::uint32_t>(iTile / along) * TileSide;
  std::uint32_t const columns = std::min(TileSide, _side - left);
  std::uint32_t const rows = std::min(TileSide, _side - top);
  return {&_view, {double(left), double(top), double(left + columns), double(top + rows)}, columns, rows};
}

void SFLightMap::Take(std::size_t iTile, std::span<SFTracedRay const> iRays)
{
  SFTraceTask const task = TaskOf(iTile);
  auto const left = static_cast<std::size_t>(task.range.left);
  auto const top = static_cast<std::size_t>(task.range.top);
  for (std::uint32_t row = 0; row < task.rows; ++row)
    for (std::uint32_t column = 0; column < task.columns; ++column)
      _depths[(top + row + 1) * (_side + 2) + left + column + 1] =
          static_cast<float>(iRays[std::size_t{row} * task.columns + column].depth);
}

/// Their size, and the octant of their light, by which pieces are ordered.
std::array<std::uint32_t, 2> SFLightMap::KindOfTrace() const
{
  SFVector3 const& forward = Projection().Forward();
  std::uint32_t octant = 0;
  for (std::size_t axis = 0; axis < 3; ++axis)
    octant |= forward[axis] < 0.0 ? 1U << axis : 0U;
  return {_side, octant};
}

void SFLightMap::AddSeenPoints(std::vector<SFVector3>& ioPoints) const
{
  for (std::uint32_t row = 0; row < _side; ++row)
    for (std::uint32_t column = 0; column < _side; ++column)
      if (double const depth = DepthAt(column + 1, row + 1); std::isfinite(depth))
        ioPoints.push_back(Projection().RayAt(column + 0.5, row + 0.5).At(depth));
}

double SFLightMap::Visibility(SFVector3 const& iPlace) const
{
  double const x = InMap(iPlace[0] - 0.5);
  double const y = InMap(iPlace[1] - 0.5);
  auto const column = static_cast<std::size_t>(x); // counted from the border
  auto const row = static_cast<std::size_t>(y);
  double const right = x - static_cast<double>(column);
  double const below = y - static_cast<double>(row);
  auto const lit = [&](std::size_t iAside, std::size_t iDown) {
    return DepthAt(column + iAside, row + iDown) >= iPlace[2] ? 1.0 : 0.0;
  };
  return (lit(0, 0) * (1.0 - right) + lit(1, 0) * right) * (1.0 - below) +
         (lit(0, 1) * (1.0 - right) + lit(1, 1) * right) * below;
}

double SFLightMap::SoftVisibility(SFVector3 const& iPlace, double iSpread) const
{
  static std::array<SFVector3, Taps> const disk = DiskPoints();
  double const widest = 0.04 * _side;
  double blockers = 0.0;
  double distance = 0.0;
  for (SFVector3 const& point : disk) {
    SFVector3 const place = iPlace + point * widest;
    double const depth = DepthAt(static_cast<std::size_t>(InMap(place[0])), static_cast<std::size_t>(InMap(place[1])));
    if (depth < iPlace[2]) {
      blockers += 1.0;
      distance += iPlace[2] - depth;
    }
  }
  if (blockers == 0.0)
    return 1.0;
  double const radius = std::clamp(distance / blockers * iSpread / _texel, 1.5, widest);
  double lit = 0.0;
  for (SFVector3 const& point : disk)
    lit += Visibility(iPlace + point * radius);
  return lit / Taps;
}

SFLighting::SFLighting(SFBricks const& iBricks, SFClipRegion const& iRegion, ZULMathBox const& iExtent,
                       SFVector3 const& iUp, SFVector3 const& iTowardsKey, std::uint32_t iPixels,
                       SFWorkOptions const& iOptions, SFProgress const& iProgress)
{
  _maps.reserve(SkyLights + 1);
  _maps.emplace_back(iBricks, iExtent, iTowardsKey, KeySide(iPixels));
  _colours.emplace_back();
  for (std::size_t i = 0; i < SkyLights; ++i) {
    ThrowIfCancelled(iOptions);
    SFVector3 const direction = SphereDirection(i, SkyLights);
    _maps.emplace_back(iBricks, iExtent, direction, SkySide(iPixels));
    _colours.push_back(Mix(GroundColour, SkyColour, 0.5 + 0.5 * Dot(direction, iUp)));
  }
  TraceMaps(_maps, iBricks, iRegion, iOptions, iProgress);
}

template <class Visible>
SFVector3 SFLighting::Sky(SFVector3 const& iNormal, Visible const& iVisible) const
{
  SFVector3 sum{};
  for (std::size_t i = 1; i < _maps.size(); ++i) {
    double const facing = Dot(iNormal, _maps[i].TowardsLight());
    if (facing > 0.0)
      sum = sum + _colours[i] * (facing * iVisible(_maps[i]));
  }
  return sum * (4.0 / static_cast<double>(SkyLights)); // the mean of the cosine over the sphere is 1/4
}

SFLight SFLighting::At(SFVector3 const& iPoint, SFVector3 const& iNormal) const
{
  SFLightMap const& key = _maps.front();
  // Points begin above the surface, so that texels, which are as coarse as that, do not shade their own neighbours.
  auto const placeIn = [&](SFLightMap const& iMap, double iTexels) {
    SFVector3 place = iMap.PlaceOf(iPoint + iNormal * (iTexels * iMap.Texel()));
    place[2] -= 0.5 * iMap.Texel();
    return place;
  };
  SFLight light;
  if (Dot(iNormal, key.TowardsLight()) > 0.0)
    light.key = key.SoftVisibility(placeIn(key, 2.0), KeySpread);
  light.sky = Sky(iNormal, [&](SFLightMap const& iMap) { return iMap.Visibility(placeIn(iMap, 1.0)); });
  return light;
}

SFLight SFLighting::Unshadowed(SFVector3 const& iNormal) const
{
  return {1.0, Sky(iNormal, [](SFLightMap const&) { return 1.0; })};
}

SFGroundShadow::SFGroundShadow(SFLighting const& iLighting, ZULMathBox const& iExtent, SFWorkOptions const& iOptions)
  : _height(iExtent.low.z), _shares(Side * Side)
{
  // A light that stands half a right angle high throws shadows as long as the part is high.
  double const reach = Norm(SizeOf(iExtent));
  SFVector3 const centre = CentreOf(iExtent);
  _left = centre[0] - reach;
  _front = centre[1] - reach;
  _cell = 2.0 * reach / (Side - 1);
  SFVector3 const up{0.0, 0.0, 1.0};
  double const open = iLighting.Unshadowed(up).Total(Dot(up, iLighting.TowardsKey()))[1];
  ForEach(Side, iOptions, [&](std::size_t iRow, unsigned int) {
    for (std::size_t column = 0; column < Side; ++column) {
      SFVector3 const point{_left + static_cast<double>(column) * _cell, _front + static_cast<double>(iRow) * _cell,
                            _height};
      double const lit = iLighting.At(point, up).Total(Dot(up, iLighting.TowardsKey()))[1];
      _shares[iRow * Side + column] = static_cast<float>(std::clamp(1.0 - lit / open, 0.0, 1.0));
    }
  });
}

double SFGroundShadow::At(SFRay const& iRay) const
{
  double const depth = (_height - iRay.origin[2]) / iRay.direction[2];
  if (!(iRay.direction[2] < 0.0) || !(depth > 0.0))
    return 0.0;
  SFVector3 const point = iRay.At(depth);
  double const x = (point[0] - _left) / _cell;
  double const y = (point[1] - _front) / _cell;
  if (!(x >= 0.0 && y >= 0.0 && x < Side - 1 && y < Side - 1))
    return 0.0;
  auto const column = static_cast<std::size_t>(x);
  auto const row = static_cast<std::size_t>(y);
  float const* const corner = _shares.data() + row * Side + column;
  double const right = x - static_cast<double>(column);
  double const back = y - static_cast<double>(row);
  double const share = (corner[0] * (1.0 - right) + corner[1] * right) * (1.0 - back) +
                       (corner[Side] * (1.0 - right) + corner[Side + 1] * right) * back;
  // The sky's part of the shadow never quite ends; here it does before the border.
  double const aside = std::max(std::abs(2.0 * x / (Side - 1) - 1.0), std::abs(2.0 * y / (Side - 1) - 1.0));
  return share * (1.0 - SmoothStep(0.6, 1.0, aside));
}

double LightingMemory(std::uint32_t iPixels)
{
  auto const map = [](double iSide) { return sizeof(float) * iSide * iSide; };
  return map(KeySide(iPixels)) + SkyLights * map(SkySide(iPixels));
}

SFSeenPart LookAround(SFBricks const& iBricks, SFClipRegion const& iRegion, SFWorkOptions const& iOptions)
{
  ZULMathBox const around = iBricks.Extent();
  std::vector<SFLightMap> maps;
  for (std::size_t i = 0; i < 6; ++i) {
    SFVector3 towards{};
    towards[i / 2] = i % 2 == 0 ? -1.0 : 1.0;
    maps.emplace_back(iBricks, around, towards, ExtentSide);
  }
  TraceMaps(maps, iBricks, iRegion, iOptions, SFProgress(iOptions, "render", 0.0, 0.0));
  SFSeenPart seen;
  for (SFLightMap const& map : maps)
    map.AddSeenPoints(seen.points);
  SFBoxAround extent;
  for (SFVector3 const& point : seen.points)
    extent.Add(point);
  seen.extent = extent.Get();
  return seen;
}

} // namespace SF
