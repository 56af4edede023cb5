#pragma once

#include "ResourceToSF.h"

namespace SF {

/// Base for resources over a host's boundary representation. The host supplies ComputeScalars and GetScalar, and
/// usually GetGradient and GetRawResource.
class SF_EXPORT BRXResourceToSF : public ResourceToSF
{
public:
  BRXResourceToSF();
  /// The reader sets the type of what a resolver gives: POLY or RESOLVEDREF.
  explicit BRXResourceToSF(SFNodeType iType);
  /// Shares operands, copies the id; the caches start empty.
  BRXResourceToSF(BRXResourceToSF const& iOther);
  ~BRXResourceToSF() override;

  _GUID GetSFResourceType() const override;
  char const* GetSFResourceTypeTag() const override; ///< "#BRX"
  HRESULT ComputeScalars(ZULMathBox const& iBox, ZULTolerance const& iTolerance,
                         ZULGMSFDiscretizationAccuracyLevel iLevel) override = 0;
  double GetScalar(ZULMathPoint const& iPoint) const override = 0;

  /// GetSFResourceType and GetSFResourceTypeTag of this class, without an object.
  static _GUID GetSFResourceTypeS();
  static char const* GetSFResourceTypeTagS(); ///< "#BRX"
};

} // namespace SF
