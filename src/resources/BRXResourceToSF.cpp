#include "BRXResourceToSF.h"

namespace SF {

BRXResourceToSF::BRXResourceToSF() = default;
BRXResourceToSF::BRXResourceToSF(SFNodeType iType) : ResourceToSF(iType) {}
BRXResourceToSF::BRXResourceToSF(BRXResourceToSF const&) = default;
BRXResourceToSF::~BRXResourceToSF() = default;

_GUID BRXResourceToSF::GetSFResourceTypeS()
{
  return {0x6de32814, 0x5f41, 0x4afd, {0xa1, 0x91, 0x8c, 0x94, 0x4b, 0x7c, 0x21, 0xb2}};
}
char const* BRXResourceToSF::GetSFResourceTypeTagS() { return "#BRX"; }
_GUID BRXResourceToSF::GetSFResourceType() const { return GetSFResourceTypeS(); }
char const* BRXResourceToSF::GetSFResourceTypeTag() const { return GetSFResourceTypeTagS(); }

} // namespace SF
