#include "SFImage.h"

#include <png.h>

#include <stdexcept>

namespace SF {
namespace {

std::size_t ByteCount(std::uint32_t iWidth, std::uint32_t iHeight, std::uint32_t iChannels)
{
  for (std::uint32_t const side : {iWidth, iHeight})
    if (side == 0 || side > SFImage::MaxSide)
      throw std::invalid_argument("size: a side of " + std::to_string(side) + " pixels is not from 1 to " +
                                  std::to_string(SFImage::MaxSide));
  return std::size_t{iWidth} * iHeight * iChannels;
}

} // namespace

SFImage::SFImage(std::uint32_t iWidth, std::uint32_t iHeight, std::uint32_t iChannels)
  : width(iWidth), height(iHeight), channels(iChannels), pixels(ByteCount(iWidth, iHeight, iChannels))
{
}

std::string EncodePng(SFImage const& iImage)
{
  png_image png{};
  png.version = PNG_IMAGE_VERSION;
  png.width = iImage.width;
  png.height = iImage.height;
  png.format = iImage.channels == 4 ? PNG_FORMAT_RGBA : PNG_FORMAT_RGB;

  std::string bytes(PNG_IMAGE_PNG_SIZE_MAX(png), '\0');
  png_alloc_size_t size = bytes.size();
  if (png_image_write_to_memory(&png, bytes.data(), &size, 0, iImage.pixels.data(), 0, nullptr) == 0)
    throw std::runtime_error(std::string("the picture cannot be encoded: ") + png.message);
  bytes.resize(size);
  return bytes;
}

double ImageMemory(std::uint32_t iWidth, std::uint32_t iHeight, std::uint32_t iChannels)
{
  return 2.1 * iChannels * iWidth * iHeight; // the image, and the largest that its encoding can become
}

} // namespace SF
