#include "SFMeshSlivers.h"

#include "SFVector3.h"

#include <algorithm>
#include <unordered_map>
#include <vector>

namespace SF {
namespace {

using Triangle = std::array<std::uint32_t, 3>;

/// A triangle lower than this, as a part of its longest side, is a sliver.
constexpr double LeastHeight = 1e-6;

class Mender
{
public:
  Mender(SFMesh& ioPart, std::uint32_t iFirst, std::uint32_t iComplete)
    : _part(ioPart), _first(iFirst), _complete(iComplete)
  {
  }

  void Run()
  {
    std::vector<std::size_t> slivers;
    for (std::size_t i = 0; i < _part.triangles.size(); ++i)
      if (IsHere(_part.triangles[i]) && HeightOf(_part.triangles[i]) < LeastHeight)
        slivers.push_back(i);
    if (slivers.empty())
      return;
    for (std::size_t const sliver : slivers)
      for (std::uint32_t const vertex : _part.triangles[sliver])
        _trianglesAt[vertex];
    for (std::size_t i = 0; i < _part.triangles.size(); ++i)
      for (std::uint32_t const vertex : _part.triangles[i])
        if (auto const found = _trianglesAt.find(vertex); found != _trianglesAt.end())
          found->second.push_back(i);
    for (std::size_t const sliver : slivers)
      Mend(sliver);
  }

private:
  /// Vertices of earlier parts are out of reach.
  bool IsHere(Triangle const& iTriangle) const
  {
    return std::all_of(iTriangle.begin(), iTriangle.end(), [this](std::uint32_t iVertex) { return iVertex >= _first; });
  }
  SFVector3 const& At(std::uint32_t iVertex) const { return _part.vertices[iVertex - _first]; }

  /// As a part of the longest side.
  double HeightOf(Triangle const& iTriangle) const
  {
    SFVector3 const one = At(iTriangle[1]) - At(iTriangle[0]);
    SFVector3 const other = At(iTriangle[2]) - At(iTriangle[0]);
    SFVector3 const third = other - one;
    double const longest = std::max({Dot(one, one), Dot(other, other), Dot(third, third)});
    return longest > 0.0 ? Norm(Cross(one, other)) / longest : 0.0;
  }

  void Mend(std::size_t iSliver)
  {
    Triangle const sliver = _part.triangles[iSliver];
    double const before = HeightOf(sliver);
    if (before >= LeastHeight) // a neighbour has been mended with it
      return;
    std::size_t longest = 0;
    double length = -1.0;
    for (std::size_t k = 0; k < 3; ++k)
      if (double const side = Norm(At(sliver[(k + 1) % 3]) - At(sliver[k])); side > length) {
        length = side;
        longest = k;
      }
    std::uint32_t const a = sliver[longest];
    std::uint32_t const b = sliver[(longest + 1) % 3];
    std::uint32_t const top = sliver[(longest + 2) % 3];
    if (top >= _complete)
      return;
    // The triangle on the other side of the longest edge runs along it from b to a.
    for (std::size_t const neighbour : _trianglesAt[a]) {
      Triangle const& other = _part.triangles[neighbour];
      for (std::size_t k = 0; k < 3; ++k)
        if (other[k] == b && other[(k + 1) % 3] == a)
          return Turn(iSliver, neighbour, {a, b, top}, other[(k + 2) % 3], before);
    }
  }

  /// Replaces the edge from a to b by that between the vertices across it.
  void Turn(std::size_t iSliver, std::size_t iNeighbour, Triangle const& iSides, std::uint32_t iAcross, double iBefore)
  {
    auto const [a, b, top] = iSides;
    auto const has = [this, iAcross](std::size_t iTriangle) {
      auto const& triangle = _part.triangles[iTriangle];
      return std::find(triangle.begin(), triangle.end(), iAcross) != triangle.end();
    };
    auto& atTop = _trianglesAt[top];
    if (iAcross < _first || std::any_of(atTop.begin(), atTop.end(), has))
      return;
    Triangle const one{a, iAcross, top};
    Triangle const two{iAcross, b, top};
    if (std::min(HeightOf(one), HeightOf(two)) <= iBefore)
      return;
    _part.triangles[iSliver] = one;
    _part.triangles[iNeighbour] = two;
    Replace(a, iNeighbour, iSliver);
    Replace(b, iSliver, iNeighbour);
    atTop.push_back(iNeighbour);
    if (auto const found = _trianglesAt.find(iAcross); found != _trianglesAt.end())
      found->second.push_back(iSliver);
  }

  /// A vertex loses a triangle and may gain another one.
  void Replace(std::uint32_t iVertex, std::size_t iLost, std::size_t iKept)
  {
    auto& triangles = _trianglesAt[iVertex];
    std::erase(triangles, iLost);
    if (std::find(triangles.begin(), triangles.end(), iKept) == triangles.end())
      triangles.push_back(iKept);
  }

  SFMesh& _part;
  std::uint32_t _first;
  std::uint32_t _complete;
  std::unordered_map<std::uint32_t, std::vector<std::size_t>> _trianglesAt; ///< at the vertices of slivers
};

} // namespace

void MendSlivers(SFMesh& ioPart, std::uint32_t iFirst, std::uint32_t iComplete)
{
  Mender(ioPart, iFirst, iComplete).Run();
}

} // namespace SF
