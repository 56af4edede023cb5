#include "SFRenderer.h"

#include "SFColours.h"
#include "SFLighting.h"
#include "SFShading.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <string>

namespace SF {
namespace {

constexpr std::uint32_t TileSide = 32;
constexpr std::uint32_t MaxSamples = 16;
constexpr std::uint32_t ProbeSide = 96; ///< rays along the longer side by which scales are found

constexpr SFVector3 BackgroundTop{0.975, 0.980, 0.985};
constexpr SFVector3 BackgroundBottom{0.850, 0.875, 0.900};

void RequireValid(SFRenderOptions const& iOptions)
{
  for (std::uint32_t const side : {iOptions.width, iOptions.height})
    if (side == 0 || side > SFImage::MaxSide)
      throw std::invalid_argument("size: not from 1 to " + std::to_string(SFImage::MaxSide) + " pixels along a side");
  if (iOptions.samples == 0 || iOptions.samples > MaxSamples)
    throw std::invalid_argument("samples: not from 1 to " + std::to_string(MaxSamples));
  if (iOptions.isoSpacing && !(*iOptions.isoSpacing > 0.0))
    throw std::invalid_argument("iso-lines: their spacing is not above 0");
}

std::uint32_t LongerSide(SFRenderOptions const& iOptions) { return std::max(iOptions.width, iOptions.height); }
double AspectOf(SFRenderOptions const& iOptions) { return double(iOptions.width) / iOptions.height; }

/// Why there is nothing to be seen.
[[noreturn]] void FailWithoutSurface(SFField const& iField, ZULMathBox const& iBox, SFWorkOptions const& iOptions)
{
  constexpr int along = 17;
  std::vector<double> x;
  std::vector<double> y;
  std::vector<double> z;
  for (int i = 0; i < along * along * along; ++i) {
    SFVector3 const share{double(i % along), double(i / along % along), double(i / along / along)};
    SFVector3 const point = VectorOf(iBox.low) + Product(SizeOf(iBox), share) * (1.0 / (along - 1));
    x.push_back(point[0]);
    y.push_back(point[1]);
    z.push_back(point[2]);
  }
  std::vector<double> values(x.size());
  Require(CompileFor(iField, iOptions)->Evaluate(x.size(), x.data(), y.data(), z.data(), values.data()));
  bool const isNan = std::all_of(values.begin(), values.end(), [](double iValue) { return std::isnan(iValue); });
  throw SFModelError(isNan ? "the field has no value (NaN) anywhere in the box" : "there is no surface in the box");
}

/// A part that is ready to be looked at.
class Scene
{
public:
  Scene(SFField const& iField, ZULMathBox const& iBox, SFRenderOptions const& iOptions, SFWorkOptions const& iWork,
        SFProgress const& iProgress)
    : _options(iOptions), _work(iWork), _region(iBox, iOptions.cuts), _bricks(iField, iBox, iWork, iProgress),
      _seen(LookAround(_bricks, _region, iWork))
  {
    if (_seen.points.empty())
      FailWithoutSurface(iField, iBox, iWork);
  }

  SFBricks const& Bricks() const { return _bricks; }
  SFClipRegion const& Region() const { return _region; }
  ZULMathBox const& Extent() const { return _seen.extent; }
  double Size() const { return Norm(SizeOf(_seen.extent)); }

  SFProjection Projection() const
  {
    double const aspect = AspectOf(_options);
    SFCamera const camera = _options.camera ? Fitted(*_options.camera, _seen.points, aspect)
                                            : CameraOver(_options.view, _seen.points, aspect, _options.fieldOfView);
    return {camera, double(_options.width), double(_options.height)};
  }

  SFRayTracer Tracer(SFTraceQuality iQuality) const { return {_bricks, _region, _work, iQuality}; }

private:
  SFRenderOptions const& _options;
  SFWorkOptions const& _work;
  SFClipRegion _region;
  SFBricks _bricks;
  SFSeenPart _seen;
};

/// Calls `iTake(left, top, columns, rows, rays)` for all tiles of a picture, from several threads.
template <class Take>
void TraceTiles(Scene const& iScene, SFTracedView const& iView, SFTraceQuality iQuality, std::uint32_t iSamples,
                SFRenderOptions const& iOptions, SFWorkOptions const& iWork, SFProgress const& iProgress,
                Take const& iTake)
{
  std::uint32_t const across = (iOptions.width + TileSide - 1) / TileSide;
  std::uint32_t const down = (iOptions.height + TileSide - 1) / TileSide;
  std::size_t const count = std::size_t{across} * down;
  std::vector<SFRayTracer> tracers(ThreadsOf(iWork), iScene.Tracer(iQuality));
  ForEach(count, iWork, [&](std::size_t iIndex, unsigned int iWorker) {
    auto const left = static_cast<std::uint32_t>(iIndex % across) * TileSide;
    auto const top = static_cast<std::uint32_t>(iIndex / across) * TileSide;
    std::uint32_t const columns = std::min(TileSide, iOptions.width - left);
    std::uint32_t const rows = std::min(TileSide, iOptions.height - top);
    SFPixelRange const range{double(left), double(top), double(left + columns), double(top + rows)};
    SFTraceTask const task{&iView, range, columns * iSamples, rows * iSamples};
    iTake(left, top, columns, rows, tracers[iWorker].Trace({&task, 1}));
    if (iWorker == 0)
      iProgress.Report(static_cast<double>(iIndex + 1) / static_cast<double>(count));
  });
}

/// A light from the left of the eye and above.
SFVector3 TowardsKey(SFProjection const& iProjection)
{
  return Unit(iProjection.Forward() * -0.75 + iProjection.Right() * -0.55 + iProjection.Up() * 0.75);
}

/// Up for the light of the sky: in the picture, and towards the eye where that looks down or up.
SFVector3 TowardsSky(SFProjection const& iProjection)
{
  return Unit(iProjection.Up() * 0.8 - iProjection.Forward() * 0.6);
}

SFTraceQuality QualityOf(SFRenderMode iMode)
{
  return iMode == SFRenderMode::Curvature ? SFTraceQuality::Curvature : SFTraceQuality::Surface;
}

SFVector3 BackgroundAt(SFRenderOptions const& iOptions, double iShareDown)
{
  if (iOptions.background)
    return {(*iOptions.background)[0], (*iOptions.background)[1], (*iOptions.background)[2]};
  return Mix(BackgroundTop, BackgroundBottom, iShareDown);
}

/// Writes one pixel: the mean of its samples, over the background where there is one.
void StorePixel(SFShade const& iSum, double iSamples, SFRenderOptions const& iOptions, double iShareDown,
                std::uint8_t* oPixel)
{
  double const opacity = iSum.opacity / iSamples;
  SFVector3 colour = iSum.colour * (1.0 / iSamples);
  if (iOptions.isTransparent) {
    colour = colour * (opacity > 0.0 ? 1.0 / opacity : 0.0);
    oPixel[3] = ByteOf(opacity);
  } else
    colour = colour + LinearOf(BackgroundAt(iOptions, iShareDown)) * (1.0 - opacity);
  for (std::size_t channel = 0; channel < 3; ++channel)
    oPixel[channel] = ByteOf(SrgbOf(colour[channel]));
}

/// Colours the rays of a tile into its pixels.
class TilePainter
{
public:
  TilePainter(SFShading const& iShading, SFRenderOptions const& iOptions, SFImage& oImage)
    : _shading(iShading), _options(iOptions), _image(oImage)
  {
  }

  void operator()(std::uint32_t iLeft, std::uint32_t iTop, std::uint32_t iColumns, std::uint32_t iRows,
                  std::vector<SFTracedRay> const& iRays) const
  {
    for (std::uint32_t row = 0; row < iRows; ++row)
      for (std::uint32_t column = 0; column < iColumns; ++column)
        StorePixel(SumOf(column, row, iColumns, iRays), double(_options.samples) * _options.samples, _options,
                   (iTop + row + 0.5) / _options.height, _image.At(iLeft + column, iTop + row));
  }

private:
  SFShade SumOf(std::uint32_t iColumn, std::uint32_t iRow, std::uint32_t iColumns,
                std::vector<SFTracedRay> const& iRays) const
  {
    std::uint32_t const samples = _options.samples;
    SFShade sum;
    SFShadingCache cache;
    for (std::uint32_t j = 0; j < samples; ++j)
      for (std::uint32_t i = 0; i < samples; ++i) {
        std::size_t const row = std::size_t{iRow} * samples + j;
        SFShade const shade = _shading.ShadeOf(iRays[row * iColumns * samples + iColumn * samples + i], cache);
        sum.colour = sum.colour + shade.colour;
        sum.opacity += shade.opacity;
      }
    return sum;
  }

  SFShading const& _shading;
  SFRenderOptions const& _options;
  SFImage& _image;
};

SFShadingScales ProbeScales(Scene const& iScene, SFTracedView const& iView, SFRenderOptions const& iOptions)
{
  double const aspect = AspectOf(iOptions);
  auto const along = [](double iShare) { return std::max(1U, static_cast<std::uint32_t>(ProbeSide * iShare)); };
  SFRayTracer tracer = iScene.Tracer(QualityOf(iOptions.mode));
  SFTraceTask const task{&iView,
                         {0.0, 0.0, double(iOptions.width), double(iOptions.height)},
                         along(std::min(1.0, aspect)),
                         along(std::min(1.0, 1.0 / aspect))};
  return ScalesOf(tracer.Trace({&task, 1}), iScene.Size(), iOptions.isoSpacing);
}

bool IsLit(SFRenderMode iMode) { return iMode == SFRenderMode::Shaded || iMode == SFRenderMode::Curvature; }

} // namespace

SFImage Render(SFField const& iField, ZULMathBox const& iBox, SFRenderOptions const& iOptions,
               SFWorkOptions const& iWork)
{
  RequireValid(iOptions);
  std::uint32_t const channels = iOptions.isTransparent ? 4 : 3;
  RequireMemory(iWork, ImageMemory(iOptions.width, iOptions.height, channels) + LightingMemory(LongerSide(iOptions)),
                "the picture");
  SFProgress const progress(iWork, "render");
  Scene const scene(iField, iBox, iOptions, iWork, progress.Part(0.0, 0.1));
  SFProjection const projection = scene.Projection();
  SFTracedView const view(scene.Bricks(), projection);

  std::optional<SFLighting> lighting;
  std::optional<SFGroundShadow> ground;
  if (IsLit(iOptions.mode)) {
    lighting.emplace(scene.Bricks(), scene.Region(), scene.Extent(), TowardsSky(projection), TowardsKey(projection),
                     LongerSide(iOptions), iWork, progress.Part(0.1, 0.4));
    if (iOptions.hasGround && projection.Forward()[2] < -0.1)
      ground.emplace(*lighting, scene.Extent(), iWork);
  }
  SFShading const shading(iOptions, ProbeScales(scene, view, iOptions), projection, scene.Region(),
                          lighting ? &*lighting : nullptr, ground ? &*ground : nullptr);
  SFImage image(iOptions.width, iOptions.height, channels);
  TraceTiles(scene, view, QualityOf(iOptions.mode), iOptions.samples, iOptions, iWork, progress.Part(0.4, 1.0),
             TilePainter(shading, iOptions, image));
  return image;
}

std::vector<float> TraceDepths(SFField const& iField, ZULMathBox const& iBox, SFRenderOptions const& iOptions,
                               SFWorkOptions const& iWork)
{
  RequireValid(iOptions);
  std::size_t const count = std::size_t{iOptions.width} * iOptions.height;
  RequireMemory(iWork, double(sizeof(float)) * static_cast<double>(count), "the picture");
  SFProgress const progress(iWork, "render");
  Scene const scene(iField, iBox, iOptions, iWork, progress.Part(0.0, 0.2));
  SFTracedView const view(scene.Bricks(), scene.Projection());
  std::vector<float> depths(count);
  TraceTiles(scene, view, SFTraceQuality::Surface, 1, iOptions, iWork, progress.Part(0.2, 1.0),
             [&](std::uint32_t iLeft, std::uint32_t iTop, std::uint32_t iColumns, std::uint32_t iRows,
                 std::vector<SFTracedRay> const& iRays) {
               for (std::uint32_t row = 0; row < iRows; ++row)
                 for (std::uint32_t column = 0; column < iColumns; ++column)
                   depths[std::size_t{iTop + row} * iOptions.width + iLeft + column] =
                       static_cast<float>(iRays[std::size_t{row} * iColumns + column].depth);
             });
  return depths;
}

} // namespace SF
