#pragma once

#include "SFProfilerItf.h"
#include "SFVolumeFiles.h"
#include "SFVolumeWriter.h"

#include <cstdint>
#include <memory>
#include <span>

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

} // namespace SF
