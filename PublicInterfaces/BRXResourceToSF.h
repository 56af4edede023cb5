#pragma once

#include "ResourceToSF.h"

namespace SF {

/// Base for resources over a host's boundary representation. The host supplies ComputeScalars and GetScalar, and
/// usually GetGradient and GetRawResource.
class SF_EXPORT BRXResourceToSF : public ResourceToSF
{
public:
  BRXResourceToSF();
  explicit BRXResourceToSF(SFNodeType iType);
  BRXResourceToSF(BRXResourceToSF const& iOther);
  ~BRXResourceToSF() override;

  _GUID GetSFResourceType() const override;
  char const* GetSFResourceTypeTag() const override;
  HRESULT ComputeScalars(ZULMathBox const& iBox, ZULTolerance const& iTolerance,
                         ZULGMSFDiscretizationAccuracyLevel iLevel) override = 0;
  double GetScalar(ZULMathPoint const& iPoint) const override = 0;

  static _GUID GetSFResourceTypeS();
  static char const* GetSFResourceTypeTagS();
};

} // namespace SF
