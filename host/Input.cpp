#include "Input.h"

#include "Failure.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <memory>

namespace SFHost {
namespace {

struct Close
{
  void operator()(std::FILE* iFile) const
  {
    if (iFile != stdin)
      std::fclose(iFile);
  }
};

} // namespace

std::string InputName(std::string const& iPath) { return iPath == "-" ? "standard input" : iPath; }

std::string ReadInput(std::string const& iPath)
{
  std::unique_ptr<std::FILE, Close> const file(iPath == "-" ? stdin : std::fopen(iPath.c_str(), "rbe"));
  if (file == nullptr)
    throw SystemFailure(iPath, errno);
  std::string bytes;
  std::size_t size = 0;
  while (size == bytes.size() && size <= MaxInput) {
    bytes.resize(size + std::max(size, std::size_t{1} << 16));
    size += std::fread(bytes.data() + size, 1, bytes.size() - size, file.get());
  }
  if (std::ferror(file.get()) != 0)
    throw SystemFailure(InputName(iPath), errno);
  if (size > MaxInput)
    throw Failure(InputName(iPath), "more than 256 MiB of text");
  bytes.resize(size);
  return bytes;
}

} // namespace SFHost
