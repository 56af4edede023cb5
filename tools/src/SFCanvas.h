#pragma once

#include "SFGeometry.h"
#include "SFImage.h"
#include "SFStrokeFont.h"

#include <string>
#include <string_view>

namespace SF {

enum class SFAnchor
{
  Start,
  Middle,
  End
};

/// What drawings are made on. Places are in pixels from the upper left corner, y downwards; colours are sRGB from 0 to 1.
class SFCanvas
{
public:
  virtual ~SFCanvas();

  /// Lines through points, with round ends.
  virtual void Line(SFStroke const& iPoints, double iWidth, SFVector3 const& iColour, double iOpacity) = 0;
  /// A text on its base line; one that is turned reads upwards.
  virtual void Text(double iX, double iY, double iSize, SFAnchor iAnchor, bool iIsTurned, std::string_view iText) = 0;
  virtual void Picture(double iX, double iY, SFImage const& iImage) = 0;
};

/// On an image.
class SFImageCanvas : public SFCanvas
{
public:
  /// All white.
  SFImageCanvas(std::uint32_t iWidth, std::uint32_t iHeight);

  void Line(SFStroke const& iPoints, double iWidth, SFVector3 const& iColour, double iOpacity) override;
  void Text(double iX, double iY, double iSize, SFAnchor iAnchor, bool iIsTurned, std::string_view iText) override;
  void Picture(double iX, double iY, SFImage const& iImage) override;

  SFImage const& Image() const { return _image; }

private:
  SFImage _image;
};

/// As SVG.
class SFSvgCanvas : public SFCanvas
{
public:
  SFSvgCanvas(std::uint32_t iWidth, std::uint32_t iHeight);

  void Line(SFStroke const& iPoints, double iWidth, SFVector3 const& iColour, double iOpacity) override;
  void Text(double iX, double iY, double iSize, SFAnchor iAnchor, bool iIsTurned, std::string_view iText) override;
  void Picture(double iX, double iY, SFImage const& iImage) override;

  /// The whole document.
  std::string Finish() const { return _text + "</svg>\n"; }

private:
  std::string _text;
};

/// A number with as few digits as tell it from its neighbours on a scale.
std::string ShortNumber(double iValue);

} // namespace SF
