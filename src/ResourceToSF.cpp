#include "ResourceToSF.h"

namespace SF {

ResourceToSF::ResourceToSF() : ResourceToSF(SFNodeType::END) {}
ResourceToSF::ResourceToSF(SFNodeType iType) : SFDagNode(iType) {}
ResourceToSF::ResourceToSF(ResourceToSF const&) = default;
ResourceToSF::~ResourceToSF() = default;

_GUID ResourceToSF::GetSFResourceTypeS()
{
  return {0x1151f947, 0xc088, 0x47ed, {0xbb, 0xde, 0xfb, 0xe9, 0xd9, 0xaf, 0x84, 0x32}};
}
char const* ResourceToSF::GetSFResourceTypeTagS() { return "#R"; }
_GUID ResourceToSF::GetSFResourceType() const { return GetSFResourceTypeS(); }
char const* ResourceToSF::GetSFResourceTypeTag() const { return GetSFResourceTypeTagS(); }

void* ResourceToSF::GetRawResource() { return nullptr; }

HRESULT ResourceToSF::ComputeScalars(ZULMathBox const&, ZULTolerance const&, ZULGMSFDiscretizationAccuracyLevel)
{
  return S_OK;
}

double ResourceToSF::GetScalar(ZULMathPoint const&) const { return MissingValue; }

HRESULT ResourceToSF::GetGradient(double (&oGradient)[3], ZULMathPoint const&) const
{
  for (double& component : oGradient)
    component = MissingValue;
  return S_OK;
}

std::size_t ResourceToSF::GetBatchSize() const { return 1; }

void ResourceToSF::GetScalars(std::size_t iCount, Points const& iPoints, double* oValues,
                              StopRequest const& iMustStop) const
{
  for (std::size_t i = 0; i < iCount && !iMustStop(); ++i)
    oValues[i] = GetScalar({iPoints[0][i], iPoints[1][i], iPoints[2][i]});
}

void ResourceToSF::GetGradients(std::size_t iCount, Points const& iPoints, std::array<double*, 3> const& oGradients,
                                StopRequest const& iMustStop) const
{
  for (std::size_t i = 0; i < iCount && !iMustStop(); ++i) {
    double gradient[3] = {MissingValue, MissingValue, MissingValue};
    bool const isKnown = Succeeded(GetGradient(gradient, {iPoints[0][i], iPoints[1][i], iPoints[2][i]}));
    for (std::size_t axis = 0; axis < 3; ++axis)
      oGradients[axis][i] = isKnown ? gradient[axis] : MissingValue;
  }
}

std::string const& ResourceToSF::GetExpressionId() const { return _expressionId; }

HRESULT ResourceToSF::SetExpressionId(std::string iId)
{
  if (iId.find('#') == std::string::npos) {
    Diagnostics::NotSatisfied("SetExpressionId", "foundSharp != SFExpression::npos");
    return E_INVALIDARG;
  }
  _expressionId = std::move(iId);
  return S_OK;
}

} // namespace SF
