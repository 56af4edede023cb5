#include "SFVertexPlacer.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

namespace SF {
namespace {

/// Lengths in voxels. A vertex so near to the surface is on it.
constexpr double OnSurface = 1e-5;
/// How far a vertex may leave its cell on the way along the gradient.
constexpr double SlideMargin = 0.25;
/// A sharp vertex further off than this is no meeting of its sides.
constexpr double SharpLimit = 0.02;
/// How far from the faces of its cell a vertex stays that was moved along an edge.
constexpr double SlideInset = 0.05;
/// How far out of its cell it may go to reach an edge.
constexpr double EdgeMargin = 0.5;
/// A direction with a component below this is parallel to the plane across it.
constexpr double Parallel = 1e-12;

/// Planes whose normals are less alike than this, by the cosine, are different sides of the surface: 25 degrees.
constexpr double SideCosine = 0.9;
/// Planes that are so much alike are one: 2 degrees.
constexpr double OnePlaneCosine = 0.9994;
/// A smooth vertex further off than this starts again elsewhere.
constexpr double SmoothLimit = 1e-4;
/// A step on the way to the surface is worth it when it leaves no more than this part of the distance.
constexpr double WorthLeft = 0.9;
constexpr int MaxRounds = 12;
constexpr int MaxConfinedRounds = 60;
constexpr int MaxRefinements = 3;
/// A side is looked at this far from the vertex, as a part of the way to the centre of its crossings; a way onto the
/// surface begins this far from a crossing, on that to their centre.
constexpr double LookAside = 0.1;

} // namespace

void SFVertexPlacer::Clear()
{
  _crossings.clear();
  _vertices.clear();
  _sides.clear();
  _open.clear();
  _reaches.clear();
}

void SFVertexPlacer::AddVertex(SFLatticeIndex const& iCell, SFVector3 const& iCellLow)
{
  Vertex vertex;
  vertex.cell = iCell;
  vertex.cellLow = iCellLow;
  vertex.firstCrossing = _crossings.size();
  vertex.distance = std::numeric_limits<double>::infinity();
  _vertices.push_back(vertex);
}

void SFVertexPlacer::AddCrossing(SFVector3 const& iPoint, SFTangentPlane const& iPlane)
{
  _crossings.push_back({iPoint, iPlane});
}

void SFVertexPlacer::Start(CellTest const& iIsEmpty)
{
  _isEmpty = iIsEmpty;
  for (std::size_t i = 0; i < _vertices.size(); ++i)
    StartOne(i);
}

std::size_t SFVertexPlacer::EndOfCrossings(std::size_t iVertex) const
{
  return iVertex + 1 < _vertices.size() ? _vertices[iVertex + 1].firstCrossing : _crossings.size();
}

/// The first position of a vertex: the meeting of the planes, or the centre of the crossings.
void SFVertexPlacer::StartOne(std::size_t iVertex)
{
  Vertex& vertex = _vertices[iVertex];
  std::size_t const end = EndOfCrossings(iVertex);
  SFTangentPlane const* first = nullptr;
  double alike = 1.0;
  for (std::size_t i = vertex.firstCrossing; i < end; ++i) {
    auto const& [point, plane] = _crossings[i];
    vertex.centre = vertex.centre + point;
    if (!plane.IsKnown())
      continue;
    first = first == nullptr ? &plane : first;
    alike = std::min(alike, Dot(first->normal, plane.normal));
  }
  vertex.centre = (1.0 / static_cast<double>(end - vertex.firstCrossing)) * vertex.centre;
  vertex.position = vertex.best = vertex.centre;
  if (first == nullptr)
    return;
  _open.push_back(iVertex);
  if (!_hasSharpFeatures || alike >= OnePlaneCosine)
    return;
  SFPlaneFit fit(vertex.centre);
  for (std::size_t i = vertex.firstCrossing; i < end; ++i)
    if (_crossings[i].plane.IsKnown())
      fit.Add(_crossings[i].plane);
  SFPlaneMeeting const meeting = fit.Solve();
  SFVector3 place{};
  if (FindPlace(vertex, meeting, place)) {
    vertex.position = place;
    FindSides(iVertex);
    vertex.hasStartedSharp = vertex.sides != 0;
  } else if (meeting.GetRank() >= 2)
    _reaches.push_back({iVertex, meeting});
}

/// Edges that pass a cell by, though its crossings lie on both of their sides: the surface between them and their
/// neighbours' would cut the edge off. The vertex goes to the edge in a neighbour, if possible one without a vertex on it.
void SFVertexPlacer::ReachForEdges(CellTest const& iHasSharpVertex)
{
  for (auto const& [index, meeting] : _reaches) {
    Vertex& vertex = _vertices[index];
    SFVector3 place = meeting.Point(2);
    if (!SlideIntoNeighbour(vertex, meeting.EdgeDirection(), iHasSharpVertex, place)) {
      auto const [low, high] = StretchInCell(vertex, place, meeting.EdgeDirection(), EdgeMargin);
      if (!(low <= high))
        continue;
      place = place + std::clamp(0.0, low, high) * meeting.EdgeDirection();
    }
    vertex.position = place;
    FindSides(index);
  }
}

void SFVertexPlacer::Run(SFCompiledField const& iField, CellTest const& iHasSharpVertex)
{
  ReachForEdges(iHasSharpVertex);
  RunOpen(iField, MaxRounds);
}

void SFVertexPlacer::PutInCells(SFCompiledField const& iField, std::vector<std::size_t> const& iVertices)
{
  for (std::size_t const vertex : iVertices) {
    MakeSmooth(_vertices[vertex]);
    _vertices[vertex].isConfined = true;
    _vertices[vertex].newStarts = 0;
  }
  _open = iVertices;
  RunOpen(iField, MaxConfinedRounds);
}

void SFVertexPlacer::RunOpen(SFCompiledField const& iField, int iRounds)
{
  for (int round = 0; round < iRounds && !_open.empty(); ++round) {
    _batch.Clear();
    for (std::size_t const vertex : _open)
      _batch.Add(_vertices[vertex].position);
    _batch.EvaluateGradient(iField);
    std::size_t open = 0;
    for (std::size_t i = 0; i < _open.size(); ++i)
      if (!Update(_vertices[_open[i]], _batch.Point(i), _batch.Value(i), _batch.Gradient(i)) || StartAgain(_open[i]))
        _open[open++] = _open[i];
    _open.resize(open);
    Refine(iField);
  }
}

bool SFVertexPlacer::HasLeftCell(std::size_t iVertex) const
{
  return !IsInCell(_vertices[iVertex], _vertices[iVertex].best);
}

std::vector<SFTangentPlane> SFVertexPlacer::SidesOf(std::size_t iVertex) const
{
  Vertex const& vertex = _vertices[iVertex];
  std::vector<SFTangentPlane> sides;
  for (std::size_t k = 0; k < vertex.sides; ++k)
    sides.push_back(_sides[vertex.firstSide + k].plane);
  return sides;
}

bool SFVertexPlacer::IsInCell(Vertex const& iVertex, SFVector3 const& iPoint) const
{
  for (std::size_t axis = 0; axis < 3; ++axis)
    if (!(iPoint[axis] >= iVertex.cellLow[axis] && iPoint[axis] <= iVertex.cellLow[axis] + _voxel))
      return false;
  return true;
}

/// The cell that a point is in; false unless it is next to that of the vertex.
bool SFVertexPlacer::CellOf(Vertex const& iVertex, SFVector3 const& iPoint, SFLatticeIndex& oCell) const
{
  oCell = iVertex.cell;
  for (std::size_t axis = 0; axis < 3; ++axis) {
    double const step = std::floor((iPoint[axis] - iVertex.cellLow[axis]) / _voxel);
    if (!(std::abs(step) <= 1.0))
      return false;
    oCell[axis] += static_cast<std::int64_t>(step);
  }
  return oCell != iVertex.cell;
}

/// Whether a point is in a cell next to that of the vertex that has no surface, and so no vertex of its own.
bool SFVertexPlacer::IsInEmptyCell(Vertex const& iVertex, SFVector3 const& iPoint) const
{
  SFLatticeIndex cell{};
  return CellOf(iVertex, iPoint, cell) && _isEmpty(cell);
}

/// Where a line is within the cell, made larger by a margin: as lengths along its direction, from low to high. None where
/// low > high.
SFVertexPlacer::Stretch SFVertexPlacer::StretchInCell(Vertex const& iVertex, SFVector3 const& iPoint,
                                                      SFVector3 const& iDirection, double iMargin) const
{
  Stretch stretch{-std::numeric_limits<double>::infinity(), std::numeric_limits<double>::infinity()};
  for (std::size_t axis = 0; axis < 3; ++axis) {
    double const low = iVertex.cellLow[axis] - iMargin * _voxel - iPoint[axis];
    double const high = low + (1.0 + 2.0 * iMargin) * _voxel;
    if (std::abs(iDirection[axis]) < Parallel) {
      if (low > 0.0 || high < 0.0)
        return {1.0, 0.0};
      continue;
    }
    double const one = low / iDirection[axis];
    double const other = high / iDirection[axis];
    stretch = {std::max(stretch.low, std::min(one, other)), std::min(stretch.high, std::max(one, other))};
  }
  return stretch;
}

/// Moves a point along a line into the cell, by as little as possible; false when the line does not meet it.
bool SFVertexPlacer::SlideIntoCell(Vertex const& iVertex, SFVector3 const& iDirection, SFVector3& ioPoint) const
{
  auto const [low, high] = StretchInCell(iVertex, ioPoint, iDirection, 0.0);
  if (!(low <= high))
    return false;
  // Not onto a face of the cell, where the neighbour may put its vertex too.
  double const inset = SlideInset * _voxel;
  double const middle = low + (high - low) / 2.0;
  ioPoint = ioPoint + std::clamp(0.0, std::min(low + inset, middle), std::max(high - inset, middle)) * iDirection;
  return true;
}

/// Moves a point along a line to the middle of its nearest stretch through a cell next to that of the vertex that has no
/// vertex on an edge; false when there is none within the margin.
bool SFVertexPlacer::SlideIntoNeighbour(Vertex const& iVertex, SFVector3 const& iDirection,
                                        CellTest const& iHasSharpVertex, SFVector3& ioPoint) const
{
  auto const [low, high] = StretchInCell(iVertex, ioPoint, iDirection, EdgeMargin);
  if (!(low <= high))
    return false;
  std::vector<double> cuts{low, high};
  for (std::size_t axis = 0; axis < 3; ++axis)
    for (double const face : {0.0, _voxel}) {
      double const cut = (iVertex.cellLow[axis] + face - ioPoint[axis]) / iDirection[axis];
      if (cut > low && cut < high)
        cuts.push_back(cut);
    }
  std::sort(cuts.begin(), cuts.end());
  double nearest = std::numeric_limits<double>::infinity();
  for (std::size_t i = 0; i + 1 < cuts.size(); ++i) {
    double const middle = (cuts[i] + cuts[i + 1]) / 2.0;
    SFLatticeIndex cell{};
    if (std::abs(middle) < std::abs(nearest) && cuts[i + 1] - cuts[i] > SlideInset * _voxel &&
        CellOf(iVertex, ioPoint + middle * iDirection, cell) && !iHasSharpVertex(cell))
      nearest = middle;
  }
  if (!std::isfinite(nearest))
    return false;
  ioPoint = ioPoint + nearest * iDirection;
  return true;
}

/// The place of a vertex where planes meet: in its cell, if need be at another place of the edge, or in a cell without
/// surface next to it. False when there is none.
bool SFVertexPlacer::FindPlace(Vertex const& iVertex, SFPlaneMeeting const& iMeeting, SFVector3& oPoint) const
{
  std::size_t const rank = iMeeting.GetRank();
  oPoint = iMeeting.Point(rank);
  if (IsInCell(iVertex, oPoint))
    return true;
  if (rank < 2)
    return false;
  if ((rank == 2 && SlideIntoCell(iVertex, iMeeting.EdgeDirection(), oPoint)) || IsInEmptyCell(iVertex, oPoint))
    return true;
  oPoint = iMeeting.Point(2);
  return rank == 3 && SlideIntoCell(iVertex, iMeeting.EdgeDirection(), oPoint);
}

SFVector3 SFVertexPlacer::InCell(Vertex const& iVertex, SFVector3 const& iPoint, double iMargin) const
{
  SFVector3 point = iPoint;
  for (std::size_t axis = 0; axis < 3; ++axis)
    point[axis] = std::clamp(point[axis], iVertex.cellLow[axis] - iMargin * _voxel,
                             iVertex.cellLow[axis] + (1.0 + iMargin) * _voxel);
  return point;
}

void SFVertexPlacer::FindSides(std::size_t iVertex)
{
  Vertex& vertex = _vertices[iVertex];
  vertex.firstSide = _sides.size();
  std::array<double, 12> counts{};
  for (std::size_t i = vertex.firstCrossing; i < EndOfCrossings(iVertex); ++i) {
    auto const& [point, plane] = _crossings[i];
    if (!plane.IsKnown())
      continue;
    std::size_t side = vertex.firstSide;
    while (side < _sides.size() && Dot(_sides[side].plane.normal, plane.normal) < SideCosine)
      ++side;
    if (side == _sides.size())
      _sides.push_back({{}, plane});
    _sides[side].centre = _sides[side].centre + point;
    counts[side - vertex.firstSide] += 1.0;
  }
  vertex.sides = _sides.size() - vertex.firstSide;
  for (std::size_t k = 0; k < vertex.sides; ++k)
    _sides[vertex.firstSide + k].centre = (1.0 / counts[k]) * _sides[vertex.firstSide + k].centre;
  if (vertex.sides < 2) {
    _sides.resize(vertex.firstSide);
    vertex.sides = 0;
  }
}

/// Whether the sides of a vertex are no sides of an edge: near to it they are alike.
bool SFVertexPlacer::IsCurved(Vertex const& iVertex) const
{
  auto const first = _sides.begin() + static_cast<std::ptrdiff_t>(iVertex.firstSide);
  auto const last = first + static_cast<std::ptrdiff_t>(iVertex.sides);
  return std::all_of(first + 1, last,
                     [first](Side const& iSide) { return Dot(first->plane.normal, iSide.plane.normal) >= SideCosine; });
}

void SFVertexPlacer::MakeSmooth(Vertex& ioVertex) const
{
  ioVertex.sides = 0;
  ioVertex.position = ioVertex.centre;
  ioVertex.distance = std::numeric_limits<double>::infinity();
}

/// Takes the values at a position that was tried; true when the vertex stays where it is best.
bool SFVertexPlacer::Update(Vertex& ioVertex, SFVector3 const& iPoint, double iValue, SFVector3 const& iGradient) const
{
  auto const plane = TangentPlaneOf(iPoint, iValue, iGradient);
  if (!plane.IsKnown())
    return true;
  double const step = Dot(plane.normal, iPoint) - plane.offset;
  double const before = ioVertex.distance;
  if (std::abs(step) < before) {
    ioVertex.distance = std::abs(step);
    ioVertex.best = iPoint;
    ioVertex.normal = plane.normal;
  }
  if (ioVertex.distance <= OnSurface * _voxel)
    return true;
  if (ioVertex.sides != 0) {
    ioVertex.seen = plane;
    if (ioVertex.refinements < MaxRefinements)
      return false;
    if (ioVertex.distance <= SharpLimit * _voxel)
      return true;
    MakeSmooth(ioVertex);
    return false;
  }
  ioVertex.position = InCell(ioVertex, iPoint - step * plane.normal, ioVertex.isConfined ? 0.0 : SlideMargin);
  return !(std::abs(step) < WorthLeft * before);
}

/// Where the way from the centre of the crossings does not end on the surface, as at rims that are thinner than the cell:
/// another one, from next to the nearest crossing, and in a cell that must not be left from next to each. False when there
/// is no need of it, or no hope.
bool SFVertexPlacer::StartAgain(std::size_t iVertex)
{
  Vertex& vertex = _vertices[iVertex];
  std::size_t const crossings = EndOfCrossings(iVertex) - vertex.firstCrossing;
  std::size_t const start = vertex.newStarts;
  if (vertex.sides != 0 || start >= (vertex.isConfined ? crossings : 1) || !(vertex.distance > SmoothLimit * _voxel))
    return false;
  ++vertex.newStarts;
  std::vector<std::pair<double, std::size_t>> nearest;
  for (std::size_t i = vertex.firstCrossing; i < EndOfCrossings(iVertex); ++i)
    if (_crossings[i].plane.IsKnown())
      nearest.emplace_back(Norm(vertex.centre - _crossings[i].point), i);
  if (start >= nearest.size())
    return false;
  std::sort(nearest.begin(), nearest.end());
  SFVector3 const& crossing = _crossings[nearest[start].second].point;
  vertex.position = crossing + LookAside * (vertex.centre - crossing);
  return true;
}

/// Looks at the sides of the sharp vertices next to them, where curved sides have other planes than at the crossings, and
/// moves the vertices to where these meet.
void SFVertexPlacer::Refine(SFCompiledField const& iField)
{
  _batch.Clear();
  for (std::size_t const open : _open)
    for (std::size_t k = 0; k < _vertices[open].sides; ++k) {
      Vertex const& vertex = _vertices[open];
      _batch.Add(vertex.position + LookAside * (_sides[vertex.firstSide + k].centre - vertex.position));
    }
  if (_batch.Size() == 0)
    return;
  _batch.EvaluateGradient(iField);
  std::size_t next = 0;
  for (std::size_t const open : _open) {
    Vertex& vertex = _vertices[open];
    if (vertex.sides == 0)
      continue;
    SFPlaneFit fit(vertex.position);
    for (std::size_t k = 0; k < vertex.sides; ++k, ++next) {
      Side& side = _sides[vertex.firstSide + k];
      auto const plane = TangentPlaneOf(_batch.Point(next), _batch.Value(next), _batch.Gradient(next));
      if (plane.IsKnown() && Dot(plane.normal, side.plane.normal) > 0.5)
        side.plane = plane;
      fit.Add(side.plane);
    }
    ++vertex.refinements;
    if (IsCurved(vertex)) { // on from here as a smooth one
      vertex.sides = 0;
      vertex.best = vertex.position;
      vertex.normal = vertex.seen.normal;
      double const step = Dot(vertex.seen.normal, vertex.position) - vertex.seen.offset;
      vertex.distance = std::abs(step);
      vertex.position = InCell(vertex, vertex.position - step * vertex.normal, SlideMargin);
      continue;
    }
    SFVector3 meeting{};
    if (FindPlace(vertex, fit.Solve(), meeting))
      vertex.position = meeting;
    else
      MakeSmooth(vertex);
  }
}

SFMeshVertex SFVertexPlacer::Get(std::size_t iVertex) const
{
  Vertex const& vertex = _vertices[iVertex];
  SFVector3 normal = vertex.normal;
  if (vertex.sides != 0) {
    normal = {};
    for (std::size_t k = 0; k < vertex.sides; ++k)
      normal = normal + _sides[vertex.firstSide + k].plane.normal;
    normal = Unit(normal);
  }
  return {vertex.best, AsFloats(normal), vertex.sides != 0};
}

} // namespace SF
