#include "ExplicitToSF.h"

namespace SF {

ExplicitToSF::ExplicitToSF() = default;
ExplicitToSF::ExplicitToSF(SFNodeType iType) : BRXResourceToSF(iType) {}
ExplicitToSF::ExplicitToSF(ExplicitToSF const&) = default;
ExplicitToSF::~ExplicitToSF() = default;

_GUID ExplicitToSF::GetSFResourceTypeS()
{
  return {0x6a2939a6, 0x996c, 0x473b, {0x80, 0xba, 0x06, 0xe0, 0x41, 0xab, 0xf8, 0xb8}};
}
char const* ExplicitToSF::GetSFResourceTypeTagS() { return "#EXPL"; }
_GUID ExplicitToSF::GetSFResourceType() const { return GetSFResourceTypeS(); }
char const* ExplicitToSF::GetSFResourceTypeTag() const { return GetSFResourceTypeTagS(); }

HRESULT ExplicitToSF::ComputeScalars(ZULMathBox const&, ZULTolerance const&, ZULGMSFDiscretizationAccuracyLevel)
{
  return S_OK;
}
double ExplicitToSF::GetScalar(ZULMathPoint const&) const { return MissingValue; }

} // namespace SF
