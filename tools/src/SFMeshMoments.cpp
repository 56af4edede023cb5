#include "SFMeshMeasure.h"

#include "SFGeometry.h"
#include "SFMeshSlabs.h"
#include "SFPointBatch.h"
#include "SFWork.h"

#include <algorithm>
#include <cmath>

namespace SF {
namespace {

/// Triangles whose points are evaluated together, with the field restricted to them. The sums are those of such groups.
constexpr std::size_t Group = 2048;
/// A point of the surface further from the middle of an edge than this, as a part of the edge, is not that of the edge.
constexpr double FarthestBulge = 0.25;

/// One step of Newton's method from the middle of an edge.
SFVector3 BulgeOf(double iLength, double iValue, SFVector3 const& iGradient)
{
  SFVector3 const bulge = (-iValue / Dot(iGradient, iGradient)) * iGradient;
  return Norm(bulge) <= FarthestBulge * iLength ? bulge : SFVector3{}; // none for NaN either
}

/// The area of the quadratic patch whose edges have their middles where the bulges say: the rule of three points, for the
/// functions of the corners 4 a b at the middles. (O. C. Zienkiewicz, R. L. Taylor, J. Z. Zhu, "The Finite Element Method",
/// 2013, six-node triangle.)
double PatchArea(SFVector3 const& iOne, SFVector3 const& iOther, std::array<SFVector3, 3> const& iBulges)
{
  auto const& [first, second, third] = iBulges;
  double area = 0.0;
  for (std::size_t k = 0; k < 3; ++k) {
    std::array<double, 3> at{1.0 / 6.0, 1.0 / 6.0, 1.0 / 6.0};
    at[k] = 2.0 / 3.0;
    SFVector3 const u = iOne + 4.0 * ((at[0] - at[1]) * first + at[2] * (second - third));
    SFVector3 const v = iOther + 4.0 * (at[1] * (second - first) + (at[0] - at[2]) * third);
    area += Norm(Cross(u, v)) / 6.0;
  }
  return area;
}

/// A part of a mesh with the surface that it stands for.
class Summation
{
public:
  Summation(SFCompiledField const& iField, SFMesh const& iMesh, SFVector3 const& iAbout)
    : _field(iField), _mesh(iMesh), _about(iAbout)
  {
  }

  SFMeshMoments Run(std::size_t iFirst, std::size_t iLast)
  {
    FindBulges(iFirst, iLast);
    SFMeshMoments sums;
    for (std::size_t i = iFirst; i < iLast; ++i)
      Add(_mesh.triangles[i], i - iFirst, sums);
    return sums;
  }

private:
  SFVector3 const& At(std::size_t iTriangle, std::size_t iCorner) const
  {
    return _mesh.vertices[_mesh.triangles[iTriangle][iCorner % 3]];
  }

  void FindBulges(std::size_t iFirst, std::size_t iLast)
  {
    _batch.Clear();
    SFBoxAround box;
    for (std::size_t i = iFirst; i < iLast; ++i)
      for (std::size_t k = 0; k < 3; ++k) {
        _batch.Add(0.5 * (At(i, k) + At(i, k + 1)));
        box.Add(At(i, k));
      }
    std::shared_ptr<SFCompiledField> here;
    Require(_field.Restrict(box.Get(), here));
    _batch.EvaluateGradient(*here);
    _bulges.clear();
    for (std::size_t i = iFirst, next = 0; i < iLast; ++i)
      for (std::size_t k = 0; k < 3; ++k, ++next)
        _bulges.push_back(BulgeOf(Norm(At(i, k + 1) - At(i, k)), _batch.Value(next), _batch.Gradient(next)));
  }

  void Add(std::array<std::uint32_t, 3> const& iTriangle, std::size_t iPlace, SFMeshMoments& ioSums) const
  {
    std::array<SFVector3, 3> corners{};
    for (std::size_t k = 0; k < 3; ++k)
      corners[k] = _mesh.vertices[iTriangle[k]] - _about;
    auto const& [p, q, r] = corners;
    std::array<SFVector3, 3> const bulges{_bulges[3 * iPlace], _bulges[3 * iPlace + 1], _bulges[3 * iPlace + 2]};
    SFVector3 const across = Cross(q - p, r - p);
    double const volume = Dot(p, Cross(q, r)) / 6.0;
    ioSums.volume += volume;
    ioSums.moment = ioSums.moment + (volume / 4.0) * (p + q + r);
    for (std::size_t k = 0; k < 3; ++k) {
      double const above = Dot(bulges[k], across) / 6.0; // a third of the area times the height
      ioSums.volume += above;
      ioSums.moment = ioSums.moment + (above / 2.0) * (corners[k] + corners[(k + 1) % 3]);
    }
    ioSums.area += PatchArea(q - p, r - p, bulges);
  }

  SFCompiledField const& _field;
  SFMesh const& _mesh;
  SFVector3 _about;
  SFPointBatch _batch;
  std::vector<SFVector3> _bulges; ///< ways to the surface, of three edges for each triangle
};

} // namespace

void SFMeshMoments::Add(SFMeshMoments const& iPart)
{
  volume += iPart.volume;
  area += iPart.area;
  moment = moment + iPart.moment;
  for (std::size_t axis = 0; axis < 3; ++axis) {
    low[axis] = std::min(low[axis], iPart.low[axis]);
    high[axis] = std::max(high[axis], iPart.high[axis]);
  }
}

SFMeshMoments MeshMomentsOf(SFMesh const& iMesh, SFField const& iField, ZULMathBox const& iBox,
                            std::array<double, 3> const& iAbout, SFWorkOptions const& iOptions)
{
  SFWorkOptions alone = iOptions;
  alone.threads = 1;
  auto const field = CompileFor(CappedField(iField, iBox), alone);
  std::vector<SFMeshMoments> groups((iMesh.triangles.size() + Group - 1) / Group);
  ForEach(groups.size(), iOptions, [&](std::size_t iGroup, unsigned int) {
    std::size_t const first = iGroup * Group;
    groups[iGroup] = Summation(*field, iMesh, iAbout).Run(first, std::min(first + Group, iMesh.triangles.size()));
  });
  SFMeshMoments sums;
  for (SFMeshMoments const& group : groups)
    sums.Add(group);
  for (SFVector3 const& vertex : iMesh.vertices)
    for (std::size_t axis = 0; axis < 3; ++axis) {
      sums.low[axis] = std::min(sums.low[axis], vertex[axis]);
      sums.high[axis] = std::max(sums.high[axis], vertex[axis]);
    }
  return sums;
}

SFMassProperties MassPropertiesFrom(SFMeshMoments const& iMoments, std::array<double, 3> const& iAbout)
{
  auto const& low = iMoments.low;
  auto const& high = iMoments.high;
  if (!(low[0] <= high[0]))
    return {};
  SFVector3 const centre = iMoments.volume != 0.0 ? iAbout + (1.0 / iMoments.volume) * iMoments.moment : iAbout;
  return {iMoments.volume, iMoments.area, centre, {{low[0], low[1], low[2]}, {high[0], high[1], high[2]}}};
}

} // namespace SF
