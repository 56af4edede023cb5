#include "SFConstant.h"

namespace SF {

SFConstant::SFConstant(double iValue) : SFOp(SFNodeType::CONSTANT), _value(iValue) {}
SFConstant::~SFConstant() = default;

HRESULT SFConstant::GetConstant(double& oValue) const
{
  oValue = _value;
  return S_OK;
}

} // namespace SF
