#include "SFDagOffset.h"

namespace SF {

SFDagOffset::SFDagOffset(std::shared_ptr<SFDagNode> iField, double iDistance, std::int32_t iSides,
                         ZULTolerance const* iTolerance)
  : SFDagFunctor(SFNodeType::OFFSET), _distance(iDistance), _tolerance(iTolerance), _sides(iSides)
{
  SetLhs(std::move(iField));
}
SFDagOffset::~SFDagOffset() = default;

HRESULT SFDagOffset::GetConstant(double& oValue) const
{
  oValue = _distance;
  return S_OK;
}

HRESULT SFDagOffset::SetConstant(double const& iValue)
{
  _distance = iValue;
  return S_OK;
}

} // namespace SF
