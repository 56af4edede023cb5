#pragma once

#include "SFMesh.h"

#include <cstdint>

namespace SF {

/// Turns edges of triangles that have no height, as where three vertices come to lie on one edge of the solid, so that the
/// mesh keeps its surface and loses them. `iFirst` is the number of the first vertex of the part; vertices from `iComplete` on
/// may have further triangles in the next part and stay as they are.
void MendSlivers(SFMesh& ioPart, std::uint32_t iFirst, std::uint32_t iComplete);

} // namespace SF
