#include "ResourceGradientToSF.h"

#include <vector>

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

std::size_t ResourceGradientToSF::GetBatchSize() const { return _resource == nullptr ? 1 : _resource->GetBatchSize(); }

void ResourceGradientToSF::GetScalars(std::size_t iCount, Points const& iPoints, double* oValues,
                                      StopRequest const& iMustStop) const
{
  auto const axis = static_cast<std::size_t>(_variable) - static_cast<std::size_t>(SFNodeType::X);
  if (GetBatchSize() == 1 || axis > 2)
    return ResourceToSF::GetScalars(iCount, iPoints, oValues, iMustStop);
  std::vector<double> unused(2 * iCount);
  std::array<double*, 3> gradients{};
  for (std::size_t i = 1; i < 3; ++i)
    gradients[(axis + i) % 3] = unused.data() + (i - 1) * iCount;
  gradients[axis] = oValues;
  _resource->GetGradients(iCount, iPoints, gradients, iMustStop);
}

} // namespace SF
