#include "SFVolumeSlabs.h"

#include "SFToolsErrors.h"
#include "SFVolumeSampler.h"

#include <stdexcept>

namespace SF {

struct SFVolumeSlabs::Content
{
  SFVolumeSampler sampler;
  std::string header;
  std::string end;
  std::uint64_t sliceBytes;
};

namespace {

SFVolumeFormat RequireDense(SFVolumeFormat iFormat)
{
  if (iFormat == SFVolumeFormat::Vdb)
    throw std::invalid_argument("format: a VDB file is not put together from slabs");
  return iFormat;
}

} // namespace

SFVolumeSlabs::SFVolumeSlabs(SFField const& iField, SFGridFrame const& iFrame, SFVolumeFormat iFormat,
                             SFVolumeOptions const& iOptions)
  : _content(std::make_unique<Content>(
        Content{SFVolumeSampler(iField, iFrame, RequireDense(iFormat), iOptions, iOptions.profiler),
                DenseHeader(iFrame, iFormat, iOptions), DenseEnd(iFormat),
                std::uint64_t{iFrame.dims[0]} * iFrame.dims[1] * sizeof(float)}))
{
}

SFVolumeSlabs::~SFVolumeSlabs() = default;

std::string const& SFVolumeSlabs::GetHeader() const { return _content->header; }
std::string const& SFVolumeSlabs::GetEnd() const { return _content->end; }

std::uint64_t SFVolumeSlabs::PositionOf(std::uint32_t iSlice) const
{
  return _content->header.size() + _content->sliceBytes * iSlice;
}

void SFVolumeSlabs::Render(std::uint32_t iBegin, std::uint32_t iEnd, std::span<float> oValues)
{
  _content->sampler.Sample(iBegin, iEnd, oValues);
}

SFVolumeReport SFVolumeSlabs::GetReport() const
{
  SFVolumeReport report = _content->sampler.GetReport();
  report.activePoints = report.points;
  return report;
}

void RequireValues(SFVolumeReport const& iReport)
{
  if (iReport.pointsWithoutValue == iReport.points)
    throw SFModelError("the field has no value at any point of the grid");
}

} // namespace SF
