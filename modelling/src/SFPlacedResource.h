#pragma once

#include "ResourceToSF.h"
#include "SFFieldNode.h"

#include <memory>

namespace SF {

/// The graph node of a resource, or of a component of its gradient, at the point that the operands of `iNode` give: the
/// host's own node where that is the point itself, else a leaf that maps the point first.
std::shared_ptr<SFDagNode> PlacedResource(SFFieldNode const& iNode);

} // namespace SF
