#include "SFMeshMeasure.h"
#include "SFVector3.h"
#include "SFWork.h"

#include <algorithm>
#include <numeric>
#include <span>
#include <vector>

namespace SF {
namespace {

/// Vertices between two looks at the cancel flag.
constexpr std::uint32_t CheckInterval = 65536;

/// The triangles at each vertex, as the pairs of their other corners, in the order of the triangle.
class Fans
{
public:
  using Spoke = std::array<std::uint32_t, 2>;

  explicit Fans(SFMesh const& iMesh) : _first(iMesh.vertices.size() + 1), _spokes(3 * iMesh.triangles.size())
  {
    for (auto const& triangle : iMesh.triangles)
      for (std::uint32_t const vertex : triangle)
        ++_first[vertex + 1];
    std::partial_sum(_first.begin(), _first.end(), _first.begin());
    std::vector<std::size_t> next(_first.begin(), _first.end() - 1);
    for (auto const& [a, b, c] : iMesh.triangles) {
      _spokes[next[a]++] = {b, c};
      _spokes[next[b]++] = {c, a};
      _spokes[next[c]++] = {a, b};
    }
  }
  std::span<Spoke> At(std::size_t iVertex)
  {
    return std::span(_spokes).subspan(_first[iVertex], _first[iVertex + 1] - _first[iVertex]);
  }

private:
  std::vector<std::size_t> _first;
  std::vector<Spoke> _spokes;
};

/// Counts the edges from a vertex to those with higher numbers.
void CountEdges(std::uint32_t iVertex, std::span<Fans::Spoke const> iSpokes, std::vector<std::uint32_t>& ioOut,
                std::vector<std::uint32_t>& ioIn, std::uint64_t& ioEdges, SFMeshTopology& ioTopology)
{
  ioOut.clear();
  ioIn.clear();
  for (auto const& [to, from] : iSpokes) {
    if (to > iVertex)
      ioOut.push_back(to);
    if (from > iVertex)
      ioIn.push_back(from);
  }
  std::sort(ioOut.begin(), ioOut.end());
  std::sort(ioIn.begin(), ioIn.end());
  auto out = ioOut.begin();
  auto in = ioIn.begin();
  while (out != ioOut.end() || in != ioIn.end()) {
    std::uint32_t const other = out == ioOut.end() ? *in : in == ioIn.end() ? *out : std::min(*out, *in);
    auto const take = [other](auto& ioNext, auto iEnd) {
      auto const begin = ioNext;
      while (ioNext != iEnd && *ioNext == other)
        ++ioNext;
      return ioNext - begin;
    };
    auto const leaving = take(out, ioOut.end());
    auto const arriving = take(in, ioIn.end());
    ++ioEdges;
    ioTopology.openEdges += leaving + arriving == 1 ? 1 : 0;
    ioTopology.pinchedEdges += leaving + arriving > 2 ? 1 : 0;
    ioTopology.turnedEdges += leaving + arriving == 2 && leaving != 1 ? 1 : 0;
  }
}

/// Whether the triangles at a vertex form one fan, closed or open. Reorders them.
bool IsOneFan(std::span<Fans::Spoke> ioSpokes)
{
  // An open fan begins where no triangle ends.
  for (auto& spoke : ioSpokes)
    if (std::none_of(ioSpokes.begin(), ioSpokes.end(), [&](auto const& iOther) { return iOther[1] == spoke[0]; })) {
      std::swap(spoke, ioSpokes.front());
      break;
    }
  for (std::size_t i = 0; i + 1 < ioSpokes.size(); ++i) {
    auto const rest = ioSpokes.subspan(i + 1);
    auto const next =
        std::find_if(rest.begin(), rest.end(), [&](auto const& iOther) { return iOther[0] == ioSpokes[i][1]; });
    if (next == rest.end())
      return false;
    std::swap(*next, rest.front());
  }
  return true;
}

/// The smallest vertex of the component of each vertex.
std::vector<std::uint32_t> ComponentsOf(SFMesh const& iMesh)
{
  std::vector<std::uint32_t> parent(iMesh.vertices.size());
  std::iota(parent.begin(), parent.end(), 0U);
  auto const root = [&parent](std::uint32_t iVertex) {
    while (parent[iVertex] != iVertex)
      iVertex = parent[iVertex] = parent[parent[iVertex]];
    return iVertex;
  };
  for (auto const& [a, b, c] : iMesh.triangles)
    for (std::uint32_t const other : {b, c}) {
      std::uint32_t const one = root(a);
      std::uint32_t const two = root(other);
      parent[std::max(one, two)] = std::min(one, two);
    }
  for (std::uint32_t vertex = 0; vertex < parent.size(); ++vertex)
    parent[vertex] = root(vertex);
  return parent;
}

void CountComponents(SFMesh const& iMesh, SFMeshTopology& ioTopology)
{
  auto const component = ComponentsOf(iMesh);
  std::vector<double> volumes(iMesh.vertices.size());
  std::vector<bool> isUsed(iMesh.vertices.size());
  for (auto const& [a, b, c] : iMesh.triangles) {
    // From a vertex of the component, so that its distance from the origin costs no digits.
    SFVector3 const& origin = iMesh.vertices[component[a]];
    volumes[component[a]] +=
        Dot(iMesh.vertices[a] - origin, Cross(iMesh.vertices[b] - origin, iMesh.vertices[c] - origin));
    isUsed[component[a]] = true;
  }
  for (std::size_t vertex = 0; vertex < volumes.size(); ++vertex)
    if (isUsed[vertex]) {
      ++ioTopology.components;
      ioTopology.cavities += volumes[vertex] < 0.0 ? 1 : 0;
    }
}

} // namespace

SFMeshTopology TopologyOf(SFMesh const& iMesh, SFWorkOptions const& iOptions)
{
  SFMeshTopology topology;
  Fans fans(iMesh);
  std::uint64_t edges = 0;
  std::int64_t vertices = 0;
  std::vector<std::uint32_t> out;
  std::vector<std::uint32_t> in;
  for (std::uint32_t vertex = 0; vertex < iMesh.vertices.size(); ++vertex) {
    if (vertex % CheckInterval == 0)
      ThrowIfCancelled(iOptions);
    auto const spokes = fans.At(vertex);
    vertices += spokes.empty() ? 0 : 1;
    CountEdges(vertex, spokes, out, in, edges, topology);
    topology.pinchedVertices += spokes.empty() || IsOneFan(spokes) ? 0 : 1;
  }
  ThrowIfCancelled(iOptions);
  CountComponents(iMesh, topology);
  std::int64_t const euler =
      vertices - static_cast<std::int64_t>(edges) + static_cast<std::int64_t>(iMesh.triangles.size());
  topology.genus = topology.IsWatertight() ? static_cast<std::int64_t>(topology.components) - euler / 2 : -1;
  return topology;
}

} // namespace SF
