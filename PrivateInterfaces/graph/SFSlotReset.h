#pragma once

#include "SFDagNode.h"

#include <vector>

namespace SF {

/// Clears the slots of a graph between points: what SFDagNode::Reset does, without walking the graph again. The
/// graph must not change meanwhile.
class SFSlotReset
{
public:
  explicit SFSlotReset(SFDagNode const& iRoot);

  /// Makes the slot of a context on every node.
  void Reserve(SFEvaluationContext const& iContext) const;
  /// Marks the slot of a context, which must have been reserved, as to be computed on every node.
  void Reset(SFEvaluationContext const& iContext) const;

private:
  std::vector<SFDagNode const*> _plain;
  std::vector<SFDagNode const*> _foreign;
};

} // namespace SF
