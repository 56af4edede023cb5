#pragma once

#include "SFSlabStore.h"
#include "SFVolumeFiles.h"

#include <cstdint>
#include <memory>
#include <span>
#include <string>

namespace SF {

/// Takes the values of a volume slab by slab, from the lowest slice on.
class SFVolumeWriter
{
public:
  virtual ~SFVolumeWriter() = default;
  /// The slices from `iFirst` on, one value for each point.
  virtual void Add(std::uint32_t iFirst, std::span<float const> iValues) = 0;
  /// Writes what is left, and tells how many points the file holds.
  virtual std::uint64_t Finish() = 0;
};

/// The band of a level set.
struct SFVolumeBand
{
  double limit = 0.0;     ///< the largest magnitude, in values of the field
  double steepness = 1.0; ///< what values are divided by to be lengths
};

/// What the file of a format begins and ends with, around all values. Not for VDB.
std::string DenseHeader(SFGridFrame const& iFrame, SFVolumeFormat iFormat, SFVolumeOptions const& iOptions);
std::string DenseEnd(SFVolumeFormat iFormat);
/// All values, behind a header of the format.
std::unique_ptr<SFVolumeWriter> MakeDenseWriter(SFGridFrame const& iFrame, SFVolumeFormat iFormat, SFOutputFile& ioFile,
                                                SFVolumeOptions const& iOptions);

/// Slabs that the writer takes begin at multiples of this many slices.
constexpr std::uint32_t SFVdbSlices = 8;
/// The narrow band. What the store has of earlier runs is the lower part of the volume, and slabs come from there on.
std::unique_ptr<SFVolumeWriter> MakeVdbWriter(SFGridFrame const& iFrame, SFVolumeBand const& iBand,
                                              SFOutputFile& ioFile, SFVolumeOptions const& iOptions,
                                              SFSlabStore& ioStore);

} // namespace SF
