#pragma once

#include "SFSlabStore.h"

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <string_view>

namespace SF {

/// What has been finished of a volume, in a file of its own beside it, so that another run can go on: after what it is a
/// volume of, a record for each slab, in order. A record that was being written when the run ended is not taken for one.
class SFVolumeJournal : public SFSlabStore
{
public:
  /// Opens or makes the file. `iKey` says in lines "name: value" what is made; SFFileError where the file says otherwise, and
  /// while another process has it open.
  SFVolumeJournal(std::string iPath, std::string const& iKey);
  SFVolumeJournal(SFVolumeJournal const&) = delete;
  SFVolumeJournal& operator=(SFVolumeJournal const&) = delete;
  ~SFVolumeJournal() override;

  /// Finished slices, and the points without a value in them.
  std::uint32_t GetSlices() const { return _slices; }
  std::uint64_t GetNans() const { return _nans; }

  /// The slices up to before `iEnd` are finished, with more points without a value.
  void AddFinished(std::uint32_t iEnd, std::uint64_t iNans) { AddRecord(iEnd, iNans, ""); }
  /// The same, with bytes that are kept with the record, for bands, in which every point has a value.
  std::uint64_t Add(std::uint32_t iEnd, std::string const& iBytes) override { return AddRecord(iEnd, 0, iBytes); }
  void Read(std::uint64_t iAt, std::span<char> oBytes) const override;
  void Replay(std::function<void(std::string const& iBytes, std::uint64_t iAt)> const& iTake) override;
  /// When the volume is whole.
  void Remove();

private:
  struct Record
  {
    std::uint32_t begin = 0;
    std::uint32_t end = 0;
    std::uint64_t nans = 0;
    std::uint64_t size = 0;     ///< of the bytes that follow
    std::uint64_t checksum = 0; ///< of all this
  };

  std::uint64_t AddRecord(std::uint32_t iEnd, std::uint64_t iNans, std::string const& iBytes);
  bool ReadRecord(Record& oRecord, std::string& oBytes);
  void RequireKey(std::string const& iKey);
  static std::uint64_t ChecksumOf(Record const& iRecord, std::string const& iBytes);
  bool ReadBytes(void* oBytes, std::size_t iCount);

  std::string _path;
  int _file = -1;
  std::uint64_t _records = 0; ///< where they begin
  std::uint64_t _end = 0;     ///< where the last one ends
  std::uint32_t _slices = 0;
  std::uint64_t _nans = 0;
};

/// 64 bits that tell texts apart (G. Fowler, L. Noll, K. Vo, "FNV-1a").
std::uint64_t DigestOf(std::string_view iBytes, std::uint64_t iBefore = 0xcbf29ce484222325U);

} // namespace SF
