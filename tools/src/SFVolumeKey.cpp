#include "SFListing.h"
#include "SFVersion.h"
#include "SFVolumeJournal.h"
#include "SFVolumeSampler.h"

#include <array>
#include <cstdio>

namespace SF {

std::string VolumeKey(SFField const& iField, SFGridFrame const& iFrame, SFVolumeFormat iFormat,
                      SFVolumeOptions const& iOptions)
{
  std::array<char, 640> text{};
  auto const [x, y, z] = iFrame.origin;
  std::snprintf(text.data(), text.size(),
                "what: slabs of a volume\nversion: %s\nformat: %d\nmodel: %016llx\npoints: %u %u %u\nvoxel: %a\n"
                "origin: %a %a %a\nband: %a\nunit: %s\nslab: %u\n",
                SF_VERSION_STRING, static_cast<int>(iFormat),
                static_cast<unsigned long long>(DigestOf(WriteListing(iField))), iFrame.dims[0], iFrame.dims[1],
                iFrame.dims[2], iFrame.voxel, x, y, z, iOptions.halfBand, std::string(SymbolOf(iOptions.unit)).c_str(),
                SlicesAtOnce(iFrame, iFormat, iOptions));
  return text.data() + ("name: " + iOptions.name) + "\n";
}

void SetVdbTag(SFOutputFile& ioFile, std::uint64_t iTag)
{
  if (ioFile.GetTemporaryPath().empty())
    return;
  // Behind the magic number, three versions and a flag, as text. (OpenVDB, "Archive", format version 224.)
  constexpr std::uint64_t place = 8 + 3 * 4 + 1;
  std::array<char, 40> text{};
  std::snprintf(text.data(), text.size(), "%08x-%04x-8%03x-8000-%012x", static_cast<unsigned>(iTag >> 32),
                static_cast<unsigned>(iTag >> 16 & 0xFFFF), static_cast<unsigned>(iTag >> 4 & 0xFFF),
                static_cast<unsigned>(iTag & 0xF));
  ioFile.Overwrite(place, text.data());
}

} // namespace SF
