#pragma once

#include "SFCompose.h"

namespace SF {

/// A blend of two fields. It is read, written and drawn; the evaluator rejects it.
class SF_EXPORT SFBlendNode : public SFCompose
{
public:
  /// Takes rank, type and operands (shared) of an already built binary node.
  SFBlendNode(SFDagNode const& iBinaryNode, double iBlendParameter);
  ~SFBlendNode() override;

  double GetBlendParameter() const { return _blendParameter; }

private:
  double _blendParameter;
};

} // namespace SF
