#pragma once

#include "BRXResourceToSF.h"

namespace SF {

/// A resource named by number in a text that was read without a resolver: it keeps its id and has no values.
class SF_EXPORT ExplicitToSF : public BRXResourceToSF
{
public:
  ExplicitToSF();
  /// The reader makes nodes of type POLY.
  explicit ExplicitToSF(SFNodeType iType);
  /// Shares operands, copies the id; the caches start empty.
  ExplicitToSF(ExplicitToSF const& iOther);
  ~ExplicitToSF() override;

  _GUID GetSFResourceType() const override;
  char const* GetSFResourceTypeTag() const override; ///< "#EXPL"
  HRESULT ComputeScalars(ZULMathBox const& iBox, ZULTolerance const& iTolerance,
                         ZULGMSFDiscretizationAccuracyLevel iLevel) override;
  double GetScalar(ZULMathPoint const& iPoint) const override;

  /// GetSFResourceType and GetSFResourceTypeTag of this class, without an object.
  static _GUID GetSFResourceTypeS();
  static char const* GetSFResourceTypeTagS(); ///< "#EXPL"
};

} // namespace SF
