#pragma once

#include "SFDagNode.h"

namespace SF {

/// An operator, a coordinate leaf (no operands; the type says which coordinate) or the END leaf. A unary operator has a
/// left operand only; a binary operator has its first operand left and its second right. Which types are operators, and
/// of how many operands, SFOperatorTable tells; what they compute is in docs/text_formats.md. Angles are in radians.
class SF_EXPORT SFOp : public SFDagNode
{
public:
  /// Any type may be given. The operands are shared, and may be set later.
  explicit SFOp(SFNodeType iType, std::shared_ptr<SFDagNode> iLhs = nullptr, std::shared_ptr<SFDagNode> iRhs = nullptr);
  ~SFOp() override;

protected:
  SFOp(SFOp const&) = default;
};

} // namespace SF
