#include "SharedFile.h"

#include "Failure.h"
#include "SFToolsErrors.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

namespace SFMpi {
namespace {

/// Makes room for a file, where the file system can do so without writing it.
void Reserve(std::string const& iPath, std::string const& iName, std::uint64_t iSize)
{
  int const descriptor = open(iPath.c_str(), O_WRONLY | O_CLOEXEC);
  if (descriptor < 0)
    throw SF::SFFileError(iName, errno);
  int const error = iSize > 0 && fallocate(descriptor, 0, 0, static_cast<off_t>(iSize)) != 0 ? errno : 0;
  close(descriptor);
  if (error == ENOSPC || error == EFBIG || error == EDQUOT)
    throw SF::SFFileError(iName, error);
}

} // namespace

SharedFile::SharedFile(Ranks const& iRanks, std::string const& iPath, std::uint64_t iSize)
  : _ranks(iRanks), _name(iPath)
{
  // Every process knows the name before there is a file: whichever are left when others are killed remove it.
  std::string const path = _ranks.Broadcast(_ranks.IsFirst() ? SF::SFOutputFile::TemporaryFor(iPath) : "");
  _temporary.emplace(path);
  _ranks.Together([&] {
    if (!_ranks.IsFirst())
      return;
    _output.emplace(iPath, path);
    if (_output->GetTemporaryPath().empty())
      throw SFHost::UsageError("--output: " + SFHost::Quoted(iPath) + " is no regular file, which processes can share");
    Reserve(path, _name, iSize);
  });
  int const code = MPI_File_open(MPI_COMM_WORLD, path.c_str(), MPI_MODE_WRONLY, MPI_INFO_NULL, &_file);
  _ranks.Together([&] { Require(code); });
}

SharedFile::~SharedFile()
{
  if (_file != MPI_FILE_NULL)
    MPI_File_close(&_file);
}

void SharedFile::Require(int iCode) const
{
  if (iCode == MPI_SUCCESS)
    return;
  int kind = MPI_SUCCESS;
  MPI_Error_class(iCode, &kind);
  if (kind == MPI_ERR_NO_SPACE)
    throw SF::SFFileError(_name, ENOSPC);
  std::string text(MPI_MAX_ERROR_STRING, '\0');
  int length = 0;
  MPI_Error_string(iCode, text.data(), &length);
  throw SF::SFFileError(_name, text.substr(0, static_cast<std::size_t>(length)));
}

void SharedFile::WriteAt(std::uint64_t iPosition, std::string_view iBytes)
{
  constexpr std::size_t most = std::size_t{1} << 30; // counts are ints
  while (!iBytes.empty()) {
    std::string_view const piece = iBytes.substr(0, most);
    MPI_Status status;
    Require(MPI_File_write_at(_file, static_cast<MPI_Offset>(iPosition), piece.data(), static_cast<int>(piece.size()),
                              MPI_BYTE, &status));
    int written = 0;
    MPI_Get_count(&status, MPI_BYTE, &written);
    if (written <= 0) // as on a disk that is full
      throw SF::SFFileError(_name, ENOSPC);
    iPosition += static_cast<std::uint64_t>(written);
    iBytes.remove_prefix(static_cast<std::size_t>(written));
  }
}

void SharedFile::Commit()
{
  int const code = MPI_File_close(&_file);
  _ranks.Together([&] { Require(code); });
  _ranks.Together([&] {
    if (_ranks.IsFirst())
      _output->Commit();
  });
}

} // namespace SFMpi
