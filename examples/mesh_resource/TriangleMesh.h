#pragma once

#include "ZULMathPoint.h"
#include "ZULMathVector.h"

#include <array>
#include <cstdint>
#include <stdexcept>
#include <vector>

namespace SFExample {

/// What is wrong with a mesh or with the file that it comes from, in one line for the user.
class MeshError : public std::runtime_error
{
public:
  using std::runtime_error::runtime_error;
};

/// Triangles over shared vertices. Seen from outside, a triangle's corners run counter-clockwise.
struct TriangleMesh
{
  using Triangle = std::array<std::uint32_t, 3>;

  std::vector<ZULMathPoint> vertices;
  std::vector<Triangle> triangles;
};

/// The vector along the outward normal of a triangle, twice its area long.
ZULMathVector AreaVector(TriangleMesh const& iMesh, TriangleMesh::Triangle const& iTriangle);

/// Throws MeshError unless the mesh bounds a solid: every triangle has an area, every edge joins exactly two
/// triangles that run along it in opposite directions, the triangles around a vertex form one fan, and the
/// volume inside is positive. Surfaces that pass through each other are not looked for.
void RequireClosedManifold(TriangleMesh const& iMesh);

} // namespace SFExample
