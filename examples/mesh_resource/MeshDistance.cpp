#include "MeshDistance.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <map>
#include <utility>

namespace SFExample {
namespace {

ZULMathVector Sum(ZULMathVector const& iA, ZULMathVector const& iB) { return {iA.x + iB.x, iA.y + iB.y, iA.z + iB.z}; }
ZULMathVector Scaled(ZULMathVector const& iVector, double iBy)
{
  return {iVector.x * iBy, iVector.y * iBy, iVector.z * iBy};
}
ZULMathVector Unit(ZULMathVector iVector)
{
  iVector.Normalize();
  return iVector;
}

double AngleBetween(ZULMathVector const& iA, ZULMathVector const& iB)
{
  return std::atan2(Cross(iA, iB).Length(), Dot(iA, iB));
}

void Enclose(ZULMathBox& ioBox, ZULMathPoint const& iPoint)
{
  ioBox.low = {std::min(ioBox.low.x, iPoint.x), std::min(ioBox.low.y, iPoint.y), std::min(ioBox.low.z, iPoint.z)};
  ioBox.high = {std::max(ioBox.high.x, iPoint.x), std::max(ioBox.high.y, iPoint.y), std::max(ioBox.high.z, iPoint.z)};
}

ZULMathBox EmptyBox()
{
  constexpr double infinity = std::numeric_limits<double>::infinity();
  return {{infinity, infinity, infinity}, {-infinity, -infinity, -infinity}};
}

double SquaredDistance(ZULMathBox const& iBox, ZULMathPoint const& iPoint)
{
  auto const outside = [](double iLow, double iHigh, double iAt) { return std::max({iLow - iAt, iAt - iHigh, 0.0}); };
  ZULMathVector const gap{outside(iBox.low.x, iBox.high.x, iPoint.x), outside(iBox.low.y, iBox.high.y, iPoint.y),
                          outside(iBox.low.z, iBox.high.z, iPoint.z)};
  return Dot(gap, gap);
}

double Coordinate(ZULMathPoint const& iPoint, int iAxis)
{
  return iAxis == 0 ? iPoint.x : iAxis == 1 ? iPoint.y : iPoint.z;
}

int LongestAxis(ZULMathBox const& iBox)
{
  ZULMathVector const extent = iBox.high - iBox.low;
  if (extent.x >= extent.y && extent.x >= extent.z)
    return 0;
  return extent.y >= extent.z ? 1 : 2;
}

} // namespace

MeshDistance::MeshDistance(TriangleMesh const& iMesh)
{
  RequireClosedManifold(iMesh);
  // A vertex takes the normals of its triangles weighted by their angles there, an edge the sum of its two.
  std::vector<ZULMathVector> atVertices(iMesh.vertices.size());
  using Edge = std::pair<std::uint32_t, std::uint32_t>; // lower vertex first
  std::map<Edge, ZULMathVector> atEdges;
  auto const edge = [](std::uint32_t iA, std::uint32_t iB) { return Edge(std::min(iA, iB), std::max(iA, iB)); };

  for (auto const& indices : iMesh.triangles) {
    Triangle triangle;
    std::transform(indices.begin(), indices.end(), triangle.corners.begin(),
                   [&](std::uint32_t i) { return iMesh.vertices[i]; });
    triangle.normal = Unit(AreaVector(iMesh, indices));
    for (std::size_t i = 0; i < 3; ++i) {
      std::size_t const next = (i + 1) % 3;
      std::size_t const previous = (i + 2) % 3;
      double const angle =
          AngleBetween(triangle.corners[next] - triangle.corners[i], triangle.corners[previous] - triangle.corners[i]);
      atVertices[indices[i]] = Sum(atVertices[indices[i]], Scaled(triangle.normal, angle));
      ZULMathVector& atEdge = atEdges[edge(indices[i], indices[next])];
      atEdge = Sum(atEdge, triangle.normal);
    }
    _triangles.push_back(triangle);
  }
  for (std::size_t t = 0; t < _triangles.size(); ++t) {
    auto const& indices = iMesh.triangles[t];
    auto& pseudonormals = _triangles[t].pseudonormals;
    pseudonormals[Face] = _triangles[t].normal;
    for (std::size_t i = 0; i < 3; ++i) {
      pseudonormals[FirstEdge + i] = Unit(atEdges[edge(indices[i], indices[(i + 1) % 3])]);
      pseudonormals[FirstCorner + i] = Unit(atVertices[indices[i]]);
    }
  }
  BuildTree(0, static_cast<std::uint32_t>(_triangles.size()));
}

/// Appends the tree over some of the triangles. Halving them keeps its depth below 32, so recursion is safe.
void MeshDistance::BuildTree(std::uint32_t iFirst, std::uint32_t iCount)
{
  auto const begin = _triangles.begin() + iFirst;
  auto const centroidTimes3 = [](Triangle const& iTriangle, int iAxis) {
    auto const& c = iTriangle.corners;
    return Coordinate(c[0], iAxis) + Coordinate(c[1], iAxis) + Coordinate(c[2], iAxis);
  };
  BoxNode node{EmptyBox(), 0, iFirst, iCount};
  ZULMathBox centroids = EmptyBox();
  std::for_each(begin, begin + iCount, [&](Triangle const& triangle) {
    for (ZULMathPoint const& corner : triangle.corners)
      Enclose(node.box, corner);
    Enclose(centroids, {centroidTimes3(triangle, 0), centroidTimes3(triangle, 1), centroidTimes3(triangle, 2)});
  });
  std::size_t const index = _boxes.size();
  _boxes.push_back(node);
  if (iCount <= TrianglesPerLeaf)
    return;

  std::uint32_t const half = iCount / 2;
  std::nth_element(begin, begin + half, begin + iCount,
                   [&, axis = LongestAxis(centroids)](Triangle const& a, Triangle const& b) {
                     return centroidTimes3(a, axis) < centroidTimes3(b, axis);
                   });
  BuildTree(iFirst, half);
  _boxes[index].right = static_cast<std::uint32_t>(_boxes.size());
  BuildTree(iFirst + half, iCount - half);
}

/// Takes the nearest point of a triangle if it is nearer than what is known.
void MeshDistance::Improve(Nearest& ioNearest, Triangle const& iTriangle, ZULMathPoint const& iPoint)
{
  auto const take = [&](ZULMathVector const& iOffset, std::size_t iFeature) {
    double const squared = Dot(iOffset, iOffset);
    if (squared < ioNearest.squaredDistance)
      ioNearest = {squared, iOffset, &iTriangle.pseudonormals[iFeature]};
  };

  bool above = true; // whether the point's projection lies in the triangle
  for (std::size_t i = 0; i < 3; ++i) {
    ZULMathVector const along = iTriangle.corners[(i + 1) % 3] - iTriangle.corners[i];
    ZULMathVector const fromCorner = iPoint - iTriangle.corners[i];
    if (Dot(Cross(iTriangle.normal, along), fromCorner) > 0.0)
      continue;
    above = false;
    // Only an edge with the point on its outer side, or right above it, can hold the nearest point.
    double const t = Dot(fromCorner, along) / Dot(along, along);
    if (t <= 0.0)
      take(fromCorner, FirstCorner + i);
    else if (t >= 1.0)
      take(iPoint - iTriangle.corners[(i + 1) % 3], FirstCorner + (i + 1) % 3);
    else
      take(Sum(fromCorner, Scaled(along, -t)), FirstEdge + i);
  }
  if (above)
    take(Scaled(iTriangle.normal, Dot(iPoint - iTriangle.corners[0], iTriangle.normal)), Face);
}

MeshDistance::Nearest MeshDistance::FindNearest(ZULMathPoint const& iPoint) const
{
  struct Open
  {
    std::uint32_t node;
    double squaredDistance;
  };
  Open stack[64]; // the tree is less than 32 deep, and every level leaves one node behind
  std::size_t size = 0;
  auto const push = [&](std::uint32_t iNode) { stack[size++] = {iNode, SquaredDistance(_boxes[iNode].box, iPoint)}; };

  Nearest nearest{std::numeric_limits<double>::infinity(), {}, &_triangles.front().normal};
  push(0);
  while (size > 0) {
    auto const [index, squaredDistance] = stack[--size];
    if (squaredDistance >= nearest.squaredDistance)
      continue;
    BoxNode const& node = _boxes[index];
    if (node.right != 0) {
      push(node.right);
      push(index + 1);
      if (stack[size - 1].squaredDistance > stack[size - 2].squaredDistance)
        std::swap(stack[size - 1], stack[size - 2]); // the nearer one is opened first
    } else
      for (std::uint32_t t = 0; t < node.triangleCount; ++t)
        Improve(nearest, _triangles[node.firstTriangle + t], iPoint);
  }
  return nearest;
}

double MeshDistance::SignedDistance(ZULMathPoint const& iPoint) const
{
  if (double const sum = iPoint.x + iPoint.y + iPoint.z; std::isnan(sum))
    return sum;
  Nearest const nearest = FindNearest(iPoint);
  double const distance = std::sqrt(nearest.squaredDistance);
  return Dot(nearest.offset, *nearest.pseudonormal) < 0.0 ? -distance : distance;
}

ZULMathVector MeshDistance::Gradient(ZULMathPoint const& iPoint) const
{
  Nearest const nearest = FindNearest(iPoint);
  // On the surface the offset is nothing but rounding errors.
  double const resolution = 1e-12 * (Box().high - Box().low).Length();
  if (nearest.squaredDistance <= resolution * resolution)
    return *nearest.pseudonormal;
  bool const inside = Dot(nearest.offset, *nearest.pseudonormal) < 0.0;
  return Unit(Scaled(nearest.offset, inside ? -1.0 : 1.0));
}

} // namespace SFExample
