#pragma once

#include "SFDagNode.h"

namespace SF {

/// Base of the composition nodes.
class SF_EXPORT SFCompose : public SFDagNode
{
public:
  explicit SFCompose(SFNodeType iType);
  ~SFCompose() override;

protected:
  SFCompose(SFCompose const&) = default;
};

} // namespace SF
