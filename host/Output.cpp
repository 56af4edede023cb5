#include "Output.h"

#include "Failure.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace SFHost {
namespace {

bool SameFile(struct stat const& iFile, int iDescriptor)
{
  struct stat other
  {
  };
  return fstat(iDescriptor, &other) == 0 && other.st_dev == iFile.st_dev && other.st_ino == iFile.st_ino;
}

/// An existing file behind all its links, so that a link stays a link when its file is replaced.
std::string Resolved(std::string const& iPath)
{
  char* const resolved = realpath(iPath.c_str(), nullptr);
  std::string const path = resolved != nullptr ? resolved : iPath;
  std::free(resolved);
  return path;
}

/// A second descriptor for one of the standard streams; -1 when it was closed or cannot be written.
int DuplicateForWriting(int iDescriptor)
{
  int const flags = fcntl(iDescriptor, F_GETFL);
  if (flags != -1 && (flags & O_ACCMODE) != O_RDONLY)
    return dup(iDescriptor);
  errno = EBADF;
  return -1;
}

std::string FolderOf(std::string const& iPath)
{
  auto const slash = iPath.rfind('/');
  return slash == std::string::npos ? "" : iPath.substr(0, slash + 1);
}

} // namespace

Output::Output(std::string iPath) : _name(std::move(iPath))
{
  if (_name == "-") {
    _name = "standard output";
    Open(DuplicateForWriting(STDOUT_FILENO));
  } else
    OpenFile();
}

void Output::OpenFile()
{
  struct stat found
  {
  };
  if (stat(_name.c_str(), &found) != 0) {
    if (errno != ENOENT)
      throw SystemFailure(_name, errno);
    return OpenTemporary(_name);
  }
  if (S_ISDIR(found.st_mode))
    throw SystemFailure(_name, EISDIR);
  // /dev/stdout may be a file; opened anew it would be written from its start, over what it holds.
  for (int const standard : {STDOUT_FILENO, STDERR_FILENO})
    if (SameFile(found, standard))
      return Open(DuplicateForWriting(standard));
  if (!S_ISREG(found.st_mode))
    return Open(open(_name.c_str(), O_WRONLY | O_CLOEXEC));
  if (access(_name.c_str(), W_OK) != 0)
    throw SystemFailure(_name, errno);
  OpenTemporary(Resolved(_name));
  fchmod(fileno(_file), found.st_mode & 07777);
}

void Output::OpenTemporary(std::string const& iPath)
{
  _target = iPath;
  if (_target.empty() || _target.back() == '/')
    throw SystemFailure(_name, _target.empty() ? ENOENT : EISDIR);
  _interruptedLine = "sfdag: " + OneLine(_name) + ": interrupted, not written\n";

  SignalsHeld const held;
  int descriptor = -1;
  for (int attempt = 0; descriptor < 0 && attempt < 100; ++attempt) {
    _temporary = FolderOf(_target) + ".sfdag-" + std::to_string(getpid()) + "-" + std::to_string(attempt) + ".tmp";
    descriptor = open(_temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (descriptor < 0 && errno != EEXIST)
      break;
  }
  if (descriptor < 0)
    _temporary.clear();
  else {
    _atRisk = {_temporary.c_str(), _interruptedLine.c_str()};
    SetFileAtRisk(&_atRisk);
  }
  Open(descriptor);
}

void Output::Open(int iDescriptor)
{
  _file = iDescriptor < 0 ? nullptr : fdopen(iDescriptor, "wb");
  if (_file == nullptr) {
    int const error = errno;
    RemoveTemporary();
    throw SystemFailure(_name, error);
  }
}

Output::~Output()
{
  if (_file != nullptr)
    std::fclose(_file);
  RemoveTemporary();
}

void Output::RemoveTemporary()
{
  SignalsHeld const held;
  SetFileAtRisk(nullptr);
  if (!_temporary.empty())
    unlink(_temporary.c_str());
}

void Output::Write(std::string_view iBytes)
{
  if (std::fwrite(iBytes.data(), 1, iBytes.size(), _file) != iBytes.size())
    throw SystemFailure(_name, errno);
}

void Output::Commit()
{
  // Some systems only tell at the end that the disk was full.
  if (std::fclose(std::exchange(_file, nullptr)) != 0)
    throw SystemFailure(_name, errno);
  if (_temporary.empty())
    return;
  SignalsHeld const held;
  if (std::rename(_temporary.c_str(), _target.c_str()) != 0)
    throw SystemFailure(_name, errno);
  SetFileAtRisk(nullptr);
  _temporary.clear();
}

void WriteFloats(Output& ioOutput, std::span<float const> iValues)
{
  if constexpr (std::endian::native == std::endian::little) {
    ioOutput.Write({reinterpret_cast<char const*>(iValues.data()), iValues.size_bytes()});
  } else {
    for (float const value : iValues) {
      auto const bits = std::bit_cast<std::uint32_t>(value);
      std::array<char, 4> bytes{};
      for (std::size_t byte = 0; byte < bytes.size(); ++byte)
        bytes[byte] = static_cast<char>(bits >> (8 * byte));
      ioOutput.Write({bytes.data(), bytes.size()});
    }
  }
}

} // namespace SFHost
