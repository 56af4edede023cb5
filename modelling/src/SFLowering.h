#pragma once

#include "SFField.h"

#include <memory>
#include <vector>

namespace SF {

/// The graphs of some fields, in which equal parts are one node. std::invalid_argument when two parameters of one name
/// have different values.
std::vector<std::shared_ptr<SFDagNode>> Lowered(std::span<SFField const> iFields);

/// The graph of a field, and the Lipschitz bounds that are stated of its parts.
struct SFLoweredField
{
  std::shared_ptr<SFDagNode> root;
  std::vector<SFLipschitzBound> bounds;
};
SFLoweredField LoweredWithBounds(SFField const& iField);

} // namespace SF
