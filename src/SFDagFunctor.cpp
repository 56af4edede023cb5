#include "SFDagFunctor.h"

namespace SF {

SFDagFunctor::SFDagFunctor(SFNodeType iType) : SFDagNode(iType) {}
SFDagFunctor::~SFDagFunctor() { Release(std::move(_derivedDag)); }

// The walks of the base enter the derived graph and call BuildOnce where they meet a functor.
void SFDagFunctor::ResetEvaluationCache() const { SFDagNode::ResetEvaluationCache(); }
HRESULT SFDagFunctor::GetReady(SFSWContext const& iContext) const { return SFDagNode::GetReady(iContext); }
SFEvaluationContext SFDagFunctor::GetNewEvaluationContext() const { return SFDagNode::GetNewEvaluationContext(); }
void SFDagFunctor::Reset(SFEvaluationContext const& iContext) const { SFDagNode::Reset(iContext); }

void SFDagFunctor::Discard() { Release(std::move(_derivedDag)); }

HRESULT SFDagFunctor::BuildDerivedDAG(SFSWContext const&, std::shared_ptr<SFDagNode>&) const { return E_NOTIMPL; }

void SFDagFunctor::ReportOperandsNotReady(HRESULT iCode) { Diagnostics::FailedCall("GetReady", iCode); }

namespace {

/// How deep this thread is in building functors for the derived graphs of others, and how many it has built there.
struct NestedBuilds
{
  std::size_t depth = 0;
  std::size_t count = 0;
};
thread_local NestedBuilds nestedBuilds;

/// Enters one build; the outermost one starts the count anew.
class BuildScope
{
public:
  BuildScope()
  {
    nestedBuilds.count = nestedBuilds.depth == 0 ? 0 : nestedBuilds.count + 1;
    ++nestedBuilds.depth;
  }
  BuildScope(BuildScope const&) = delete;
  BuildScope& operator=(BuildScope const&) = delete;
  ~BuildScope() { --nestedBuilds.depth; }

  bool IsTooMany() const { return nestedBuilds.count > SFDagFunctor::MaxNestedBuilds; }
};

} // namespace

HRESULT SFDagFunctor::BuildOnce(SFSWContext const& iContext) const
{
  if (_derivedDag != nullptr)
    return S_OK;
  std::shared_ptr<SFDagNode> derived;
  HRESULT const hr = BuildReady(iContext, derived);
  if (Failed(hr)) {
    Diagnostics::FailedCall("GetReady", hr);
    return hr;
  }
  _derivedDag = std::move(derived);
  return hr;
}

/// The derived graph, ready itself.
HRESULT SFDagFunctor::BuildReady(SFSWContext const& iContext, std::shared_ptr<SFDagNode>& oDerivedDag) const
{
  BuildScope const scope;
  if (scope.IsTooMany()) {
    Diagnostics::Problem("GetReady", "functor nodes are nested too deep.");
    return E_FAIL;
  }
  HRESULT const hr = BuildDerivedDAG(iContext, oDerivedDag);
  if (Failed(hr) || oDerivedDag == nullptr)
    return hr;
  HRESULT const ready = oDerivedDag->GetReady(iContext);
  return Failed(ready) ? ready : hr;
}

} // namespace SF
