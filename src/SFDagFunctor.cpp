#include "SFDagFunctor.h"

namespace SF {

SFDagFunctor::SFDagFunctor(SFNodeType iType) : SFDagNode(iType) {}
SFDagFunctor::~SFDagFunctor() { Release(std::move(_derivedDag)); }

// The walks of the base enter the derived graph and call BuildOnce where they meet a functor.
void SFDagFunctor::ResetEvaluationCache() const { SFDagNode::ResetEvaluationCache(); }
HRESULT SFDagFunctor::GetReady(SFSWContext const& iContext) const { return SFDagNode::GetReady(iContext); }
SFEvaluationContext SFDagFunctor::GetNewEvaluationContext() const { return SFDagNode::GetNewEvaluationContext(); }
void SFDagFunctor::Reset(SFEvaluationContext const& iContext) const { SFDagNode::Reset(iContext); }

HRESULT SFDagFunctor::BuildDerivedDAG(SFSWContext const&, std::shared_ptr<SFDagNode>&) const { return E_NOTIMPL; }

void SFDagFunctor::ReportOperandsNotReady(HRESULT iCode) { Diagnostics::FailedCall("GetReady", iCode); }

HRESULT SFDagFunctor::BuildOnce(SFSWContext const& iContext) const
{
  if (_derivedDag != nullptr)
    return S_OK;
  std::shared_ptr<SFDagNode> derived;
  HRESULT const hr = BuildDerivedDAG(iContext, derived);
  if (Failed(hr)) {
    Diagnostics::FailedCall("GetReady", hr);
    return hr;
  }
  _derivedDag = std::move(derived);
  return hr;
}

} // namespace SF
