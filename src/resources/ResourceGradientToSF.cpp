#include "ResourceGradientToSF.h"

namespace SF {

ResourceGradientToSF::ResourceGradientToSF(std::shared_ptr<ResourceToSF> iResource, SFNodeType iVariable)
  : ResourceToSF(SFNodeType::POLYGRADIENT), _variable(iVariable), _resource(std::move(iResource))
{
}
ResourceGradientToSF::ResourceGradientToSF(ResourceGradientToSF const&) = default;
ResourceGradientToSF::~ResourceGradientToSF() { Release(std::move(_resource)); } // may be a gradient itself

_GUID ResourceGradientToSF::GetSFResourceTypeS()
{
  return {0xacc0b71f, 0x2f5a, 0x4fd6, {0x9b, 0xa3, 0xb7, 0xae, 0xef, 0xb7, 0x44, 0xc7}};
}
char const* ResourceGradientToSF::GetSFResourceTypeTagS() { return "#RGrad"; }
_GUID ResourceGradientToSF::GetSFResourceType() const { return GetSFResourceTypeS(); }
char const* ResourceGradientToSF::GetSFResourceTypeTag() const { return GetSFResourceTypeTagS(); }

SFNodeType ResourceGradientToSF::GetVariableType() const { return _variable; }

double ResourceGradientToSF::GetScalar(ZULMathPoint const& iPoint) const
{
  double gradient[3] = {MissingValue, MissingValue, MissingValue};
  if (_resource == nullptr || Failed(_resource->GetGradient(gradient, iPoint)))
    return MissingValue;
  switch (_variable) {
  case SFNodeType::X:
    return gradient[0];
  case SFNodeType::Y:
    return gradient[1];
  case SFNodeType::Z:
    return gradient[2];
  default:
    Diagnostics::Sentence("Error in ResourceGradientToSF::GetScalar, invalid gradient variable !");
    return MissingValue;
  }
}

} // namespace SF
