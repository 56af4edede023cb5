#include "SFMeshSimplifier.h"

#include "SFMeshTriangles.h"

#include <algorithm>
#include <limits>
#include <numeric>

namespace SF {
namespace {

/// A triangle may not turn by more than 60 degrees, nor be thinner than this: twice its area by its longest side squared.
constexpr double TurnCosine = 0.5;
constexpr double Thinnest = 0.02;
/// The surface next to a corner does not face away from its normal.
constexpr double FacingCosine = 0.2;
/// The cheapest collapses are for the first rounds.
constexpr int LimitRounds = 8;
/// A collapse is tested when its cost is at most this many tolerances: over a curved surface the mesh moves by less.
constexpr double LargestCost = 4.0;
/// What removed vertices may be off, as a part of the tolerance: the surface between them is a little further off.
constexpr double VertexShare = 0.5;
constexpr int MaxRounds = 400;
/// Rounds end when fewer than one in so many vertices go.
constexpr std::size_t LeastPart = 2000;
constexpr std::size_t TestsPerTask = 256;
/// Vertices between two looks at the cancel flag.
constexpr std::uint32_t CheckInterval = 16384;

SFVector3 NormalOf(std::array<SFVector3, 3> const& iCorners)
{
  return Cross(iCorners[1] - iCorners[0], iCorners[2] - iCorners[0]);
}

double ShapeOf(std::array<SFVector3, 3> const& iCorners)
{
  double longest = 0.0;
  for (std::size_t k = 0; k < 3; ++k) {
    SFVector3 const side = iCorners[(k + 1) % 3] - iCorners[k];
    longest = std::max(longest, Dot(side, side));
  }
  return longest > 0.0 ? Norm(NormalOf(iCorners)) / longest : 0.0;
}

} // namespace

SFMeshSimplifier::SFMeshSimplifier(SFMesh& ioMesh, double iTolerance, SFWorkOptions const& iOptions)
  : _mesh(ioMesh), _tolerance(VertexShare * iTolerance), _options(iOptions), _ownerOf(ioMesh.vertices.size(), None),
    _isFixed(ioMesh.vertices.size()), _isTried(ioMesh.vertices.size()), _isLocked(ioMesh.vertices.size())
{
}

double SFMeshSimplifier::Run(SFProgress const& iProgress)
{
  Index();
  // A vertex inside of the mesh has as many triangles as neighbours.
  for (std::uint32_t vertex = 0; vertex < _mesh.vertices.size(); ++vertex) {
    _ring.clear();
    for (std::uint32_t const triangle : TrianglesAt(vertex))
      _ring.insert(_ring.end(), _mesh.triangles[triangle].begin(), _mesh.triangles[triangle].end());
    std::sort(_ring.begin(), _ring.end());
    auto const neighbours = std::unique(_ring.begin(), _ring.end()) - _ring.begin() - 1;
    _isFixed[vertex] = neighbours != static_cast<std::ptrdiff_t>(TrianglesAt(vertex).size());
  }
  for (int round = 0; round < MaxRounds; ++round) {
    ThrowIfCancelled(_options);
    double const limit = LargestCost * _tolerance * std::min(1.0, (round + 1.0) / LimitRounds);
    std::size_t const vertices = _mesh.triangles.size() / 2;
    if (RunRound(limit) <= vertices / LeastPart && round >= LimitRounds)
      break;
    iProgress.Report(round / (round + 10.0));
  }
  return Finish();
}

std::size_t SFMeshSimplifier::RunRound(double iLimit)
{
  Index();
  Choose(iLimit);
  std::vector<std::vector<std::uint32_t>> owners(_chosen.size());
  ForEach((_chosen.size() + TestsPerTask - 1) / TestsPerTask, _options, [&](std::size_t iTask, unsigned int) {
    std::size_t const end = std::min(_chosen.size(), (iTask + 1) * TestsPerTask);
    for (std::size_t i = iTask * TestsPerTask; i < end; ++i)
      Test(_chosen[i], owners[i]);
  });
  std::size_t done = 0;
  for (std::size_t i = 0; i < _chosen.size(); ++i)
    if (_chosen[i].isAllowed) {
      Apply(_chosen[i], owners[i]);
      ++done;
    } else
      _isTried[_chosen[i].from] = true;
  Compact();
  return done;
}

/// The triangles at each vertex, and the removed vertices at each triangle.
void SFMeshSimplifier::Index()
{
  _firstAt.assign(_mesh.vertices.size() + 1, 0);
  for (auto const& triangle : _mesh.triangles)
    for (std::uint32_t const vertex : triangle)
      ++_firstAt[vertex + 1];
  std::partial_sum(_firstAt.begin(), _firstAt.end(), _firstAt.begin());
  _trianglesAt.resize(3 * _mesh.triangles.size());
  auto next = _firstAt;
  for (std::uint32_t triangle = 0; triangle < _mesh.triangles.size(); ++triangle)
    for (std::uint32_t const vertex : _mesh.triangles[triangle])
      _trianglesAt[next[vertex]++] = triangle;

  _firstPoint.assign(_mesh.triangles.size() + 1, 0);
  for (std::uint32_t const owner : _ownerOf)
    if (owner != None)
      ++_firstPoint[owner + 1];
  std::partial_sum(_firstPoint.begin(), _firstPoint.end(), _firstPoint.begin());
  _points.resize(_firstPoint.back());
  next = _firstPoint;
  for (std::uint32_t vertex = 0; vertex < _ownerOf.size(); ++vertex)
    if (_ownerOf[vertex] != None)
      _points[next[_ownerOf[vertex]]++] = vertex;
}

std::span<std::uint32_t const> SFMeshSimplifier::TrianglesAt(std::uint32_t iVertex) const
{
  return std::span(_trianglesAt).subspan(_firstAt[iVertex], _firstAt[iVertex + 1] - _firstAt[iVertex]);
}

bool SFMeshSimplifier::HasCorner(std::uint32_t iTriangle, std::uint32_t iVertex) const
{
  auto const& triangle = _mesh.triangles[iTriangle];
  return std::find(triangle.begin(), triangle.end(), iVertex) != triangle.end();
}

/// The corners of a triangle when a vertex has become another one.
std::array<SFVector3, 3> SFMeshSimplifier::CornersOf(std::uint32_t iTriangle, std::uint32_t iFrom,
                                                     std::uint32_t iTo) const
{
  std::array<SFVector3, 3> corners{};
  for (std::size_t k = 0; k < 3; ++k) {
    std::uint32_t const vertex = _mesh.triangles[iTriangle][k];
    corners[k] = _mesh.vertices[vertex == iFrom ? iTo : vertex];
  }
  return corners;
}

/// Chooses collapses whose triangles have no vertex in common.
void SFMeshSimplifier::Choose(double iLimit)
{
  _chosen.clear();
  std::fill(_isLocked.begin(), _isLocked.end(), false);
  for (std::uint32_t vertex = 0; vertex < _mesh.vertices.size(); ++vertex) {
    if (vertex % CheckInterval == 0)
      ThrowIfCancelled(_options);
    auto const triangles = TrianglesAt(vertex);
    if (triangles.empty() || _isFixed[vertex] || _isTried[vertex] || _isLocked[vertex])
      continue;
    bool const isFree = std::all_of(triangles.begin(), triangles.end(), [&](std::uint32_t iTriangle) {
      auto const& [a, b, c] = _mesh.triangles[iTriangle];
      return !_isLocked[a] && !_isLocked[b] && !_isLocked[c];
    });
    if (!isFree)
      continue;
    std::uint32_t const target = BestTarget(vertex, iLimit);
    if (target == None) {
      _isTried[vertex] = iLimit >= LargestCost * _tolerance;
      continue;
    }
    _chosen.push_back({vertex, target, false});
    for (std::uint32_t const triangle : triangles)
      for (std::uint32_t const corner : _mesh.triangles[triangle])
        _isLocked[corner] = true;
  }
}

/// The neighbour that a vertex can best become; None when there is no good one.
std::uint32_t SFMeshSimplifier::BestTarget(std::uint32_t iVertex, double iLimit)
{
  _ring.clear();
  for (std::uint32_t const triangle : TrianglesAt(iVertex))
    for (std::uint32_t const corner : _mesh.triangles[triangle])
      if (corner != iVertex && std::find(_ring.begin(), _ring.end(), corner) == _ring.end())
        _ring.push_back(corner);
  std::uint32_t best = None;
  double least = iLimit;
  for (std::uint32_t const target : _ring) {
    double const cost = CostOf(iVertex, target);
    if (cost > least || (cost == least && best != None) || !KeepsTopology(iVertex, target) ||
        !KeepsShape(iVertex, target))
      continue;
    least = cost;
    best = target;
  }
  return best;
}

/// How far the target is from the planes of the triangles around, at most.
double SFMeshSimplifier::CostOf(std::uint32_t iFrom, std::uint32_t iTo) const
{
  SFVector3 const move = _mesh.vertices[iTo] - _mesh.vertices[iFrom];
  double cost = 0.0;
  for (std::uint32_t const triangle : TrianglesAt(iFrom))
    cost = std::max(cost, std::abs(Dot(Unit(NormalOf(CornersOf(triangle, None, None))), move)));
  return cost;
}

/// The link condition: the ends of the edge have two neighbours in common, those across its triangles. (T. K. Dey, H.
/// Edelsbrunner, S. Guha, D. V. Nekhayev, "Topology preserving edge contraction", 1999.)
bool SFMeshSimplifier::KeepsTopology(std::uint32_t iFrom, std::uint32_t iTo) const
{
  if (TrianglesAt(iFrom).size() <= 3 || (_isFixed[iTo] && TrianglesAt(iTo).size() <= 2))
    return false;
  int common = 0;
  for (std::uint32_t const triangle : TrianglesAt(iFrom))
    for (std::uint32_t const corner : _mesh.triangles[triangle]) {
      if (corner == iFrom || corner == iTo)
        continue;
      auto const others = TrianglesAt(corner);
      common += std::any_of(others.begin(), others.end(), [&](std::uint32_t iOther) { return HasCorner(iOther, iTo); })
                    ? 1
                    : 0;
    }
  return common == 4; // each is a corner of two of the triangles
}

bool SFMeshSimplifier::KeepsShape(std::uint32_t iFrom, std::uint32_t iTo) const
{
  for (std::uint32_t const triangle : TrianglesAt(iFrom)) {
    if (HasCorner(triangle, iTo))
      continue;
    auto const before = CornersOf(triangle, None, None);
    auto const after = CornersOf(triangle, iFrom, iTo);
    SFVector3 const normal = Unit(NormalOf(after));
    double const turn = Dot(normal, Unit(NormalOf(before)));
    double const shape = ShapeOf(after);
    if (turn < TurnCosine || (shape < Thinnest && shape < ShapeOf(before)))
      return false;
    for (std::uint32_t const corner : _mesh.triangles[triangle]) {
      SFVector3 const at = AsDoubles(_mesh.normals[corner == iFrom ? iTo : corner]);
      if (at != SFVector3{} && Dot(normal, at) < FacingCosine)
        return false;
    }
  }
  return true;
}

/// The vertices that a collapse would move away from: the vertex, and those removed at its triangles.
SFMeshSimplifier::Points SFMeshSimplifier::PointsNear(std::uint32_t iVertex) const
{
  Points points{iVertex};
  for (std::uint32_t const triangle : TrianglesAt(iVertex))
    points.insert(points.end(), _points.begin() + _firstPoint[triangle], _points.begin() + _firstPoint[triangle + 1]);
  return points;
}

/// Finds the new owners of all points near the vertex, and whether all of them are near enough.
void SFMeshSimplifier::Test(Collapse& ioCollapse, std::vector<std::uint32_t>& oOwners) const
{
  for (std::uint32_t const point : PointsNear(ioCollapse.from)) {
    double nearest = std::numeric_limits<double>::infinity();
    std::uint32_t owner = None;
    for (std::uint32_t const triangle : TrianglesAt(ioCollapse.from)) {
      if (HasCorner(triangle, ioCollapse.to))
        continue;
      double const distance =
          DistanceToTriangle(_mesh.vertices[point], CornersOf(triangle, ioCollapse.from, ioCollapse.to));
      if (distance < nearest) {
        nearest = distance;
        owner = triangle;
      }
    }
    if (nearest > _tolerance)
      return;
    oOwners.push_back(owner);
  }
  ioCollapse.isAllowed = true;
}

void SFMeshSimplifier::Apply(Collapse const& iCollapse, std::vector<std::uint32_t> const& iOwners)
{
  Points const points = PointsNear(iCollapse.from);
  for (std::size_t i = 0; i < points.size(); ++i)
    _ownerOf[points[i]] = iOwners[i];
  for (std::uint32_t const triangle : TrianglesAt(iCollapse.from)) {
    auto& corners = _mesh.triangles[triangle];
    for (std::uint32_t const corner : corners)
      _isTried[corner] = false;
    if (HasCorner(triangle, iCollapse.to))
      corners = {None, None, None};
    else
      std::replace(corners.begin(), corners.end(), iCollapse.from, iCollapse.to);
  }
}

/// Drops the triangles that are gone.
void SFMeshSimplifier::Compact()
{
  std::vector<std::uint32_t> placeOf(_mesh.triangles.size(), None);
  std::uint32_t count = 0;
  for (std::uint32_t triangle = 0; triangle < _mesh.triangles.size(); ++triangle)
    if (_mesh.triangles[triangle][0] != None) {
      placeOf[triangle] = count;
      _mesh.triangles[count++] = _mesh.triangles[triangle];
    }
  _mesh.triangles.resize(count);
  for (std::uint32_t& owner : _ownerOf)
    if (owner != None)
      owner = placeOf[owner];
}

/// Measures, and drops the vertices that are gone.
double SFMeshSimplifier::Finish()
{
  double largest = 0.0;
  std::vector<std::uint32_t> placeOf(_mesh.vertices.size(), None);
  std::uint32_t count = 0;
  for (std::uint32_t vertex = 0; vertex < _mesh.vertices.size(); ++vertex)
    if (_ownerOf[vertex] != None)
      largest = std::max(largest, DistanceToTriangle(_mesh.vertices[vertex], CornersOf(_ownerOf[vertex], None, None)));
    else
      placeOf[vertex] = count++;
  for (std::uint32_t vertex = 0; vertex < _mesh.vertices.size(); ++vertex)
    if (placeOf[vertex] != None) {
      _mesh.vertices[placeOf[vertex]] = _mesh.vertices[vertex];
      _mesh.normals[placeOf[vertex]] = _mesh.normals[vertex];
    }
  _mesh.vertices.resize(count);
  _mesh.normals.resize(count);
  for (auto& triangle : _mesh.triangles)
    for (std::uint32_t& corner : triangle)
      corner = placeOf[corner];
  return largest;
}

} // namespace SF
