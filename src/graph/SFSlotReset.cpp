#include "graph/SFSlotReset.h"

#include "graph/SFDagTraversal.h"

namespace SF {

SFSlotReset::SFSlotReset(SFDagNode const& iRoot)
{
  for (SFDagNode const* const node : PostOrder(iRoot, SFReach::OperandsAndDerived))
    (ClassOf(*node) == SFNodeClass::Foreign ? _foreign : _plain).push_back(node);
}

void SFSlotReset::Reserve(SFEvaluationContext const& iContext) const
{
  for (auto const* const nodes : {&_plain, &_foreign})
    for (SFDagNode const* const node : *nodes)
      node->ReserveEvaluationContexts(iContext);
}

void SFSlotReset::Reset(SFEvaluationContext const& iContext) const
{
  for (SFDagNode const* const node : _plain)
    node->GetContextInfos(iContext.GetIndex()) = {DBL_MAX, SFDagNode::ECacheReset};
  for (SFDagNode const* const node : _foreign)
    node->Reset(iContext);
}

} // namespace SF
