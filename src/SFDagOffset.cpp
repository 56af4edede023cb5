#include "SFDagOffset.h"

#include "SFDagOffsetOperator.h"

namespace SF {

SFDagOffset::SFDagOffset(std::shared_ptr<SFDagNode> iField, double iDistance, std::int32_t iSides,
                         ZULTolerance const* iTolerance)
  : SFDagFunctor(SFNodeType::OFFSET), _distance(iDistance), _tolerance(iTolerance), _sides(iSides)
{
  SetLhs(std::move(iField));
}
SFDagOffset::~SFDagOffset() = default;

ZULTolerance SFDagOffset::ToleranceInUse() const
{
  return _tolerance != nullptr ? *_tolerance : ZULGetDefaultTolerance();
}

bool SFDagOffset::IsOutdated() const
{
  return GetDerivedDag() != nullptr &&
         (_builtDistance != _distance || _builtResolution != ToleranceInUse().GetResolution());
}

HRESULT SFDagOffset::BuildDerivedDAG(SFSWContext const& iContext, std::shared_ptr<SFDagNode>& oDerivedDag) const
{
  constexpr int order = 1;
  ZULTolerance const tolerance = ToleranceInUse();
  SFDagOffsetOperator const offsetOperator(iContext);
  switch (_sides) {
  case EOneSided:
    oDerivedDag = offsetOperator.BuildOneSidedOffsetTree(GetLhs(), _distance, tolerance, order);
    break;
  case ETwoSided:
    if (iContext.GetGeometryOptions().GetCreationMode() == SFGeometryCreationMode::EGeometryCreationOneSided)
      return E_FAIL;
    oDerivedDag = offsetOperator.BuildTwoSidedOffsetTree(GetLhs(), _distance, tolerance, order);
    break;
  default:
    return E_FAIL;
  }
  if (oDerivedDag == nullptr) {
    Diagnostics::Problem("BuildDerivedDAG", "SF::SFDagOffsetOperator couldn't build tree.");
    Diagnostics::NullPointer("BuildDerivedDAG", "oDerivedDag.get()");
    return E_FAIL;
  }
  if (GetDerivedDag() == nullptr) { // otherwise this one is not for the node itself
    _builtDistance = _distance;
    _builtResolution = tolerance.GetResolution();
  }
  return S_OK;
}

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
