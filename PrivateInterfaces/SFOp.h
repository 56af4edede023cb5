#pragma once

#include "SFDagNode.h"

namespace SF {

/// An operator, a coordinate leaf (no operands; the type says which coordinate) or the END leaf. A unary
/// operator has a left operand only; a binary operator has its first operand left and its second right.
class SF_EXPORT SFOp : public SFDagNode
{
public:
  explicit SFOp(SFNodeType iType, std::shared_ptr<SFDagNode> iLhs = nullptr, std::shared_ptr<SFDagNode> iRhs = nullptr);
  ~SFOp() override;

protected:
  SFOp(SFOp const&) = default;
};

} // namespace SF
