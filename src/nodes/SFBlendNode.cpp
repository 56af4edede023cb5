#include "SFBlendNode.h"

namespace SF {

SFBlendNode::SFBlendNode(SFDagNode const& iBinaryNode, double iBlendParameter)
  : SFCompose(iBinaryNode.GetTypeTag()), _blendParameter(iBlendParameter)
{
  SetRank(iBinaryNode.GetRank());
  SetLhs(iBinaryNode.GetLhs());
  SetRhs(iBinaryNode.GetRhs());
}
SFBlendNode::~SFBlendNode() = default;

} // namespace SF
