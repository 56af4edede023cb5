#include "SFOp.h"

namespace SF {

SFOp::SFOp(SFNodeType iType, std::shared_ptr<SFDagNode> iLhs, std::shared_ptr<SFDagNode> iRhs) : SFDagNode(iType)
{
  SetLhs(std::move(iLhs));
  SetRhs(std::move(iRhs));
}
SFOp::~SFOp() = default;

} // namespace SF
