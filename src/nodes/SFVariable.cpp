#include "SFVariable.h"

namespace SF {

SFVariable::SFVariable(std::string iName, double iValue)
  : SFOp(SFNodeType::PARAMETER), _name(std::move(iName)), _value(iValue)
{
}
SFVariable::~SFVariable() = default;

std::string const& SFVariable::GetExpressionId() const { return _name; }

HRESULT SFVariable::GetConstant(double& oValue) const
{
  oValue = _value;
  return S_OK;
}

HRESULT SFVariable::SetConstant(double const& iValue)
{
  _value = iValue;
  return S_OK;
}

} // namespace SF
