#include "SFCanvas.h"

#include "SFColours.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>

namespace SF {
namespace {

constexpr SFVector3 TextColour{0.16, 0.17, 0.20};

/// The distance of a point from lines through points.
double DistanceFrom(SFStroke const& iPoints, double iX, double iY)
{
  double nearest = HUGE_VAL;
  for (std::size_t i = 0; i + 1 < iPoints.size(); ++i) {
    double const alongX = iPoints[i + 1][0] - iPoints[i][0];
    double const alongY = iPoints[i + 1][1] - iPoints[i][1];
    double const fromX = iX - iPoints[i][0];
    double const fromY = iY - iPoints[i][1];
    double const squared = alongX * alongX + alongY * alongY;
    double const share = squared > 0.0 ? std::clamp((fromX * alongX + fromY * alongY) / squared, 0.0, 1.0) : 0.0;
    nearest = std::min(nearest, std::hypot(fromX - share * alongX, fromY - share * alongY));
  }
  return nearest;
}

std::string HexOf(SFVector3 const& iColour)
{
  char text[16];
  std::snprintf(text, sizeof text, "#%02x%02x%02x", ByteOf(iColour[0]), ByteOf(iColour[1]), ByteOf(iColour[2]));
  return text;
}

/// Two decimals of a pixel are enough, and no more digits than that.
std::string PixelNumber(double iValue)
{
  char text[32];
  std::snprintf(text, sizeof text, "%.2f", iValue);
  std::string number = text;
  number.erase(number.find_last_not_of('0') + 1);
  if (number.back() == '.')
    number.pop_back();
  return number == "-0" ? "0" : number;
}

/// RFC 4648.
std::string Base64(std::string_view iBytes)
{
  constexpr char digits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string text;
  text.reserve((iBytes.size() + 2) / 3 * 4);
  for (std::size_t i = 0; i < iBytes.size(); i += 3) {
    std::size_t const count = std::min<std::size_t>(3, iBytes.size() - i);
    std::uint32_t bits = 0;
    for (std::size_t j = 0; j < 3; ++j)
      bits = bits << 8 | (j < count ? static_cast<unsigned char>(iBytes[i + j]) : 0U);
    for (std::size_t j = 0; j < 4; ++j)
      text += j <= count ? digits[bits >> (18 - 6 * j) & 63U] : '=';
  }
  return text;
}

} // namespace

SFCanvas::~SFCanvas() = default;

std::string ShortNumber(double iValue)
{
  char text[32];
  std::snprintf(text, sizeof text, "%.6g", iValue == 0.0 ? 0.0 : iValue);
  return text;
}

SFImageCanvas::SFImageCanvas(std::uint32_t iWidth, std::uint32_t iHeight) : _image(iWidth, iHeight)
{
  std::fill(_image.pixels.begin(), _image.pixels.end(), std::uint8_t{255});
}

void SFImageCanvas::Line(SFStroke const& iPoints, double iWidth, SFVector3 const& iColour, double iOpacity)
{
  double const reach = 0.5 * iWidth + 1.0;
  SFBoxAround around;
  for (auto const& [x, y] : iPoints)
    around.Add(SFVector3{x, y, 0.0});
  ZULMathBox const box = around.Get();
  auto const clamped = [](double iPlace, std::uint32_t iMost) {
    return static_cast<std::uint32_t>(std::clamp(iPlace, 0.0, static_cast<double>(iMost)));
  };
  for (std::uint32_t row = clamped(box.low.y - reach, _image.height); row < clamped(box.high.y + reach, _image.height);
       ++row)
    for (std::uint32_t column = clamped(box.low.x - reach, _image.width);
         column < clamped(box.high.x + reach, _image.width); ++column) {
      double const distance = DistanceFrom(iPoints, column + 0.5, row + 0.5);
      double const share =
          iOpacity * std::min(1.0, iWidth) * std::clamp(0.5 * std::max(iWidth, 1.0) + 0.5 - distance, 0.0, 1.0);
      std::uint8_t* const pixel = _image.At(column, row);
      for (std::size_t channel = 0; channel < 3; ++channel)
        pixel[channel] = ByteOf(pixel[channel] / 255.0 * (1.0 - share) + iColour[channel] * share);
    }
}

void SFImageCanvas::Text(double iX, double iY, double iSize, SFAnchor iAnchor, bool iIsTurned, std::string_view iText)
{
  SFStrokeText const text(iText);
  double const before = text.length * (iAnchor == SFAnchor::Start ? 0.0 : iAnchor == SFAnchor::Middle ? 0.5 : 1.0);
  for (SFStroke stroke : text.strokes) {
    for (auto& point : stroke) {
      double const along = (point[0] - before) * iSize;
      double const up = point[1] * iSize;
      point = iIsTurned ? std::array<double, 2>{iX - up, iY - along} : std::array<double, 2>{iX + along, iY - up};
    }
    Line(stroke, SFStrokeText::PenWidth * iSize, TextColour, 1.0);
  }
}

void SFImageCanvas::Picture(double iX, double iY, SFImage const& iImage)
{
  auto const left = static_cast<std::uint32_t>(std::lround(iX));
  auto const top = static_cast<std::uint32_t>(std::lround(iY));
  std::size_t const bytes = std::size_t{iImage.width} * iImage.channels;
  for (std::uint32_t row = 0; row < iImage.height; ++row)
    std::memcpy(_image.At(left, top + row), iImage.pixels.data() + row * bytes, bytes);
}

SFSvgCanvas::SFSvgCanvas(std::uint32_t iWidth, std::uint32_t iHeight)
{
  std::string const width = std::to_string(iWidth);
  std::string const height = std::to_string(iHeight);
  _text = "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" + width + "\" height=\"" + height + "\" viewBox=\"0 0 " +
          width + " " + height + "\">\n<rect width=\"100%\" height=\"100%\" fill=\"#ffffff\"/>\n";
}

void SFSvgCanvas::Line(SFStroke const& iPoints, double iWidth, SFVector3 const& iColour, double iOpacity)
{
  _text += "<path fill=\"none\" stroke=\"" + HexOf(iColour) + "\" stroke-width=\"" + PixelNumber(iWidth) +
           "\" stroke-linecap=\"round\" stroke-linejoin=\"round\"";
  if (iOpacity < 1.0)
    _text += " stroke-opacity=\"" + PixelNumber(iOpacity) + "\"";
  _text += " d=\"";
  char command = 'M';
  for (auto const& [x, y] : iPoints) {
    _text += command + PixelNumber(x) + " " + PixelNumber(y);
    command = 'L';
  }
  _text += "\"/>\n";
}

void SFSvgCanvas::Text(double iX, double iY, double iSize, SFAnchor iAnchor, bool iIsTurned, std::string_view iText)
{
  constexpr char const* anchors[] = {"start", "middle", "end"};
  std::string const place = PixelNumber(iX) + " " + PixelNumber(iY);
  _text += "<text transform=\"translate(" + place + ")" + (iIsTurned ? " rotate(-90)" : "") +
           "\" font-family=\"sans-serif\" font-size=\"" + PixelNumber(iSize) + "\" fill=\"" + HexOf(TextColour) +
           "\" text-anchor=\"" + anchors[static_cast<std::size_t>(iAnchor)] + "\">" + std::string(iText) + "</text>\n";
}

void SFSvgCanvas::Picture(double iX, double iY, SFImage const& iImage)
{
  _text += "<image x=\"" + PixelNumber(iX) + "\" y=\"" + PixelNumber(iY) + "\" width=\"" +
           std::to_string(iImage.width) + "\" height=\"" + std::to_string(iImage.height) +
           "\" href=\"data:image/png;base64," + Base64(EncodePng(iImage)) + "\"/>\n";
}

} // namespace SF
