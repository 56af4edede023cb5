#pragma once

#include "TriangleMesh.h"

#include <filesystem>
#include <string_view>

namespace SFExample {

/// The triangles of a binary or an ASCII STL file as they stand; whether they close is for RequireClosedManifold to
/// say. Corners with equal coordinates become one vertex; normals and attributes are not read. Throws MeshError
/// when the content is not an STL file from its first byte to its last, or holds a coordinate that is not finite.
TriangleMesh ParseStl(std::string_view iContent);

/// ParseStl of a file's content. Throws std::runtime_error when the file cannot be read.
TriangleMesh ReadStl(std::filesystem::path const& iFile);

} // namespace SFExample
