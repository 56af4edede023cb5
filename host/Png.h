#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace SFHost {

/// A picture of 8-bit red, green and blue, row by row from the top.
struct Image
{
  Image(std::uint32_t iWidth, std::uint32_t iHeight)
    : width(iWidth), height(iHeight), pixels(std::size_t{3} * iWidth * iHeight)
  {
  }

  std::uint32_t width;
  std::uint32_t height;
  std::vector<std::uint8_t> pixels;
};

/// The bytes of a PNG file. Throws a Failure with the encoder's reason that begins with `iName`.
std::string EncodePng(Image const& iImage, std::string const& iName);

} // namespace SFHost
