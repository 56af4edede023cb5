#pragma once

#include "SFToolsExport.h"

#include <array>
#include <cstdint>
#include <vector>

namespace SF {

/// Triangles over shared vertices. Seen from outside of the solid the corners of a triangle run counter-clockwise.
struct SFMesh
{
  std::vector<std::array<double, 3>> vertices;         ///< in the model's length unit
  std::vector<std::array<std::uint32_t, 3>> triangles; ///< numbers of vertices
  std::vector<std::array<float, 3>> normals;           ///< one for each vertex, of length 1, outwards; may be empty
};

} // namespace SF
