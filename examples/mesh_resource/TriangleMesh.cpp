#include "TriangleMesh.h"

#include <algorithm>
#include <cstddef>
#include <sstream>
#include <string>

namespace SFExample {
namespace {

using Triangle = TriangleMesh::Triangle;

/// An edge in the direction in which a triangle runs along it, and that triangle.
struct HalfEdge
{
  std::uint32_t from;
  std::uint32_t to;
  std::uint32_t triangle;

  bool operator<(HalfEdge const& iOther) const { return from != iOther.from ? from < iOther.from : to < iOther.to; }
};

std::string At(ZULMathPoint const& iPoint)
{
  std::ostringstream text;
  text << '(' << iPoint.x << ", " << iPoint.y << ", " << iPoint.z << ')';
  return text.str();
}

void RequireAreas(TriangleMesh const& iMesh)
{
  for (std::size_t t = 0; t < iMesh.triangles.size(); ++t)
    if (AreaVector(iMesh, iMesh.triangles[t]).Length() == 0.0)
      throw MeshError("triangle " + std::to_string(t + 1) + " at " + At(iMesh.vertices[iMesh.triangles[t][0]]) +
                      " has no area");
}

std::vector<HalfEdge> SortedHalfEdges(TriangleMesh const& iMesh)
{
  std::vector<HalfEdge> edges;
  edges.reserve(3 * iMesh.triangles.size());
  for (std::size_t t = 0; t < iMesh.triangles.size(); ++t)
    for (std::size_t corner = 0; corner < 3; ++corner)
      edges.push_back(
          {iMesh.triangles[t][corner], iMesh.triangles[t][(corner + 1) % 3], static_cast<std::uint32_t>(t)});
  std::sort(edges.begin(), edges.end());
  return edges;
}

void RequirePairedEdges(TriangleMesh const& iMesh, std::vector<HalfEdge> const& iEdges)
{
  auto const where = [&](HalfEdge const& iEdge) {
    return "the edge from " + At(iMesh.vertices[iEdge.from]) + " to " + At(iMesh.vertices[iEdge.to]);
  };
  for (std::size_t e = 1; e < iEdges.size(); ++e)
    if (!(iEdges[e - 1] < iEdges[e]))
      throw MeshError(where(iEdges[e]) + " is run along twice in one direction: a triangle is doubled or flipped");
  for (HalfEdge const& edge : iEdges)
    if (!std::binary_search(iEdges.begin(), iEdges.end(), HalfEdge{edge.to, edge.from, 0}))
      throw MeshError("the surface is open at " + where(edge));
}

/// Walks around every vertex from one of its triangles to the next across their common edge. A vertex where two
/// fans touch has more triangles than the walk meets.
void RequireOneFanPerVertex(TriangleMesh const& iMesh, std::vector<HalfEdge> const& iEdges)
{
  auto const edge = [&](std::uint32_t iFrom, std::uint32_t iTo) {
    return std::lower_bound(iEdges.begin(), iEdges.end(), HalfEdge{iFrom, iTo, 0});
  };
  for (auto first = iEdges.begin(); first != iEdges.end();) {
    auto const next = std::find_if(first, iEdges.end(), [&](HalfEdge const& e) { return e.from != first->from; });
    auto const count = next - first;
    auto at = first;
    std::ptrdiff_t met = 0;
    do {
      // The third corner of the triangle behind `at` is where its edge into the vertex comes from.
      Triangle const& triangle = iMesh.triangles[at->triangle];
      auto const corner =
          static_cast<std::size_t>(std::find(triangle.begin(), triangle.end(), at->from) - triangle.begin());
      at = edge(at->from, triangle[(corner + 2) % 3]);
      ++met;
    } while (at != first);
    if (met != count)
      throw MeshError("two parts of the surface touch at the vertex " + At(iMesh.vertices[first->from]) + " only");
    first = next;
  }
}

double Volume(TriangleMesh const& iMesh)
{
  double six = 0.0;
  ZULMathPoint const origin = iMesh.vertices.front();
  for (Triangle const& triangle : iMesh.triangles)
    six += Dot(iMesh.vertices[triangle[0]] - origin,
               Cross(iMesh.vertices[triangle[1]] - origin, iMesh.vertices[triangle[2]] - origin));
  return six / 6.0;
}

} // namespace

ZULMathVector AreaVector(TriangleMesh const& iMesh, Triangle const& iTriangle)
{
  ZULMathPoint const& a = iMesh.vertices[iTriangle[0]];
  return Cross(iMesh.vertices[iTriangle[1]] - a, iMesh.vertices[iTriangle[2]] - a);
}

void RequireClosedManifold(TriangleMesh const& iMesh)
{
  if (iMesh.triangles.empty())
    throw MeshError("there are no triangles");
  RequireAreas(iMesh);
  auto const edges = SortedHalfEdges(iMesh);
  RequirePairedEdges(iMesh, edges);
  RequireOneFanPerVertex(iMesh, edges);
  if (!(Volume(iMesh) > 0.0))
    throw MeshError("the surface is inside out: the corners of its triangles run clockwise seen from outside");
}

} // namespace SFExample
