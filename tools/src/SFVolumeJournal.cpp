#include "SFVolumeJournal.h"

#include "SFToolsErrors.h"

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <string_view>
#include <sys/file.h>
#include <unistd.h>
#include <utility>

namespace SF {
namespace {

/// The text before the colon of a line.
std::string NameOf(std::string const& iLine) { return iLine.substr(0, iLine.find(':')); }

/// The first line that two keys do not share, as the first one has it.
std::string FirstDifference(std::string_view iKey, std::string_view iOther)
{
  std::size_t begin = 0;
  for (std::size_t i = 0; i < iKey.size() && i < iOther.size() && iKey[i] == iOther[i]; ++i)
    if (iKey[i] == '\n')
      begin = i + 1;
  return std::string(iKey.substr(begin, iKey.find('\n', begin) - begin));
}

} // namespace

std::uint64_t DigestOf(std::string_view iBytes, std::uint64_t iBefore)
{
  for (char const byte : iBytes)
    iBefore = (iBefore ^ static_cast<unsigned char>(byte)) * 0x100000001b3U;
  return iBefore;
}

SFVolumeJournal::SFVolumeJournal(std::string iPath, std::string const& iKey) : _path(std::move(iPath))
{
  _file = open(_path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666);
  if (_file < 0)
    throw SFFileError(_path, errno);
  try {
    if (flock(_file, LOCK_EX | LOCK_NB) != 0)
      throw SFFileError(_path, errno == EWOULDBLOCK ? "another run is at work on it" : std::strerror(errno));
    RequireKey(iKey);
    _end = _records;
    std::string bytes;
    for (Record record; ReadRecord(record, bytes); _end += sizeof record + record.size) {
      _slices = record.end;
      _nans += record.nans;
    }
    auto const end = static_cast<off_t>(_end);
    if (ftruncate(_file, end) != 0 || lseek(_file, end, SEEK_SET) != end)
      throw SFFileError(_path, errno);
  } catch (...) {
    close(_file);
    throw;
  }
}

SFVolumeJournal::~SFVolumeJournal() { close(_file); }

/// The key stands before the records, and ends with a line that is empty.
void SFVolumeJournal::RequireKey(std::string const& iKey)
{
  std::string const wanted = iKey + "\n";
  _records = wanted.size();
  std::string found(wanted.size(), '\0');
  if (ReadBytes(found.data(), found.size()) && found == wanted)
    return;
  found.resize(std::strlen(found.c_str()));
  bool const isStarted = found.size() == wanted.size() || found.find("\n\n") != std::string::npos;
  if (isStarted)
    throw SFFileError(_path, "is of a run that differs in its " + NameOf(FirstDifference(wanted, found)) +
                                 "; remove it to begin anew");
  if (ftruncate(_file, 0) != 0 || lseek(_file, 0, SEEK_SET) != 0)
    throw SFFileError(_path, errno);
  WriteFully(_file, wanted, _path);
}

bool SFVolumeJournal::ReadBytes(void* oBytes, std::size_t iCount)
{
  for (char* to = static_cast<char*>(oBytes); iCount > 0;) {
    ssize_t const count = read(_file, to, iCount);
    if (count < 0 && errno != EINTR)
      throw SFFileError(_path, errno);
    if (count == 0)
      return false;
    to += std::max<ssize_t>(count, 0);
    iCount -= static_cast<std::size_t>(std::max<ssize_t>(count, 0));
  }
  return true;
}

std::uint64_t SFVolumeJournal::ChecksumOf(Record const& iRecord, std::string const& iBytes)
{
  Record unsummed = iRecord;
  unsummed.checksum = 0;
  return DigestOf(iBytes, DigestOf({reinterpret_cast<char const*>(&unsummed), sizeof unsummed}));
}

bool SFVolumeJournal::ReadRecord(Record& oRecord, std::string& oBytes)
{
  off_t const here = lseek(_file, 0, SEEK_CUR);
  off_t const end = lseek(_file, 0, SEEK_END);
  lseek(_file, here, SEEK_SET);
  if (!ReadBytes(&oRecord, sizeof oRecord) || oRecord.size > static_cast<std::uint64_t>(end - here))
    return false;
  oBytes.resize(oRecord.size);
  return ReadBytes(oBytes.data(), oBytes.size()) && oRecord.checksum == ChecksumOf(oRecord, oBytes);
}

std::uint64_t SFVolumeJournal::AddRecord(std::uint32_t iEnd, std::uint64_t iNans, std::string const& iBytes)
{
  Record record{_slices, iEnd, iNans, iBytes.size(), 0};
  record.checksum = ChecksumOf(record, iBytes);
  WriteFully(_file, {reinterpret_cast<char const*>(&record), sizeof record}, _path);
  WriteFully(_file, iBytes, _path);
  _slices = iEnd;
  _nans += iNans;
  std::uint64_t const at = _end + sizeof record;
  _end = at + iBytes.size();
  return at;
}

void SFVolumeJournal::Read(std::uint64_t iAt, std::span<char> oBytes) const { ReadFully(_file, iAt, oBytes, _path); }

void SFVolumeJournal::Replay(std::function<void(std::string const&, std::uint64_t)> const& iTake)
{
  lseek(_file, static_cast<off_t>(_records), SEEK_SET);
  std::string bytes;
  std::uint64_t at = _records;
  for (Record record; at < _end && ReadRecord(record, bytes); at += sizeof record + record.size)
    iTake(bytes, at + sizeof record);
  lseek(_file, static_cast<off_t>(_end), SEEK_SET);
}

void SFVolumeJournal::Remove()
{
  if (unlink(_path.c_str()) != 0)
    throw SFFileError(_path, errno);
}

} // namespace SF
