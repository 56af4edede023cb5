#include "SFOutputFile.h"

#include "SFToolsErrors.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <bit>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <type_traits>
#include <unistd.h>
#include <utility>

namespace SF {
namespace {

/// The names of the temporary files of this process, read in signal handlers.
std::array<std::atomic<char const*>, 64> unfinished{};
static_assert(std::atomic<char const*>::is_always_lock_free, "read in signal handlers");

void AddUnfinished(char const* iPath)
{
  for (auto& place : unfinished)
    if (char const* none = nullptr; place.compare_exchange_strong(none, iPath))
      return;
}

void TakeUnfinished(char const* iPath)
{
  for (auto& place : unfinished)
    if (char const* path = iPath; place.compare_exchange_strong(path, nullptr))
      return;
}

/// Holds all signals back in this thread while it lives: a handler must not see a file without its name in the list, or
/// the other way round.
class SignalsHeld
{
public:
  SignalsHeld()
  {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_BLOCK, &all, &_before);
  }
  SignalsHeld(SignalsHeld const&) = delete;
  SignalsHeld& operator=(SignalsHeld const&) = delete;
  ~SignalsHeld() { pthread_sigmask(SIG_SETMASK, &_before, nullptr); }

private:
  sigset_t _before{};
};

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

SFOutputFile::SFOutputFile(std::string iPath) : SFOutputFile(std::move(iPath), "") {}

SFOutputFile::SFOutputFile(std::string iPath, std::string iTemporary) : _name(std::move(iPath))
{
  if (_name == "-") {
    _name = "standard output";
    Open(DuplicateForWriting(STDOUT_FILENO));
  } else
    OpenFile(iTemporary);
}

SFOutputFile::SFOutputFile(std::string iPath, Kept iKept)
  : _name(std::move(iPath)), _target(Resolved(_name)), _temporary(_target + ".partial"), _isKept(true)
{
  struct stat found
  {
  };
  if (_name == "-" || (stat(_target.c_str(), &found) == 0 && !S_ISREG(found.st_mode)))
    throw SFFileError(_name, "only a regular file can be gone on with");
  int const descriptor = open(_temporary.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0666);
  auto const size = static_cast<off_t>(iKept.from);
  if (descriptor >= 0 && fstat(descriptor, &found) == 0 && found.st_size < size) {
    close(descriptor);
    throw SFFileError(_temporary, "shorter than its journal says; remove both to begin anew");
  }
  Open(descriptor);
  if (ftruncate(descriptor, size) != 0 || fseeko(_file, size, SEEK_SET) != 0)
    throw SFFileError(_temporary, errno);
}

std::string SFOutputFile::TemporaryFor(std::string const& iPath)
{
  static std::atomic<unsigned int> counter{0};
  return FolderOf(Resolved(iPath)) + ".sf-" + std::to_string(getpid()) + "-" + std::to_string(counter++) + ".tmp";
}

void SFOutputFile::OpenFile(std::string const& iTemporary)
{
  struct stat found
  {
  };
  if (stat(_name.c_str(), &found) != 0) {
    if (errno != ENOENT)
      throw SFFileError(_name, errno);
    return OpenTemporary(_name, iTemporary);
  }
  if (S_ISDIR(found.st_mode))
    throw SFFileError(_name, EISDIR);
  // /dev/stdout may be a file; opened anew it would be written from its start, over what it holds.
  for (int const standard : {STDOUT_FILENO, STDERR_FILENO})
    if (SameFile(found, standard))
      return Open(DuplicateForWriting(standard));
  if (!S_ISREG(found.st_mode))
    return Open(open(_name.c_str(), O_WRONLY | O_CLOEXEC));
  if (access(_name.c_str(), W_OK) != 0)
    throw SFFileError(_name, errno);
  OpenTemporary(Resolved(_name), iTemporary);
  fchmod(fileno(_file), found.st_mode & 07777);
}

void SFOutputFile::OpenTemporary(std::string const& iPath, std::string const& iTemporary)
{
  _target = iPath;
  if (_target.empty() || _target.back() == '/')
    throw SFFileError(_name, _target.empty() ? ENOENT : EISDIR);

  SignalsHeld const held;
  int descriptor = -1;
  for (int attempt = 0; descriptor < 0 && attempt < 100; ++attempt) {
    _temporary = attempt == 0 && !iTemporary.empty() ? iTemporary : TemporaryFor(_target);
    descriptor = open(_temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (descriptor < 0 && (errno != EEXIST || !iTemporary.empty()))
      break;
  }
  if (descriptor < 0)
    _temporary.clear();
  else
    AddUnfinished(_temporary.c_str());
  Open(descriptor);
}

void SFOutputFile::Open(int iDescriptor)
{
  _file = iDescriptor < 0 ? nullptr : fdopen(iDescriptor, "wb");
  if (_file == nullptr) {
    int const error = errno;
    if (iDescriptor >= 0)
      close(iDescriptor);
    RemoveTemporary();
    throw SFFileError(_name, error);
  }
}

SFOutputFile::~SFOutputFile()
{
  if (_file != nullptr)
    std::fclose(_file);
  RemoveTemporary();
}

void SFOutputFile::RemoveTemporary()
{
  if (_temporary.empty() || _isKept)
    return;
  SignalsHeld const held;
  unlink(_temporary.c_str());
  TakeUnfinished(_temporary.c_str());
  _temporary.clear();
}

SFOutputFile::Unfinished SFOutputFile::RemoveUnfinished() noexcept
{
  auto found = Unfinished::None;
  for (auto& place : unfinished)
    if (char const* const path = place.exchange(nullptr)) {
      if (unlink(path) == 0)
        found = Unfinished::Removed;
      else if (found == Unfinished::None)
        found = Unfinished::Gone;
    }
  return found;
}

void SFOutputFile::Write(std::string_view iBytes)
{
  if (std::fwrite(iBytes.data(), 1, iBytes.size(), _file) != iBytes.size())
    throw SFFileError(_name, errno);
}

template <class Number>
void SFOutputFile::WriteNumbers(std::span<Number const> iValues)
{
  if constexpr (std::endian::native == std::endian::little)
    Write(std::string_view{reinterpret_cast<char const*>(iValues.data()), iValues.size_bytes()});
  else
    for (Number const value : iValues) {
      auto bytes = std::bit_cast<std::array<char, sizeof(Number)>>(value);
      std::reverse(bytes.begin(), bytes.end());
      Write(std::string_view{bytes.data(), bytes.size()});
    }
}

void SFOutputFile::Write(std::span<float const> iValues) { WriteNumbers(iValues); }
void SFOutputFile::Write(std::span<double const> iValues) { WriteNumbers(iValues); }
void SFOutputFile::Write(std::span<std::uint32_t const> iValues) { WriteNumbers(iValues); }

void SFOutputFile::Overwrite(std::uint64_t iPosition, std::string_view iBytes)
{
  off_t const end = ftello(_file);
  if (end < 0 || fseeko(_file, static_cast<off_t>(iPosition), SEEK_SET) != 0)
    throw SFFileError(_name, errno);
  Write(iBytes);
  if (fseeko(_file, end, SEEK_SET) != 0)
    throw SFFileError(_name, errno);
}

void SFOutputFile::RequireRoom(double iBytes) const
{
  struct statvfs disk
  {
  };
  if (_temporary.empty() || fstatvfs(fileno(_file), &disk) != 0)
    return;
  if (iBytes > static_cast<double>(disk.f_bavail) * static_cast<double>(disk.f_frsize))
    throw SFFileError(_name, ENOSPC);
}

void SFOutputFile::Flush()
{
  if (std::fflush(_file) != 0 || fdatasync(fileno(_file)) != 0)
    throw SFFileError(_name, errno);
}

void SFOutputFile::Commit()
{
  // Some systems only tell at the end that the disk was full.
  if (std::fclose(std::exchange(_file, nullptr)) != 0)
    throw SFFileError(_name, errno);
  if (_temporary.empty())
    return;
  SignalsHeld const held;
  if (std::rename(_temporary.c_str(), _target.c_str()) != 0)
    throw SFFileError(_name, errno);
  TakeUnfinished(_temporary.c_str());
  _temporary.clear();
}

SFSharedTemporary::SFSharedTemporary(std::string iPath) : _path(std::move(iPath)) { AddUnfinished(_path.c_str()); }
SFSharedTemporary::~SFSharedTemporary() { TakeUnfinished(_path.c_str()); }

} // namespace SF
