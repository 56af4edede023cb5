#pragma once

#include "TriangleMesh.h"
#include "ZULMathBox.h"

#include <array>
#include <cstdint>
#include <vector>

namespace SFExample {

/// The signed distance to a closed surface, negative inside: the distance to the nearest triangle, found in a
/// tree of boxes, with the sign of the angle-weighted pseudonormal at the nearest point (J. A. Baerentzen,
/// H. Aanaes, "Signed Distance Computation Using the Angle Weighted Pseudonormal", IEEE Transactions on
/// Visualization and Computer Graphics 11(3), 2005). Exact up to rounding.
///
/// Threads: the queries only read.
class MeshDistance
{
public:
  /// Throws MeshError when the mesh does not bound a solid.
  explicit MeshDistance(TriangleMesh const& iMesh);

  double SignedDistance(ZULMathPoint const& iPoint) const;

  /// The unit vector along which the signed distance grows fastest: away from the nearest point outside, towards
  /// it inside, and the normal of the surface on it.
  ZULMathVector Gradient(ZULMathPoint const& iPoint) const;

  ZULMathBox const& Box() const { return _boxes.front().box; }

private:
  /// The parts of a triangle that can hold the nearest point: its inside, edge i from corner i, corner i.
  enum Feature : std::size_t
  {
    Face,
    FirstEdge,
    FirstCorner = FirstEdge + 3,
    FeatureCount = FirstCorner + 3
  };

  struct Triangle
  {
    std::array<ZULMathPoint, 3> corners;
    ZULMathVector normal; ///< of length 1
    std::array<ZULMathVector, FeatureCount> pseudonormals;
  };

  struct Nearest
  {
    double squaredDistance;
    ZULMathVector offset; ///< from the nearest point to the one asked for
    ZULMathVector const* pseudonormal;
  };

  /// A node of the tree, followed by its left subtree; a leaf has triangles and no right subtree.
  struct BoxNode
  {
    ZULMathBox box;
    std::uint32_t right = 0;
    std::uint32_t firstTriangle = 0;
    std::uint32_t triangleCount = 0;
  };

  static constexpr std::uint32_t TrianglesPerLeaf = 4;

  void BuildTree(std::uint32_t iFirst, std::uint32_t iCount);
  Nearest FindNearest(ZULMathPoint const& iPoint) const;
  static void Improve(Nearest& ioNearest, Triangle const& iTriangle, ZULMathPoint const& iPoint);

  std::vector<Triangle> _triangles;
  std::vector<BoxNode> _boxes;
};

} // namespace SFExample
