#include "SFSlicePicture.h"

#include "SFCanvas.h"
#include "SFColours.h"
#include "SFContours.h"
#include "SFLevelSets.h"
#include "SFWork.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <stdexcept>

namespace SF {
namespace {

constexpr std::uint32_t LeastPixels = 64;
constexpr double FinePicture = 900.0; ///< the longer side up to which lines and letters have their own size
constexpr double TicksAcross = 8.0;
constexpr std::size_t MostLevels = 200; ///< of an SVG picture
constexpr SFVector3 FrameColour{0.35, 0.37, 0.40};
constexpr char AxisNames[] = "xyz";

/// The plane of a section: which axes it shows, and what part of them.
struct SlicePlane
{
  SlicePlane(ZULMathBox const& iBox, SFSliceOptions const& iOptions)
    : right(iOptions.axis == 0 ? 1 : 0), up(iOptions.axis == 2 ? 1 : 2), low(VectorOf(iBox.low)), size(SizeOf(iBox))
  {
    double const longer = std::max(size[right], size[up]);
    if (!(longer > 0.0) || !std::isfinite(longer) || size[right] < 0.0 || size[up] < 0.0)
      throw std::invalid_argument("bounds: the low corner must be below the high one, both finite");
    pixel = longer / iOptions.pixels;
    columns = PixelsAlong(size[right]);
    rows = PixelsAlong(size[up]);
  }

  std::uint32_t PixelsAlong(double iSide) const
  {
    return std::max(1U, static_cast<std::uint32_t>(std::lround(iSide / pixel)));
  }

  std::size_t right;
  std::size_t up;
  SFVector3 low;
  SFVector3 size;
  double pixel = 1.0;
  std::uint32_t columns = 1;
  std::uint32_t rows = 1;
};

/// The field at the middle of each pixel.
SFPlaneSamples SamplesOf(SFField const& iField, SlicePlane const& iPlane, SFSliceOptions const& iOptions,
                         SFWorkOptions const& iWork, SFSlicePicture& ioPicture)
{
  SFVector3 origin = iPlane.low + SFVector3{0.5, 0.5, 0.5} * iPlane.pixel;
  origin[iOptions.axis] = iOptions.position;
  SFGridFrame frame{{1, 1, 1}, iPlane.pixel, origin};
  frame.dims[iPlane.right] = iPlane.columns;
  frame.dims[iPlane.up] = iPlane.rows;
  SFPlaneSamples samples{iPlane.columns, iPlane.rows, {}};
  samples.values.resize(frame.PointCount());
  auto const compiled = iField.Compile(iWork);
  Require(compiled->RenderSlices(frame.dims.data(), 0, frame.dims[2], samples.values, frame.voxel, origin.data()));
  ioPicture.points = frame.PointCount();
  ioPicture.pointsWithoutValue = CountNans(*compiled, frame, 0, samples.values);
  if (ioPicture.pointsWithoutValue == ioPicture.points)
    throw SFModelError("the field has no value (NaN) anywhere in the section");
  return samples;
}

/// Where things stand in the figure, in pixels.
struct Layout
{
  explicit Layout(SlicePlane const& iPlane, SFSliceOptions const& iOptions)
    : scale(std::max(1.0, iOptions.pixels / FinePicture)), font(13.0 * scale), left(std::round(66.0 * scale)),
      top(std::round(44.0 * scale)),
      width(static_cast<std::uint32_t>(left + iPlane.columns + std::round(26.0 * scale))),
      height(static_cast<std::uint32_t>(top + iPlane.rows + std::round(54.0 * scale)))
  {
  }

  double scale;
  double font;
  double left;
  double top;
  std::uint32_t width;
  std::uint32_t height;
};

/// Draws a section onto a canvas.
class SliceFigure
{
public:
  SliceFigure(SFCanvas& ioCanvas, SFLevelSets const& iLevels, SlicePlane const& iPlane, SFSliceOptions const& iOptions)
    : _canvas(ioCanvas), _levels(iLevels), _plane(iPlane), _options(iOptions), _layout(iPlane, iOptions)
  {
  }

  void Draw(bool iLinesAreDrawn) const
  {
    _canvas.Picture(_layout.left, _layout.top, _levels.Draw(!iLinesAreDrawn));
    if (iLinesAreDrawn)
      DrawContours();
    DrawFrame();
    DrawAxis(_plane.right, false);
    DrawAxis(_plane.up, true);
    DrawHeader();
  }

private:
  double Right() const { return _layout.left + _plane.columns; }
  double Bottom() const { return _layout.top + _plane.rows; }

  void DrawContours() const
  {
    SFLevelSetStyle const& style = _levels.Style();
    auto const& values = _levels.Samples().values;
    auto const [least, most] = std::minmax_element(values.begin(), values.end());
    if (style.spacing > 0.0) {
      auto const first = std::max(std::ceil(*least / style.spacing), -double(MostLevels));
      auto const last = std::min(std::floor(*most / style.spacing), double(MostLevels));
      for (double level = first; level <= last; ++level)
        if (level != 0.0)
          DrawContour(level * style.spacing, style.isoWidth, 0.4);
    }
    DrawContour(0.0, style.zeroWidth, 1.0);
  }

  void DrawContour(double iLevel, double iWidth, double iOpacity) const
  {
    constexpr double tolerance = 0.04; // pixels
    for (SFStroke line : ContoursOf(_levels.Samples(), iLevel, tolerance)) {
      for (auto& [x, y] : line) {
        x = _layout.left + x + 0.5;
        y = Bottom() - y - 0.5;
      }
      _canvas.Line(line, iWidth, InkColour, iOpacity);
    }
  }

  void DrawFrame() const
  {
    double const left = _layout.left;
    double const top = _layout.top;
    _canvas.Line({{left, top}, {Right(), top}, {Right(), Bottom()}, {left, Bottom()}, {left, top}}, _layout.scale,
                 FrameColour, 1.0);
  }

  /// Ticks, numbers and the axis's name, below the section or left of it.
  void DrawAxis(std::size_t iAxis, bool iIsUpright) const
  {
    double const length = iIsUpright ? _plane.rows : _plane.columns;
    double const first = _plane.low[iAxis];
    double const last = first + length * _plane.pixel;
    // Three or more ticks, where their numbers have room.
    double const longer = std::max(_plane.size[_plane.right], _plane.size[_plane.up]);
    double const room = (iIsUpright ? 1.6 : 3.5) * _layout.font * _plane.pixel;
    double const step = RoundNumber(std::max(std::min(longer / TicksAcross, length * _plane.pixel / 3.5), room));
    double const tick = 5.0 * _layout.scale;
    double const slack = 1e-9 * step;
    for (double k = std::ceil((first - slack) / step); k * step <= last + slack; ++k) {
      double const along = (k * step - first) / _plane.pixel;
      double const x = iIsUpright ? _layout.left : _layout.left + along;
      double const y = iIsUpright ? Bottom() - along : Bottom();
      _canvas.Line({{x, y}, {iIsUpright ? x - tick : x, iIsUpright ? y : y + tick}}, _layout.scale, FrameColour, 1.0);
      _canvas.Text(iIsUpright ? x - 1.7 * tick : x, y + (iIsUpright ? 0.36 : 1.45) * _layout.font, _layout.font,
                   iIsUpright ? SFAnchor::End : SFAnchor::Middle, false, ShortNumber(k * step));
    }
    std::string name(1, AxisNames[iAxis]);
    name.append(" [").append(SymbolOf(_options.unit)).append("]");
    if (iIsUpright)
      _canvas.Text(1.2 * _layout.font, 0.5 * (_layout.top + Bottom()), _layout.font, SFAnchor::Middle, true, name);
    else
      _canvas.Text(0.5 * (_layout.left + Right()), _layout.height - 0.8 * _layout.font, _layout.font, SFAnchor::Middle,
                   false, name);
  }

  /// The plane's place and the spacing of the lines on the left, a scale bar on the right.
  void DrawHeader() const
  {
    std::string unit(1, ' ');
    unit.append(SymbolOf(_options.unit));
    double const base = _layout.top - 1.1 * _layout.font;
    std::string title(1, AxisNames[_options.axis]);
    title.append(" = ").append(ShortNumber(_options.position)).append(unit);
    if (double const spacing = _levels.Style().spacing; spacing > 0.0)
      title.append(", iso-lines every ").append(ShortNumber(spacing));
    _canvas.Text(_layout.left, base, _layout.font, SFAnchor::Start, false, title);

    double const length = RoundNumber(0.14 * _plane.columns * _plane.pixel);
    double const from = Right() - length / _plane.pixel;
    double const y = base - 0.3 * _layout.font;
    double const end = 4.0 * _layout.scale;
    std::string const text = ShortNumber(length) + unit;
    double const room = from - SFStrokeText(text).length * _layout.font - 0.7 * _layout.font;
    if (room < _layout.left + SFStrokeText(title).length * _layout.font + _layout.font)
      return; // the axes tell the scale as well
    _canvas.Text(from - 0.7 * _layout.font, base, _layout.font, SFAnchor::End, false, text);
    _canvas.Line({{from, y}, {Right(), y}}, 2.0 * _layout.scale, FrameColour, 1.0);
    for (double const x : {from, Right()})
      _canvas.Line({{x, y - end}, {x, y + end}}, 2.0 * _layout.scale, FrameColour, 1.0);
  }

  SFCanvas& _canvas;
  SFLevelSets const& _levels;
  SlicePlane const& _plane;
  SFSliceOptions const& _options;
  Layout _layout;
};

} // namespace

SFSlicePicture DrawSlice(SFField const& iField, ZULMathBox const& iBox, SFSliceOptions const& iOptions,
                         SFPictureFormat iFormat, SFWorkOptions const& iWork)
{
  if (iOptions.axis > 2)
    throw std::invalid_argument("axis: not 0, 1 or 2");
  if (!std::isfinite(iOptions.position))
    throw std::invalid_argument("position: not finite");
  if (iOptions.pixels < LeastPixels || iOptions.pixels > SFImage::MaxSide / 2)
    throw std::invalid_argument("pixels: not from " + std::to_string(LeastPixels) + " to " +
                                std::to_string(SFImage::MaxSide / 2));
  SlicePlane const plane(iBox, iOptions);
  Layout const layout(plane, iOptions);
  RequireMemory(iWork,
                LevelSetsMemory(plane.columns, plane.rows, 1) + 4.0 * plane.columns * plane.rows +
                    ImageMemory(layout.width, layout.height),
                "the picture");
  SFSlicePicture picture;
  SFLevelSets const levels(SamplesOf(iField, plane, iOptions, iWork, picture), 1, iOptions.spacing);
  picture.spacing = levels.Style().spacing;
  ThrowIfCancelled(iWork);
  if (iFormat == SFPictureFormat::Svg) {
    SFSvgCanvas canvas(layout.width, layout.height);
    SliceFigure(canvas, levels, plane, iOptions).Draw(true);
    picture.bytes = canvas.Finish();
  } else {
    SFImageCanvas canvas(layout.width, layout.height);
    SliceFigure(canvas, levels, plane, iOptions).Draw(false);
    picture.bytes = EncodePng(canvas.Image());
  }
  return picture;
}

} // namespace SF
