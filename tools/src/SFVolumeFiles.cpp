#include "SFVolumeFiles.h"

#include "SFNameTable.h"
#include "SFVolumeSampler.h"
#include "SFVolumeSlabs.h"
#include "SFVolumeWriter.h"
#include "SFWork.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <stdexcept>
#include <vector>

namespace SF {
namespace {

constexpr SFNameTable<SFVolumeFormat, 5> Formats{
    {SFVolumeFormat::Npy, SFVolumeFormat::Raw, SFVolumeFormat::Nrrd, SFVolumeFormat::Vti, SFVolumeFormat::Vdb},
    {".npy", ".raw", ".nrrd", ".vti", ".vdb"}};

std::unique_ptr<SFVolumeWriter> MakeWriter(SFGridFrame const& iFrame, SFVolumeFormat iFormat, SFVolumeBand const& iBand,
                                           SFOutputFile& ioFile, SFVolumeOptions const& iOptions)
{
  return iFormat == SFVolumeFormat::Vdb ? MakeVdbWriter(iFrame, iBand, ioFile, iOptions)
                                        : MakeDenseWriter(iFrame, iFormat, ioFile, iOptions);
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
  auto const writer = MakeWriter(iFrame, iFormat, sampler.GetBand(), ioFile, iOptions);
  SFProgress const progress(iOptions, "volume");
  std::uint64_t const slice = std::uint64_t{iFrame.dims[0]} * iFrame.dims[1];
  std::vector<float> values(slice * slices);
  for (std::uint32_t begin = 0; begin < iFrame.dims[2];) {
    progress.Report(static_cast<double>(begin) / iFrame.dims[2]);
    ThrowIfCancelled(iOptions);
    std::uint32_t const end = begin + std::min(slices, iFrame.dims[2] - begin);
    std::span const slab(values.data(), slice * (end - begin));
    sampler.Sample(begin, end, slab);
    writer->Add(begin, slab);
    begin = end;
  }
  SFVolumeReport report = sampler.GetReport();
  RequireValues(report);
  report.activePoints = writer->Finish();
  progress.Report(1.0);
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
  auto const writer = MakeWriter(iFrame, iFormat, band, ioFile, iOptions);
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
