#pragma once

#include "TriangleMesh.h"

#include <initializer_list>
#include <utility>

namespace SFTest {

/// The cube of edge 2 around the origin; eight of its corners meet four or more triangles.
inline SFExample::TriangleMesh Cube()
{
  SFExample::TriangleMesh mesh;
  for (double const z : {-1.0, 1.0})
    for (double const y : {-1.0, 1.0})
      for (double const x : {-1.0, 1.0})
        mesh.vertices.emplace_back(x, y, z);
  mesh.triangles = {{0, 2, 3}, {0, 3, 1}, {4, 5, 7}, {4, 7, 6}, {0, 1, 5}, {0, 5, 4},
                    {2, 6, 7}, {2, 7, 3}, {0, 4, 6}, {0, 6, 2}, {1, 3, 7}, {1, 7, 5}};
  return mesh;
}

/// A thin wedge: its edges and corners are so sharp that the normals of their faces point more than 90 degrees
/// apart.
inline SFExample::TriangleMesh Wedge()
{
  return {{{0, 0, 0}, {4, 0, 0}, {0, 3, 0}, {0.1, 0.1, 0.2}}, {{0, 2, 1}, {0, 1, 3}, {1, 2, 3}, {2, 0, 3}}};
}

} // namespace SFTest
