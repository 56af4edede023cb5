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

namespace SF {
namespace {

/// A file that is built by several runs.
class LongRun
{
public:
  virtual ~LongRun() = default;
  /// The slices from `iBegin` on are done.
  virtual void Add(std::uint32_t iBegin, std::uint32_t iEnd, std::uint64_t iNans, std::span<float const> iValues) = 0;
  /// Makes the file whole, and tells how many points it holds.
  virtual std::uint64_t Finish() = 0;
};

/// All values: the file itself holds them, under its name of unfinished days, and the journal says how far it is sound.
class DenseRun : public LongRun
{
public:
  DenseRun(std::string const& iPath, SFGridFrame const& iFrame, SFVolumeFormat iFormat, SFVolumeOptions const& iOptions,
           SFVolumeJournal& ioJournal)
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
      _journal.AddFinished(_done, std::exchange(_nans, 0));
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

/// A band: the journal holds the bytes of its slabs, and the file is made of them in the end.
class BandRun : public LongRun
{
public:
  BandRun(std::string const& iPath, SFGridFrame const& iFrame, SFVolumeBand const& iBand,
          SFVolumeOptions const& iOptions, std::uint64_t iTag, SFVolumeJournal& ioJournal)
    : _tag(iTag), _file(iPath), _writer(MakeVdbWriter(iFrame, iBand, _file, iOptions, ioJournal))
  {
  }

  void Add(std::uint32_t iBegin, std::uint32_t, std::uint64_t, std::span<float const> iValues) override
  {
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
  std::uint64_t _tag;
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
  std::unique_ptr<LongRun> run;
  if (iFormat == SFVolumeFormat::Vdb)
    run = std::make_unique<BandRun>(iPath, iFrame, sampler.GetBand(), iOptions, DigestOf(key), journal);
  else
    run = std::make_unique<DenseRun>(iPath, iFrame, iFormat, iOptions, journal);
  std::uint64_t const nansBefore = journal.GetNans();
  std::uint64_t known = 0;
  SampleSlabs(sampler, iFrame, journal.GetSlices(), slices, iOptions,
              [&](std::uint32_t iBegin, std::uint32_t iEnd, std::span<float const> iValues) {
                std::uint64_t const nans = sampler.GetReport().pointsWithoutValue;
                run->Add(iBegin, iEnd, nans - std::exchange(known, nans), iValues);
              });
  SFVolumeReport report = sampler.GetReport();
  report.pointsWithoutValue += nansBefore;
  RequireValues(report);
  report.activePoints = run->Finish();
  journal.Remove();
  return report;
}

} // namespace SF
