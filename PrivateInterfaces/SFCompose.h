#pragma once

#include "SFDagNode.h"

namespace SF {

/// Base of the nodes that compose fields by a rule of their own; today SFBlendNode.
class SF_EXPORT SFCompose : public SFDagNode
{
public:
  /// Rank -1, no operands.
  explicit SFCompose(SFNodeType iType);
  ~SFCompose() override;

protected:
  SFCompose(SFCompose const&) = default;
};

} // namespace SF
