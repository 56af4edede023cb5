#pragma once

#include "SFField.h"
#include "SFOutputFile.h"
#include "SFSampling.h"
#include "SFToolsExport.h"
#include "SFWorkOptions.h"

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace SF {

/// Formats of volumes: 32-bit floats, x fastest unless said otherwise.
enum class SFVolumeFormat
{
  Vdb,  ///< OpenVDB: the narrow band of a level set, sparse; with origin, spacing and unit
  Npy,  ///< NumPy, of shape (nz, ny, nx)
  Nrrd, ///< with origin, spacing and unit
  Vti,  ///< VTK image data, with origin and spacing
  Raw   ///< the values alone, little-endian
};

/// The extensions of the formats: ".npy", ".raw", ".nrrd", ".vti", ".vdb". Static memory.
SF_TOOLS_EXPORT std::span<std::string_view const> VolumeExtensions();

/// By the extension of a file's name, in any case. std::invalid_argument, naming all of them, for
/// another one.
SF_TOOLS_EXPORT SFVolumeFormat VolumeFormatOf(std::string_view iPath);

/// What a volume is to hold, beside progress, cancelling and memory as for all work.
struct SFVolumeOptions : SFWorkOptions
{
  /// Half the width of the narrow band about the surface, in voxels; values beyond it keep their sign alone. 0 for all
  /// values, or 3 voxels in VDB, which always has a band.
  double halfBand = 0.0;
  SFLengthUnit unit = SFLengthUnit::Millimetre; ///< of the frame, where the format has units
  std::string name = "field";                   ///< of the values, where the format has names
};

/// What was found out while a volume was written.
struct SFVolumeReport
{
  std::uint64_t points = 0; ///< of the frame
  /// Points where the field is NaN, stored as the furthest value outside; not counted in a band.
  std::uint64_t pointsWithoutValue = 0;
  std::uint64_t activePoints = 0; ///< within the band; all without one
  /// How much the field changes over a length near its surface, 1 for distances. Measured, at some hundred points. The
  /// band is `halfBand` voxels times as wide in values, and those in VDB are divided by it, so that they are lengths.
  double steepness = 1.0;
};

/// Samples a field on a frame and writes it, slab by slab: what is in memory at once is a few slices, and in VDB the
/// narrow band. The file is the caller's to commit. Values are those of SFCompiledField::RenderSlices, bit for bit.
///
/// Errors: SFFileError; SFMemoryLimit; SFCancelled; SFModelError for a field that has no value anywhere on the frame,
/// and for VDB when there is no surface in it; std::invalid_argument for a band that is negative or not finite.
SF_TOOLS_EXPORT SFVolumeReport WriteVolume(SFField const& iField, SFGridFrame const& iFrame, SFVolumeFormat iFormat,
                                           SFOutputFile& ioFile, SFVolumeOptions const& iOptions = {});

/// As above, in a run that another one can go on with when it is interrupted, in whatever way: called again with the same
/// arguments, it samples what is missing, and the file is the same. Until it is whole there are beside it `<iPath>.journal`,
/// which says what has been finished of which volume, and but for VDB `<iPath>.partial`, its values so far; the journal of a
/// VDB holds its slabs. SFFileError, too, when the journal is that of another field, frame, format or options.
SF_TOOLS_EXPORT SFVolumeReport WriteVolumeResumably(SFField const& iField, SFGridFrame const& iFrame,
                                                    SFVolumeFormat iFormat, std::string const& iPath,
                                                    SFVolumeOptions const& iOptions = {});

/// Writes values that the caller has, one for each point of the frame. A band is in their own unit then: the steepness
/// is 1.
SF_TOOLS_EXPORT SFVolumeReport WriteVolume(std::span<float const> iValues, SFGridFrame const& iFrame,
                                           SFVolumeFormat iFormat, SFOutputFile& ioFile,
                                           SFVolumeOptions const& iOptions = {});

} // namespace SF
