#include "SFMeshMeasure.h"

#include "SFGeometry.h"
#include "SFPointBatch.h"
#include "SFWork.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace SF {
namespace {

/// How many vertices the walls are looked for from.
constexpr std::size_t WallRays = 50'000;
/// Lengths of the steps inwards, in voxels.
constexpr double WallStep = 0.5;
/// They halve a step as often, to a millionth of a voxel.
constexpr int WallBisections = 20;
/// A wall has two faces that look away from each other, to within 60 degrees.
constexpr double OppositeCosine = 0.5;

std::array<double, 3> LowOf(ZULMathBox const& iBox) { return {iBox.low.x, iBox.low.y, iBox.low.z}; }
std::array<double, 3> HighOf(ZULMathBox const& iBox) { return {iBox.high.x, iBox.high.y, iBox.high.z}; }

/// A ray inwards from a vertex.
struct Ray
{
  SFVector3 from;
  SFVector3 direction;

  SFVector3 At(double iDistance) const { return from + iDistance * direction; }
};

/// The smallest distance at which a ray leaves the solid through an opposite face. All rays go forward together, so that the
/// search ends with the first wall that it meets.
class WallSearch
{
public:
  WallSearch(SFCompiledField const& iField, SFMesh const& iMesh, double iVoxel) : _field(iField), _voxel(iVoxel)
  {
    std::size_t const stride = std::max<std::size_t>(1, iMesh.vertices.size() / WallRays);
    for (std::size_t i = 0; i < iMesh.vertices.size(); i += stride)
      if (SFVector3 const inwards = -1.0 * AsDoubles(iMesh.normals[i]); inwards != SFVector3{})
        _rays.push_back({iMesh.vertices[i], inwards});
  }

  bool Run(double iFarthest, SFWorkOptions const& iOptions)
  {
    for (double at = WallStep * _voxel; at < iFarthest && !_rays.empty(); at += WallStep * _voxel) {
      ThrowIfCancelled(iOptions);
      auto const leaving = TakeThoseOutside(at);
      if (!leaving.empty())
        Measure(leaving, at - WallStep * _voxel, at);
      if (_thinnest < iFarthest)
        return true;
    }
    return false;
  }

  double GetThinnest() const { return _thinnest; }
  SFVector3 const& GetPlace() const { return _place; }

private:
  std::vector<Ray> TakeThoseOutside(double iAt)
  {
    _batch.Clear();
    for (Ray const& ray : _rays)
      _batch.Add(ray.At(iAt));
    _batch.Evaluate(_field);
    std::vector<Ray> outside;
    std::size_t inside = 0;
    for (std::size_t i = 0; i < _rays.size(); ++i)
      if (_batch.Value(i) < 0.0)
        _rays[inside++] = _rays[i];
      else
        outside.push_back(_rays[i]);
    _rays.resize(inside);
    return outside;
  }

  /// Finds where the rays leave the solid, between two distances.
  void Measure(std::vector<Ray> const& iRays, double iInside, double iOutside)
  {
    std::vector<double> inside(iRays.size(), iInside);
    std::vector<double> outside(iRays.size(), iOutside);
    for (int step = 0; step < WallBisections; ++step) {
      _batch.Clear();
      for (std::size_t i = 0; i < iRays.size(); ++i)
        _batch.Add(iRays[i].At((inside[i] + outside[i]) / 2.0));
      _batch.Evaluate(_field);
      for (std::size_t i = 0; i < iRays.size(); ++i)
        (_batch.Value(i) < 0.0 ? inside[i] : outside[i]) = (inside[i] + outside[i]) / 2.0;
    }
    _batch.EvaluateGradient(_field);
    for (std::size_t i = 0; i < iRays.size(); ++i)
      if (Dot(Unit(_batch.Gradient(i)), iRays[i].direction) >= OppositeCosine && outside[i] < _thinnest) {
        _thinnest = outside[i];
        _place = iRays[i].At(outside[i] / 2.0);
      }
  }

  SFCompiledField const& _field;
  double _voxel;
  std::vector<Ray> _rays;
  SFPointBatch _batch;
  double _thinnest = std::numeric_limits<double>::infinity();
  SFVector3 _place{};
};

SFMeasure WithError(double iFine, double iCoarse, double iLeast) { return {iFine, std::abs(iFine - iCoarse) + iLeast}; }

/// The mesh with twice the voxel; an empty one when that has no surface.
SFMesh CoarseMesh(SFField const& iField, ZULMathBox const& iBox, double iVoxel, SFMeshingOptions const& iOptions)
{
  try {
    return MeshField(iField, iBox, 2.0 * iVoxel, iOptions);
  } catch (SFModelError const&) {
    return {};
  }
}

/// With what is between the triangles and the surface.
SFMassProperties SolidPropertiesOf(SFMesh const& iMesh, SFField const& iField, ZULMathBox const& iBox,
                                   SFWorkOptions const& iOptions)
{
  SFVector3 const middle = CentreOf(MassPropertiesOf(iMesh).box);
  return MassPropertiesFrom(MeshMomentsOf(iMesh, iField, iBox, middle, iOptions), middle);
}

} // namespace

SFMassProperties MassPropertiesOf(SFMesh const& iMesh)
{
  SFMassProperties properties;
  if (iMesh.vertices.empty())
    return properties;
  SFVector3 low = iMesh.vertices.front();
  SFVector3 high = low;
  for (SFVector3 const& vertex : iMesh.vertices)
    for (std::size_t axis = 0; axis < 3; ++axis) {
      low[axis] = std::min(low[axis], vertex[axis]);
      high[axis] = std::max(high[axis], vertex[axis]);
    }
  properties.box = {{low[0], low[1], low[2]}, {high[0], high[1], high[2]}};
  // From the middle, so that the distance from the origin costs no digits.
  SFVector3 const middle = 0.5 * (low + high);
  SFVector3 moment{};
  for (auto const& [a, b, c] : iMesh.triangles) {
    SFVector3 const p = iMesh.vertices[a] - middle;
    SFVector3 const q = iMesh.vertices[b] - middle;
    SFVector3 const r = iMesh.vertices[c] - middle;
    double const volume = Dot(p, Cross(q, r)) / 6.0;
    properties.volume += volume;
    properties.area += Norm(Cross(q - p, r - p)) / 2.0;
    moment = moment + (volume / 4.0) * (p + q + r);
  }
  properties.centre = properties.volume != 0.0 ? middle + (1.0 / properties.volume) * moment : middle;
  return properties;
}

SFSolidMeasures MeasureField(SFField const& iField, ZULMathBox const& iBox, double iVoxel,
                             SFMeasureOptions const& iOptions)
{
  SFMeshingOptions options;
  static_cast<SFWorkOptions&>(options) = iOptions;
  SFMeshingReport report;
  SFMesh const mesh = MeshField(iField, iBox, iVoxel, options, &report);
  ThrowIfCancelled(iOptions);
  options.profiler = nullptr;
  return MeasureMeshes(iField, iBox, mesh, report, CoarseMesh(iField, iBox, iVoxel, options), iOptions);
}

SFSolidMeasures MeasureProperties(SFMassProperties const& iFine, SFMassProperties const& iCoarse,
                                  SFMeshingReport const& iReport)
{
  SFSolidMeasures measures;
  measures.report = iReport;
  double const offset = std::max(iReport.vertexDistance, iReport.sharpVertexDistance);
  measures.volume = WithError(iFine.volume, iCoarse.volume, offset * iFine.area);
  measures.area = WithError(iFine.area, iCoarse.area, 0.0);
  auto const corners = {LowOf(iFine.box), LowOf(iCoarse.box), HighOf(iFine.box), HighOf(iCoarse.box)};
  for (std::size_t axis = 0; axis < 3; ++axis) {
    measures.centre[axis] = WithError(iFine.centre[axis], iCoarse.centre[axis], 0.0);
    measures.low[axis] = WithError(corners.begin()[0][axis], corners.begin()[1][axis], offset);
    measures.high[axis] = WithError(corners.begin()[2][axis], corners.begin()[3][axis], offset);
  }
  return measures;
}

SFSolidMeasures MeasureMeshes(SFField const& iField, ZULMathBox const& iBox, SFMesh const& iFine,
                              SFMeshingReport const& iReport, SFMesh const& iCoarse, SFMeasureOptions const& iOptions)
{
  SFMassProperties const fine = SolidPropertiesOf(iFine, iField, iBox, iOptions);
  SFSolidMeasures measures = MeasureProperties(fine, SolidPropertiesOf(iCoarse, iField, iBox, iOptions), iReport);
  measures.topology = TopologyOf(iFine, iOptions);
  ThrowIfCancelled(iOptions);
  if (!iOptions.hasWall)
    return measures;
  SFVector3 const diagonal = HighOf(fine.box) - LowOf(fine.box);
  auto const field = CompileFor(iField, iOptions);
  WallSearch search(*field, iFine, measures.report.voxel);
  if (search.Run(Norm(diagonal), iOptions)) {
    measures.wall = SFMeasure{search.GetThinnest(), measures.report.surfaceDistance};
    measures.wallAt = search.GetPlace();
  }
  return measures;
}

} // namespace SF
