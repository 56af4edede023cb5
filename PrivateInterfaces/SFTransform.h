#pragma once

#include "SFDagNode.h"

namespace SF {

/// Base of the domain transforms: the value of the node at a point is that of its operand (the left one) at the
/// point mapped by the inverse of the transform, so that the transform moves the operand's field.
class SF_EXPORT SFTransform : public SFDagNode
{
public:
  explicit SFTransform(SFNodeType iType);
  ~SFTransform() override;

protected:
  SFTransform(SFTransform const&) = default;
};

} // namespace SF
