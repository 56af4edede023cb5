#include "SFVolumeFiles.h"

#include "SFNameTable.h"
#include "SFVolumeJournal.h"
#include "SFVolumeSampler.h"
#include "SFVolumeSlabs.h"
#include "SFVolumeWriter.h"
#include "SFWork.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <memory>
#include <optional>
#include <stdexcept>
#include <vector>

namespace SF {
namespace {

constexpr SFNameTable<SFVolumeFormat, 5> Formats{
    {SFVolumeFormat::Npy, SFVolumeFormat::Raw, SFVolumeFormat::Nrrd, SFVolumeFormat::Vti, SFVolumeFormat::Vdb},
    {".npy", ".raw", ".nrrd", ".vti", ".vdb"}};

/// A writer, and where it keeps what does not go into the file at once.
class Writing
{
public:
  Writing(SFGridFrame const& iFrame, SFVolumeFormat iFormat, SFVolumeBand const& iBand, SFOutputFile& ioFile,
          SFVolumeOptions const& iOptions)
  {
    if (iFormat == SFVolumeFormat::Vdb)
      _writer = MakeVdbWriter(iFrame, iBand, ioFile, iOptions, _scratch.emplace(ioFile));
    else
      _writer = MakeDenseWriter(iFrame, iFormat, ioFile, iOptions);
  }

  SFVolumeWriter* operator->() const { return _writer.get(); }

private:
  std::optional<SFScratchFile> _scratch;
  std::unique_ptr<SFVolumeWriter> _writer;
};

/// A field that has no text keeps the identity that is random.
void TagVdb(SFField const& iField, SFGridFrame const& iFrame, SFOutputFile& ioFile, SFVolumeOptions const& iOptions)
{
  try {
    SetVdbTag(ioFile, DigestOf(VolumeKey(iField, iFrame, SFVolumeFormat::Vdb, iOptions)));
  } catch (std::domain_error const&) {
  }
}

} // namespace

std::span<std::string_view const> VolumeExtensions() { return Formats.names; }

SFVolumeFormat VolumeFormatOf(std::string_view iPath)
{
  return Formats.Find(ExtensionOf(iPath), "volume: '" + std::string(iPath) + "' does not end in");
}

SFVolumeReport WriteVolume(SFField const& iField, SFGridFrame const& iFrame, SFVolumeFormat iFormat,
                           SFOutputFile& ioFile, SFVolumeOptions const& iOptions)
{
  std::uint32_t const slices = SlicesAtOnce(iFrame, iFormat, iOptions);
  SFVolumeSampler sampler(iField, iFrame, iFormat, iOptions);
  if (iFormat == SFVolumeFormat::Vdb)
    sampler.RequireRoomForBand(slices, iOptions);
  Writing const writer(iFrame, iFormat, sampler.GetBand(), ioFile, iOptions);
  SampleSlabs(
      sampler, iFrame, 0, slices, iOptions,
      [&](std::uint32_t iBegin, std::uint32_t, std::span<float const> iValues) { writer->Add(iBegin, iValues); });
  SFVolumeReport report = sampler.GetReport();
  RequireValues(report);
  report.activePoints = writer->Finish();
  if (iFormat == SFVolumeFormat::Vdb)
    TagVdb(iField, iFrame, ioFile, iOptions);
  SFProgress(iOptions, "volume").Report(1.0);
  return report;
}

SFVolumeReport WriteVolume(std::span<float const> iValues, SFGridFrame const& iFrame, SFVolumeFormat iFormat,
                           SFOutputFile& ioFile, SFVolumeOptions const& iOptions)
{
  RequireHalfBand(iOptions.halfBand);
  SFVolumeReport report;
  report.points = iFrame.PointCount();
  if (iValues.size() != report.points)
    throw std::invalid_argument("values: not one for each point of the grid");
  SFVolumeBand const band = BandOf(iFrame, iFormat, iOptions, report.steepness);
  Writing const writer(iFrame, iFormat, band, ioFile, iOptions);
  std::vector<float> limited;
  if (std::isfinite(band.limit)) {
    auto const limit = static_cast<float>(band.limit);
    limited.assign(iValues.begin(), iValues.end());
    for (float& value : limited)
      value = std::clamp(value, -limit, limit);
  }
  writer->Add(0, limited.empty() ? iValues : limited);
  report.activePoints = writer->Finish();
  return report;
}

} // namespace SF
