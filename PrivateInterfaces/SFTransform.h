#pragma once

#include "SFDagNode.h"

namespace SF {

/// Base of the domain transforms: the value of the node at a point is that of its operand (the left one) at the
/// point mapped by the inverse of the transform, so that the transform moves the operand's field. Transforms are of the
/// second semantic level; the operand is given by SetLhs. A node that is also reached from outside the transform keeps,
/// at one point, the value of the visit that comes first: parts that are to be moved need leaves of their own.
class SF_EXPORT SFTransform : public SFDagNode
{
public:
  /// Rank -1, no operand.
  explicit SFTransform(SFNodeType iType);
  ~SFTransform() override;

protected:
  SFTransform(SFTransform const&) = default;
};

} // namespace SF
