#pragma once

#include "SFField.h"
#include "SFSampling.h"
#include "SFToolsExport.h"
#include "SFVolumeFiles.h"

#include <cstdint>
#include <memory>
#include <span>
#include <string>

namespace SF {

/// The file that WriteVolume writes, for those who put it together themselves from slabs of slices: processes that share the
/// work. All formats but VDB. Slabs may be of any height and in any order; the file is the same, byte for byte.
class SF_TOOLS_EXPORT SFVolumeSlabs
{
public:
  /// The profiler of the options is told how far each slab has got. Errors of WriteVolume; std::invalid_argument for VDB.
  SFVolumeSlabs(SFField const& iField, SFGridFrame const& iFrame, SFVolumeFormat iFormat,
                SFVolumeOptions const& iOptions = {});
  SFVolumeSlabs(SFVolumeSlabs const&) = delete;
  SFVolumeSlabs& operator=(SFVolumeSlabs const&) = delete;
  ~SFVolumeSlabs();

  /// What the file begins with; the values follow, 4 bytes each, little-endian, slice after slice.
  std::string const& GetHeader() const;
  /// What it ends with.
  std::string const& GetEnd() const;
  /// Where the values of a slice begin; of the number of slices, where they end.
  std::uint64_t PositionOf(std::uint32_t iSlice) const;

  /// The values of the slices from `iBegin` to before `iEnd`, as the file has them but for the order of bytes. Errors of
  /// WriteVolume.
  void Render(std::uint32_t iBegin, std::uint32_t iEnd, std::span<float> oValues);
  /// Of the slabs that this object has rendered: points without a value. The other figures are those of the whole volume.
  SFVolumeReport GetReport() const;

private:
  struct Content;
  std::unique_ptr<Content> _content;
};

/// Of a whole volume: SFModelError when no point has a value.
SF_TOOLS_EXPORT void RequireValues(SFVolumeReport const& iReport);

} // namespace SF
