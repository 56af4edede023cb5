#include "Png.h"

#include "Failure.h"

#include <png.h>

namespace SFHost {

std::string EncodePng(Image const& iImage, std::string const& iName)
{
  png_image png{};
  png.version = PNG_IMAGE_VERSION;
  png.width = iImage.width;
  png.height = iImage.height;
  png.format = PNG_FORMAT_RGB;

  std::string bytes(PNG_IMAGE_PNG_SIZE_MAX(png), '\0');
  png_alloc_size_t size = bytes.size();
  if (png_image_write_to_memory(&png, bytes.data(), &size, 0, iImage.pixels.data(), 0, nullptr) == 0)
    throw Failure(iName, std::string("cannot be encoded: ") + png.message);
  bytes.resize(size);
  return bytes;
}

} // namespace SFHost
