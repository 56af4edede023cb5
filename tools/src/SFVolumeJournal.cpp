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

/// Equal values from which on a run is shorter than the values themselves.
constexpr std::size_t LeastRun = 4;

/// How many equal values there are from a place on.
std::size_t RunAt(std::span<float const> iValues, std::size_t iFrom)
{
  auto const first = std::bit_cast<std::uint32_t>(iValues[iFrom]);
  std::size_t end = iFrom + 1;
  while (end < iValues.size() && std::bit_cast<std::uint32_t>(iValues[end]) == first)
    ++end;
  return end - iFrom;
}

void Append(std::string& ioBytes, void const* iFrom, std::size_t iCount)
{
  ioBytes.append(static_cast<char const*>(iFrom), iCount);
}

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

std::string PackRuns(std::span<float const> iValues)
{
  std::string bytes;
  for (std::size_t at = 0; at < iValues.size();) {
    // Values as they are, up to a run, and the run.
    std::size_t run = at;
    std::size_t length = 0;
    while (run < iValues.size() && (length = RunAt(iValues, run)) < LeastRun)
      run += std::exchange(length, 0);
    std::uint64_t const counts[2] = {run - at, length};
    Append(bytes, counts, sizeof counts);
    Append(bytes, iValues.data() + at, (run - at + (length > 0 ? 1 : 0)) * sizeof(float));
    at = run + length;
  }
  return bytes;
}

bool UnpackRuns(std::string const& iBytes, std::span<float> oValues)
{
  std::string_view bytes = iBytes;
  std::size_t at = 0;
  auto const take = [&bytes](void* oTo, std::size_t iCount) {
    if (bytes.size() < iCount)
      return false;
    std::memcpy(oTo, bytes.data(), iCount);
    bytes.remove_prefix(iCount);
    return true;
  };
  while (!bytes.empty()) {
    std::uint64_t counts[2] = {0, 0};
    if (!take(counts, sizeof counts) || counts[0] > oValues.size() - at ||
        counts[1] > oValues.size() - at - counts[0] || !take(oValues.data() + at, counts[0] * sizeof(float)))
      return false;
    at += counts[0];
    float value = 0.0F;
    if (counts[1] > 0 && !take(&value, sizeof value))
      return false;
    std::fill_n(oValues.begin() + static_cast<std::ptrdiff_t>(at), counts[1], value);
    at += counts[1];
  }
  return at == oValues.size();
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
    auto end = static_cast<off_t>(_records);
    std::string bytes;
    for (Record record; Read(record, bytes); end = lseek(_file, 0, SEEK_CUR)) {
      _slices = record.end;
      _nans += record.nans;
    }
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
  Write(wanted.data(), wanted.size());
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

void SFVolumeJournal::Write(void const* iBytes, std::size_t iCount)
{
  for (char const* from = static_cast<char const*>(iBytes); iCount > 0;) {
    ssize_t const count = write(_file, from, iCount);
    if (count < 0 && errno != EINTR)
      throw SFFileError(_path, errno);
    from += std::max<ssize_t>(count, 0);
    iCount -= static_cast<std::size_t>(std::max<ssize_t>(count, 0));
  }
}

std::uint64_t SFVolumeJournal::ChecksumOf(Record const& iRecord, std::string const& iBytes)
{
  Record unsummed = iRecord;
  unsummed.checksum = 0;
  return DigestOf(iBytes, DigestOf({reinterpret_cast<char const*>(&unsummed), sizeof unsummed}));
}

bool SFVolumeJournal::Read(Record& oRecord, std::string& oBytes)
{
  off_t const here = lseek(_file, 0, SEEK_CUR);
  off_t const end = lseek(_file, 0, SEEK_END);
  lseek(_file, here, SEEK_SET);
  if (!ReadBytes(&oRecord, sizeof oRecord) || oRecord.size > static_cast<std::uint64_t>(end - here))
    return false;
  oBytes.resize(oRecord.size);
  return ReadBytes(oBytes.data(), oBytes.size()) && oRecord.checksum == ChecksumOf(oRecord, oBytes);
}

void SFVolumeJournal::Add(std::uint32_t iEnd, std::uint64_t iNans, std::string const& iBytes)
{
  Record record{_slices, iEnd, iNans, iBytes.size(), 0};
  record.checksum = ChecksumOf(record, iBytes);
  Write(&record, sizeof record);
  Write(iBytes.data(), iBytes.size());
  _slices = iEnd;
  _nans += iNans;
}

void SFVolumeJournal::Replay(std::function<void(std::uint32_t, std::uint32_t, std::string const&)> const& iTake)
{
  off_t const end = lseek(_file, 0, SEEK_CUR);
  lseek(_file, static_cast<off_t>(_records), SEEK_SET);
  std::string bytes;
  for (Record record; lseek(_file, 0, SEEK_CUR) < end && Read(record, bytes);)
    iTake(record.begin, record.end, bytes);
  lseek(_file, end, SEEK_SET);
}

void SFVolumeJournal::Remove()
{
  if (unlink(_path.c_str()) != 0)
    throw SFFileError(_path, errno);
}

} // namespace SF
