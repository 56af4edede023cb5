#pragma once

#include "BRXResourceToSF.h"

namespace SF {

/// A resource named by number in a text that was read without a resolver: it keeps its id and has no values.
class SF_EXPORT ExplicitToSF : public BRXResourceToSF
{
public:
  ExplicitToSF();
  explicit ExplicitToSF(SFNodeType iType);
  ExplicitToSF(ExplicitToSF const& iOther);
  ~ExplicitToSF() override;

  _GUID GetSFResourceType() const override;
  char const* GetSFResourceTypeTag() const override;
  HRESULT ComputeScalars(ZULMathBox const& iBox, ZULTolerance const& iTolerance,
                         ZULGMSFDiscretizationAccuracyLevel iLevel) override;
  double GetScalar(ZULMathPoint const& iPoint) const override;

  static _GUID GetSFResourceTypeS();
  static char const* GetSFResourceTypeTagS();
};

} // namespace SF
