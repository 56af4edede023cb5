#include "SFVolumeFiles.h"

#include "SFToolsErrors.h"
#include "SFVolumeJournal.h"
#include "SFVolumeSampler.h"
#include "SFVolumeSlabs.h"
#include "SFVolumeWriter.h"
#include "SFWork.h"

#include <chrono>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace SF {
namespace {

/// Where finished slabs go, so that they outlive the run.
class SlabStore
{
public:
  virtual ~SlabStore() = default;
  /// The slices from `iBegin` on are done.
  virtual void Add(std::uint32_t iBegin, std::uint32_t iEnd, std::uint64_t iNans, std::span<float const> iValues) = 0;
  /// Makes the file whole, and tells how many points it holds.
  virtual std::uint64_t Finish() = 0;
};

/// All values: the file itself holds them, under its name of unfinished days, and the journal says how far it is sound.
class DenseStore : public SlabStore
{
public:
  DenseStore(std::string const& iPath, SFGridFrame const& iFrame, SFVolumeFormat iFormat,
             SFVolumeOptions const& iOptions, SFVolumeJournal& ioJournal)
    : _journal(ioJournal), _points(iFrame.PointCount()), _header(DenseHeader(iFrame, iFormat, iOptions)),
      _end(DenseEnd(iFormat)),
      _file(iPath, SFOutputFile::Kept{ioJournal.GetSlices() == 0
                                          ? 0
                                          : _header.size() +
                                                ioJournal.GetSlices() * (_points / iFrame.dims[2]) * sizeof(float)})
  {
    if (ioJournal.GetSlices() == 0)
      _file.Write(_header);
  }

  void Add(std::uint32_t, std::uint32_t iEnd, std::uint64_t iNans, std::span<float const> iValues) override
  {
    _file.Write(iValues);
    _done = iEnd;
    _nans += iNans;
    auto const now = Clock::now();
    if (now - _last < std::chrono::seconds(1))
      return;
    Checkpoint();
    _last = now;
  }

  std::uint64_t Finish() override
  {
    Checkpoint();
    _file.Write(_end);
    _file.Commit();
    return _points;
  }

private:
  using Clock = std::chrono::steady_clock;

  /// The values are on the disk before the journal says so.
  void Checkpoint()
  {
    _file.Flush();
    if (_done > _journal.GetSlices())
      _journal.Add(_done, std::exchange(_nans, 0), "");
  }

  SFVolumeJournal& _journal;
  std::uint64_t _points;
  std::string _header;
  std::string _end;
  SFOutputFile _file;
  std::uint32_t _done = 0;
  std::uint64_t _nans = 0; ///< that the journal does not know of yet
  Clock::time_point _last = Clock::now();
};

/// A band: the journal holds the slabs, most of which are runs of equal values, and the file is made of them in the end.
class BandStore : public SlabStore
{
public:
  BandStore(std::string const& iPath, SFGridFrame const& iFrame, SFVolumeBand const& iBand,
            SFVolumeOptions const& iOptions, std::uint64_t iTag, SFVolumeJournal& ioJournal)
    : _journal(ioJournal), _path(iPath), _tag(iTag), _slice(std::size_t{iFrame.dims[0]} * iFrame.dims[1]), _file(iPath),
      _writer(MakeVdbWriter(iFrame, iBand, _file, iOptions))
  {
    std::vector<float> values;
    ioJournal.Replay([&](std::uint32_t iBegin, std::uint32_t iEnd, std::string const& iBytes) {
      ThrowIfCancelled(iOptions);
      values.resize(_slice * (iEnd - iBegin));
      if (!UnpackRuns(iBytes, values))
        throw SFFileError(_path, "the journal of its slabs is damaged; remove it to begin anew");
      _writer->Add(iBegin, values);
    });
  }

  void Add(std::uint32_t iBegin, std::uint32_t iEnd, std::uint64_t iNans, std::span<float const> iValues) override
  {
    _journal.Add(iEnd, iNans, PackRuns(iValues));
    _writer->Add(iBegin, iValues);
  }

  std::uint64_t Finish() override
  {
    std::uint64_t const points = _writer->Finish();
    SetVdbTag(_file, _tag);
    _file.Commit();
    return points;
  }

private:
  SFVolumeJournal& _journal;
  std::string _path;
  std::uint64_t _tag;
  std::size_t _slice;
  SFOutputFile _file;
  std::unique_ptr<SFVolumeWriter> _writer;
};

} // namespace

SFVolumeReport WriteVolumeResumably(SFField const& iField, SFGridFrame const& iFrame, SFVolumeFormat iFormat,
                                    std::string const& iPath, SFVolumeOptions const& iOptions)
{
  std::uint32_t const slices = SlicesAtOnce(iFrame, iFormat, iOptions);
  SFVolumeSampler sampler(iField, iFrame, iFormat, iOptions);
  std::string const key = VolumeKey(iField, iFrame, iFormat, iOptions);
  SFVolumeJournal journal(iPath + ".journal", key);
  std::unique_ptr<SlabStore> store;
  if (iFormat == SFVolumeFormat::Vdb)
    store = std::make_unique<BandStore>(iPath, iFrame, sampler.GetBand(), iOptions, DigestOf(key), journal);
  else
    store = std::make_unique<DenseStore>(iPath, iFrame, iFormat, iOptions, journal);
  std::uint64_t const nansBefore = journal.GetNans();
  std::uint64_t known = 0;
  SampleSlabs(sampler, iFrame, journal.GetSlices(), slices, iOptions,
              [&](std::uint32_t iBegin, std::uint32_t iEnd, std::span<float const> iValues) {
                std::uint64_t const nans = sampler.GetReport().pointsWithoutValue;
                store->Add(iBegin, iEnd, nans - std::exchange(known, nans), iValues);
              });
  SFVolumeReport report = sampler.GetReport();
  report.pointsWithoutValue += nansBefore;
  RequireValues(report);
  report.activePoints = store->Finish();
  journal.Remove();
  return report;
}

} // namespace SF
