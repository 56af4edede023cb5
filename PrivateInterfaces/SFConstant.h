#pragma once

#include "SFOp.h"

namespace SF {

/// A numeric constant: a leaf of type CONSTANT. Its value is fixed at construction, and may be any double; what is to
/// change is an SFVariable.
class SF_EXPORT SFConstant : public SFOp
{
public:
  /// Rank -1.
  explicit SFConstant(double iValue = 0.0);
  ~SFConstant() override;

  /// The value. S_OK.
  HRESULT GetConstant(double& oValue) const override;

private:
  double _value;
};

} // namespace SF
