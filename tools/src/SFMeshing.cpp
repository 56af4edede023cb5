#include "SFMeshing.h"

#include "SFMeshSimplifier.h"
#include "SFMeshSlabs.h"
#include "SFPointBatch.h"
#include "SFToolsErrors.h"

#include <cmath>
#include <stdexcept>
#include <utility>

namespace SF {
namespace {

/// Positive outside of the box, by the distances from its planes.
SFField BoxPlanes(ZULMathBox const& iBox)
{
  std::array<SFField, 3> const coordinates{SFField::X(), SFField::Y(), SFField::Z()};
  std::array<double, 3> const low{iBox.low.x, iBox.low.y, iBox.low.z};
  std::array<double, 3> const high{iBox.high.x, iBox.high.y, iBox.high.z};
  std::vector<SFField> planes;
  for (std::size_t axis = 0; axis < 3; ++axis) {
    planes.push_back(SFField(low[axis]) - coordinates[axis]);
    planes.push_back(coordinates[axis] - SFField(high[axis]));
  }
  return Intersection(planes);
}

/// Says why there is no surface.
[[noreturn]] void ThrowNoSurface(SFField const& iField, ZULMathBox const& iBox, SFMeshingOptions const& iOptions)
{
  constexpr int side = 17;
  SFPointBatch batch;
  auto const between = [](double iLow, double iHigh, int iStep) {
    return iLow + (iHigh - iLow) * iStep / (side - 1.0);
  };
  for (int i = 0; i < side * side * side; ++i)
    batch.Add({between(iBox.low.x, iBox.high.x, i % side), between(iBox.low.y, iBox.high.y, i / side % side),
               between(iBox.low.z, iBox.high.z, i / side / side)});
  batch.Evaluate(*CompileFor(iField, iOptions));
  std::size_t missing = 0;
  for (std::size_t i = 0; i < batch.Size(); ++i)
    missing += std::isnan(batch.Value(i)) ? 1 : 0;
  throw SFModelError(missing == batch.Size() ? "the field has no value (NaN) anywhere in the box"
                                             : "no surface of the model lies in the box");
}

SFMeshingReport MeshInParts(SFField const& iField, ZULMathBox const& iBox, double iVoxel,
                            SFMeshingOptions const& iOptions, std::function<void(SFMesh&&, std::uint32_t)> const& iTake)
{
  SFMeshLattice const lattice(iBox, iVoxel);
  SFProgress const progress(iOptions, "mesh");
  progress.Report(0.0);
  SFMeshSlabs slabs(Intersection(iField, BoxPlanes(iBox)), lattice, iOptions, progress);
  slabs.Run(iTake);
  if (slabs.GetReport().triangles == 0)
    ThrowNoSurface(iField, iBox, iOptions);
  progress.Report(1.0);
  return slabs.GetReport();
}

template <class Value>
void Append(std::vector<Value>&& ioFrom, std::vector<Value>& ioTo)
{
  if (ioTo.empty())
    ioTo = std::move(ioFrom);
  else
    ioTo.insert(ioTo.end(), ioFrom.begin(), ioFrom.end());
}

} // namespace

SFMeshSink::~SFMeshSink() = default;

SFMesh MeshField(SFField const& iField, ZULMathBox const& iBox, double iVoxel, SFMeshingOptions const& iOptions,
                 SFMeshingReport* oReport)
{
  if (!(iOptions.adaptivity >= 0.0))
    throw std::invalid_argument("adaptivity: not a length");
  SFMesh mesh;
  auto report = MeshInParts(iField, iBox, iVoxel, iOptions, [&mesh](SFMesh&& ioPart, std::uint32_t) {
    Append(std::move(ioPart.vertices), mesh.vertices);
    Append(std::move(ioPart.normals), mesh.normals);
    Append(std::move(ioPart.triangles), mesh.triangles);
  });
  if (iOptions.adaptivity > 0.0) {
    SFProgress const progress(iOptions, "simplify");
    progress.Report(0.0);
    report.simplification = SFMeshSimplifier(mesh, iOptions.adaptivity, iOptions).Run(progress);
    report.vertices = mesh.vertices.size();
    report.triangles = mesh.triangles.size();
    progress.Report(1.0);
  }
  if (oReport != nullptr)
    *oReport = report;
  return mesh;
}

void MeshField(SFField const& iField, ZULMathBox const& iBox, double iVoxel, SFMeshSink& ioSink,
               SFMeshingOptions const& iOptions, SFMeshingReport* oReport)
{
  if (iOptions.adaptivity != 0.0)
    throw std::invalid_argument("adaptivity: a mesh in parts cannot be simplified");
  auto const report = MeshInParts(iField, iBox, iVoxel, iOptions, [&ioSink](SFMesh&& ioPart, std::uint32_t iFirst) {
    ioSink.Add({ioPart.vertices, ioPart.normals, ioPart.triangles, iFirst});
  });
  if (oReport != nullptr)
    *oReport = report;
}

} // namespace SF
