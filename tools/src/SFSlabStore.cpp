#include "SFSlabStore.h"

#include "SFOutputFile.h"
#include "SFToolsErrors.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <unistd.h>
#include <utility>

namespace SF {
namespace {

std::filesystem::path FolderBeside(SFOutputFile const& iFile)
{
  if (iFile.GetTemporaryPath().empty())
    return std::filesystem::temp_directory_path();
  auto const folder = std::filesystem::path(iFile.GetTemporaryPath()).parent_path();
  return folder.empty() ? "." : folder;
}

} // namespace

SFScratchFile::SFScratchFile(SFOutputFile const& iBeside) : _name(iBeside.GetName())
{
  auto const folder = FolderBeside(iBeside);
  _file = open(folder.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600);
  if (_file >= 0)
    return;
  // Not all file systems know files that never had a name.
  std::string path = (folder / ".sf-XXXXXX").string();
  _file = mkostemp(path.data(), O_CLOEXEC);
  if (_file < 0 || unlink(path.c_str()) != 0)
    throw SFFileError(_name, errno);
}

SFScratchFile::~SFScratchFile() { close(_file); }

std::uint64_t SFScratchFile::Add(std::uint32_t, std::string const& iBytes)
{
  WriteFully(_file, iBytes, _name);
  return std::exchange(_size, _size + iBytes.size());
}

void SFScratchFile::Read(std::uint64_t iAt, std::span<char> oBytes) const { ReadFully(_file, iAt, oBytes, _name); }

void SFScratchFile::Replay(std::function<void(std::string const&, std::uint64_t)> const&) {}

void WriteFully(int iFile, std::string_view iBytes, std::string const& iName)
{
  while (!iBytes.empty()) {
    ssize_t const count = write(iFile, iBytes.data(), iBytes.size());
    if (count < 0 && errno != EINTR)
      throw SFFileError(iName, errno);
    iBytes.remove_prefix(static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
  }
}

void ReadFully(int iFile, std::uint64_t iAt, std::span<char> oBytes, std::string const& iName)
{
  while (!oBytes.empty()) {
    ssize_t const count = pread(iFile, oBytes.data(), oBytes.size(), static_cast<off_t>(iAt));
    if (count == 0 || (count < 0 && errno != EINTR))
      throw SFFileError(iName, count == 0 ? EIO : errno);
    oBytes = oBytes.subspan(static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    iAt += static_cast<std::uint64_t>(std::max<ssize_t>(count, 0));
  }
}

} // namespace SF
