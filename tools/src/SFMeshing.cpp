#include "SFMeshing.h"

#include "SFMeshEstimate.h"
#include "SFMeshSimplifier.h"
#include "SFMeshSlabs.h"
#include "SFPointBatch.h"
#include "SFToolsErrors.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <utility>

namespace SF {
namespace {

/// For a sink, or null for a mesh in one piece.
SFMeshingReport MeshInParts(SFField const& iField, ZULMathBox const& iBox, double iVoxel, SFMeshSink* ioSink,
                            SFMeshingOptions const& iOptions, std::function<void(SFMesh&&, std::uint32_t)> const& iTake)
{
  SFMeshLattice const lattice(iBox, iVoxel);
  SFProgress const progress(iOptions, "mesh");
  progress.Report(0.0);
  SFMeshField const field = CompileForMesh(iField, iBox, iOptions);
  double const vertices = RequireFeasible(*field.capped, lattice, ioSink == nullptr, iOptions);
  if (ioSink != nullptr)
    ioSink->Expect(vertices);
  SFMeshSlabs slabs(field, iBox, lattice, iOptions, progress);
  slabs.Run(iTake);
  if (slabs.GetReport().triangles == 0)
    ThrowNoSurface(iField, iBox, iOptions);
  progress.Report(1.0);
  return slabs.GetReport();
}

/// Drops vertices without triangles.
void DropLoneVertices(SFMesh& ioMesh)
{
  constexpr std::uint32_t none = 0xFFFFFFFF;
  std::vector<std::uint32_t> placeOf(ioMesh.vertices.size(), none);
  for (auto const& triangle : ioMesh.triangles)
    for (std::uint32_t const vertex : triangle)
      placeOf[vertex] = 0;
  std::uint32_t count = 0;
  for (std::size_t vertex = 0; vertex < placeOf.size(); ++vertex)
    if (placeOf[vertex] != none) {
      ioMesh.vertices[count] = ioMesh.vertices[vertex];
      ioMesh.normals[count] = ioMesh.normals[vertex];
      placeOf[vertex] = count++;
    }
  ioMesh.vertices.resize(count);
  ioMesh.normals.resize(count);
  for (auto& triangle : ioMesh.triangles)
    for (std::uint32_t& vertex : triangle)
      vertex = placeOf[vertex];
}

template <class Value>
void Append(std::vector<Value>&& ioFrom, std::vector<Value>& ioTo)
{
  if (ioTo.empty())
    ioTo = std::move(ioFrom);
  else
    ioTo.insert(ioTo.end(), ioFrom.begin(), ioFrom.end());
}

void Append(SFMesh&& ioFrom, SFMesh& ioTo)
{
  Append(std::move(ioFrom.vertices), ioTo.vertices);
  Append(std::move(ioFrom.normals), ioTo.normals);
  Append(std::move(ioFrom.triangles), ioTo.triangles);
}

} // namespace

void ThrowNoSurface(SFField const& iField, ZULMathBox const& iBox, SFMeshingOptions const& iOptions)
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

void SFMeshingReport::Add(SFMeshingReport const& iPart)
{
  vertices += iPart.vertices;
  triangles += iPart.triangles;
  sharpVertices += iPart.sharpVertices;
  unplacedVertices += iPart.unplacedVertices;
  vertexDistance = std::max(vertexDistance, iPart.vertexDistance);
  sharpVertexDistance = std::max(sharpVertexDistance, iPart.sharpVertexDistance);
  surfaceDistance = std::max(surfaceDistance, iPart.surfaceDistance);
  simplification = std::max(simplification, iPart.simplification);
}

SFMeshSink::~SFMeshSink() = default;
void SFMeshSink::Expect(double) {}

SFMesh MeshField(SFField const& iField, ZULMathBox const& iBox, double iVoxel, SFMeshingOptions const& iOptions,
                 SFMeshingReport* oReport)
{
  if (!(iOptions.adaptivity >= 0.0))
    throw std::invalid_argument("adaptivity: not a length");
  SFMesh mesh;
  auto report = MeshInParts(iField, iBox, iVoxel, nullptr, iOptions,
                            [&mesh](SFMesh&& ioPart, std::uint32_t) { Append(std::move(ioPart), mesh); });
  if (!iOptions.isCapped) {
    DropLoneVertices(mesh);
    report.vertices = mesh.vertices.size();
  }
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
  auto const report =
      MeshInParts(iField, iBox, iVoxel, &ioSink, iOptions, [&ioSink](SFMesh&& ioPart, std::uint32_t iFirst) {
        ioSink.Add({ioPart.vertices, ioPart.normals, ioPart.triangles, iFirst});
      });
  if (oReport != nullptr)
    *oReport = report;
}

} // namespace SF
