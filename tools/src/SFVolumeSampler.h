#pragma once

#include "SFProfilerItf.h"
#include "SFVolumeFiles.h"
#include "SFVolumeWriter.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>

namespace SF {

/// std::invalid_argument for a band that is negative or not finite.
void RequireHalfBand(double iHalfBand);

/// The band that a volume gets; without one the limit is infinite.
SFVolumeBand BandOf(SFGridFrame const& iFrame, SFVolumeFormat iFormat, SFVolumeOptions const& iOptions,
                    double iSteepness);

/// Slices that are in memory at once: some megabytes of them, as many as the writer wants at least. SFMemoryLimit.
std::uint32_t SlicesAtOnce(SFGridFrame const& iFrame, SFVolumeFormat iFormat, SFVolumeOptions const& iOptions);

/// The values of a volume, slab by slab. Field and options are those of WriteVolume, and so are the errors.
class SFVolumeSampler
{
public:
  /// `iSlabProfiler` is told how far each slab has got, on the thread of the caller; may be null.
  SFVolumeSampler(SFField const& iField, SFGridFrame const& iFrame, SFVolumeFormat iFormat,
                  SFVolumeOptions const& iOptions, SFProfilerItf* iSlabProfiler = nullptr);

  SFVolumeBand const& GetBand() const { return _band; }
  /// SFMemoryLimit where the band of a VDB file, by an estimate of the surface, and a slab of so many slices beside it would
  /// take more memory than there is.
  void RequireRoomForBand(std::uint32_t iSlices, SFWorkOptions const& iOptions) const;
  /// The slices from `iBegin` to before `iEnd`.
  void Sample(std::uint32_t iBegin, std::uint32_t iEnd, std::span<float> oValues);
  /// What was found out, of the slabs that have been sampled.
  SFVolumeReport const& GetReport() const { return _report; }

private:
  SFGridFrame _frame;
  SFVolumeReport _report;
  bool _hasBand;
  SFVolumeBand _band;
  std::shared_ptr<SFCompiledField> _compiled;
};

/// All that the values of a volume depend on, in lines "name: value". std::domain_error for resources without an id.
std::string VolumeKey(SFField const& iField, SFGridFrame const& iFrame, SFVolumeFormat iFormat,
                      SFVolumeOptions const& iOptions);

/// Gives a VDB file the identity that its content has: OpenVDB's own is random, so that no two runs gave the same file.
void SetVdbTag(SFOutputFile& ioFile, std::uint64_t iTag);

/// Samples the slices from `iFirst` on, some at once, and hands them on.
void SampleSlabs(
    SFVolumeSampler& ioSampler, SFGridFrame const& iFrame, std::uint32_t iFirst, std::uint32_t iAtOnce,
    SFWorkOptions const& iOptions,
    std::function<void(std::uint32_t iBegin, std::uint32_t iEnd, std::span<float const> iValues)> const& iTake);

} // namespace SF
