#include "Input.h"

#include "Failure.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>

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

bool IsListing(std::string const& iPath) { return iPath.ends_with(".vm") || iPath.ends_with(".VM"); }
bool IsFormula(std::string const& iPath) { return iPath.ends_with(".sfm") || iPath.ends_with(".SFM"); }

bool IsFileOf(std::string const& iInput, std::string const& iPath)
{
  struct stat input
  {
  };
  struct stat file
  {
  };
  bool const found = (iInput == "-" ? fstat(STDIN_FILENO, &input) : stat(iInput.c_str(), &input)) == 0 &&
                     stat(iPath.c_str(), &file) == 0;
  return found && S_ISREG(input.st_mode) && input.st_dev == file.st_dev && input.st_ino == file.st_ino;
}

} // namespace SFHost
