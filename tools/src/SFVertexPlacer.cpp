#include "SFVertexPlacer.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace SF {
namespace {

/// Lengths in voxels. A vertex so near to the surface is on it.
constexpr double OnSurface = 1e-5;
/// How far a vertex may leave its cell on the way along the gradient.
constexpr double SlideMargin = 0.25;
/// A sharp vertex further off than this is no meeting of its sides.
constexpr double SharpLimit = 0.02;

/// Planes whose normals are less alike than this, by the cosine, are different sides of the surface: 25 degrees.
constexpr double SideCosine = 0.9;
constexpr int MaxRounds = 8;
constexpr int MaxRefinements = 3;
/// A side is looked at this far from the vertex, as a part of the way to the centre of its crossings.
constexpr double LookAside = 0.1;

} // namespace

void SFVertexPlacer::Clear()
{
  _crossings.clear();
  _vertices.clear();
  _sides.clear();
}

void SFVertexPlacer::AddVertex(SFVector3 const& iCellLow)
{
  Vertex vertex;
  vertex.cellLow = iCellLow;
  vertex.firstCrossing = _crossings.size();
  vertex.distance = std::numeric_limits<double>::infinity();
  _vertices.push_back(vertex);
}

void SFVertexPlacer::AddCrossing(SFVector3 const& iPoint, SFTangentPlane const& iPlane)
{
  _crossings.push_back({iPoint, iPlane});
}

void SFVertexPlacer::Run(SFCompiledField const& iField, SFMeshBlock& ioBlock)
{
  _open.clear();
  for (std::size_t i = 0; i < _vertices.size(); ++i)
    Start(i, i + 1 < _vertices.size() ? _vertices[i + 1].firstCrossing : _crossings.size());
  for (int round = 0; round < MaxRounds && !_open.empty(); ++round) {
    _batch.Clear();
    for (std::size_t const vertex : _open)
      _batch.Add(_vertices[vertex].position);
    _batch.EvaluateGradient(iField);
    std::size_t open = 0;
    for (std::size_t i = 0; i < _open.size(); ++i)
      if (!Update(_vertices[_open[i]], _batch.Point(i), _batch.Value(i), _batch.Gradient(i)))
        _open[open++] = _open[i];
    _open.resize(open);
    Refine(iField);
  }
  Finish(ioBlock);
}

bool SFVertexPlacer::IsInCell(Vertex const& iVertex, SFVector3 const& iPoint, double iMargin) const
{
  for (std::size_t axis = 0; axis < 3; ++axis) {
    double const along = (iPoint[axis] - iVertex.cellLow[axis]) / _voxel;
    if (!(along >= -iMargin && along <= 1.0 + iMargin))
      return false;
  }
  return true;
}

SFVector3 SFVertexPlacer::InCell(Vertex const& iVertex, SFVector3 const& iPoint, double iMargin) const
{
  SFVector3 point = iPoint;
  for (std::size_t axis = 0; axis < 3; ++axis)
    point[axis] = std::clamp(point[axis], iVertex.cellLow[axis] - iMargin * _voxel,
                             iVertex.cellLow[axis] + (1.0 + iMargin) * _voxel);
  return point;
}

/// The first position of a vertex: the meeting of the planes, or the centre of the crossings.
void SFVertexPlacer::Start(std::size_t iVertex, std::size_t iEndOfCrossings)
{
  Vertex& vertex = _vertices[iVertex];
  std::size_t planes = 0;
  for (std::size_t i = vertex.firstCrossing; i < iEndOfCrossings; ++i) {
    vertex.centre = vertex.centre + _crossings[i].point;
    planes += _crossings[i].plane.IsKnown() ? 1 : 0;
  }
  vertex.centre = (1.0 / static_cast<double>(iEndOfCrossings - vertex.firstCrossing)) * vertex.centre;
  vertex.position = vertex.best = vertex.centre;
  if (planes == 0)
    return;
  _open.push_back(iVertex);
  if (!_hasSharpFeatures)
    return;
  SFPlaneFit fit(vertex.centre);
  for (std::size_t i = vertex.firstCrossing; i < iEndOfCrossings; ++i)
    if (_crossings[i].plane.IsKnown())
      fit.Add(_crossings[i].plane);
  SFVector3 const meeting = fit.Solve();
  if (!IsInCell(vertex, meeting, 0.0))
    return;
  vertex.position = meeting;
  FindSides(vertex, iEndOfCrossings);
}

void SFVertexPlacer::FindSides(Vertex& ioVertex, std::size_t iEndOfCrossings)
{
  ioVertex.firstSide = _sides.size();
  std::array<double, 12> counts{};
  for (std::size_t i = ioVertex.firstCrossing; i < iEndOfCrossings; ++i) {
    auto const& [point, plane] = _crossings[i];
    if (!plane.IsKnown())
      continue;
    std::size_t side = ioVertex.firstSide;
    while (side < _sides.size() && Dot(_sides[side].plane.normal, plane.normal) < SideCosine)
      ++side;
    if (side == _sides.size())
      _sides.push_back({{}, plane});
    _sides[side].centre = _sides[side].centre + point;
    counts[side - ioVertex.firstSide] += 1.0;
  }
  ioVertex.sides = _sides.size() - ioVertex.firstSide;
  for (std::size_t k = 0; k < ioVertex.sides; ++k)
    _sides[ioVertex.firstSide + k].centre = (1.0 / counts[k]) * _sides[ioVertex.firstSide + k].centre;
  if (ioVertex.sides < 2) {
    _sides.resize(ioVertex.firstSide);
    ioVertex.sides = 0;
  }
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
    if (ioVertex.refinements < MaxRefinements)
      return false;
    if (ioVertex.distance <= SharpLimit * _voxel)
      return true;
    MakeSmooth(ioVertex);
    return false;
  }
  ioVertex.position = InCell(ioVertex, iPoint - step * plane.normal, SlideMargin);
  return !(std::abs(step) < 0.5 * before); // no longer worth it
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
    SFVector3 const meeting = fit.Solve();
    if (IsInCell(vertex, meeting, 0.0))
      vertex.position = meeting;
    else
      MakeSmooth(vertex);
  }
}

void SFVertexPlacer::Finish(SFMeshBlock& ioBlock) const
{
  ioBlock.vertices.reserve(_vertices.size());
  for (Vertex const& vertex : _vertices) {
    SFVector3 normal = vertex.normal;
    if (vertex.sides != 0) {
      normal = {};
      for (std::size_t k = 0; k < vertex.sides; ++k)
        normal = normal + _sides[vertex.firstSide + k].plane.normal;
      normal = Unit(normal);
    }
    ioBlock.vertices.push_back({vertex.best, AsFloats(normal), vertex.sides != 0});
    if (!std::isfinite(vertex.distance)) {
      ++ioBlock.unplacedVertices;
      continue;
    }
    double& largest = vertex.sides != 0 ? ioBlock.sharpVertexDistance : ioBlock.vertexDistance;
    largest = std::max(largest, vertex.distance);
    ioBlock.sharpVertices += vertex.sides != 0 ? 1 : 0;
  }
}

} // namespace SF
