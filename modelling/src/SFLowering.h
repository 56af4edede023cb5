#pragma once

#include "SFField.h"

#include <memory>
#include <vector>

namespace SF {

/// The graphs of some fields, in which equal parts are one node. std::invalid_argument when two parameters of one name
/// have different values.
std::vector<std::shared_ptr<SFDagNode>> Lowered(std::span<SFField const> iFields);

} // namespace SF
