#pragma once

#include "SFToolsExport.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace SF {

/// A picture of 8 bits a channel in the sRGB colour space, row by row from the top: red, green, blue, and the opacity
/// where there are four channels (not multiplied into the colours).
struct SF_TOOLS_EXPORT SFImage
{
  /// Pixels along a side; the PNG library writes no more.
  static constexpr std::uint32_t MaxSide = 1'000'000;

  /// All bytes 0. std::invalid_argument for a side of 0 or beyond MaxSide.
  SFImage(std::uint32_t iWidth, std::uint32_t iHeight, std::uint32_t iChannels = 3);

  /// The `channels` bytes of a pixel; row 0 is the top one. The place is not checked.
  std::uint8_t* At(std::uint32_t iColumn, std::uint32_t iRow)
  {
    return pixels.data() + (std::size_t{iRow} * width + iColumn) * channels;
  }

  std::uint32_t width;              ///< in pixels
  std::uint32_t height;             ///< in pixels
  std::uint32_t channels;           ///< 3 or 4
  std::vector<std::uint8_t> pixels; ///< width x height x channels bytes
};

/// The bytes of a PNG file. std::runtime_error with the encoder's reason.
SF_TOOLS_EXPORT std::string EncodePng(SFImage const& iImage);

/// The bytes that an image and its encoding take.
SF_TOOLS_EXPORT double ImageMemory(std::uint32_t iWidth, std::uint32_t iHeight, std::uint32_t iChannels = 3);

} // namespace SF
