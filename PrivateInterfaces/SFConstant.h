#pragma once

#include "SFOp.h"

namespace SF {

/// A numeric constant. Its value is fixed at construction.
class SF_EXPORT SFConstant : public SFOp
{
public:
  explicit SFConstant(double iValue = 0.0);
  ~SFConstant() override;

  HRESULT GetConstant(double& oValue) const override;

private:
  double _value;
};

} // namespace SF
