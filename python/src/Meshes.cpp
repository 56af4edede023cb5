#include "Call.h"
#include "SFMeshFiles.h"
#include "SFMeshMeasure.h"
#include "SFMeshing.h"

#include <pybind11/numpy.h>
#include <pybind11/stl.h>

#include <algorithm>

namespace SFPython {
namespace {

/// Rows of three as an array that owns them.
template <class Number>
py::array ArrayOf(std::vector<std::array<Number, 3>>&& ioRows)
{
  auto* const rows = new std::vector<std::array<Number, 3>>(std::move(ioRows));
  py::capsule const owner(rows, [](void* iRows) { delete static_cast<std::vector<std::array<Number, 3>>*>(iRows); });
  auto const count = static_cast<py::ssize_t>(rows->size());
  return py::array_t<Number>({count, py::ssize_t{3}}, rows->empty() ? nullptr : rows->front().data(), owner);
}

template <class Number>
std::vector<std::array<Number, 3>> RowsOf(py::array_t<Number> const& iArray)
{
  std::vector<std::array<Number, 3>> rows(static_cast<std::size_t>(iArray.size()) / 3);
  if (!rows.empty())
    std::copy_n(iArray.data(), 3 * rows.size(), rows.front().data());
  return rows;
}

ZULMathBox BoxOf(Vector const& iLow, Vector const& iHigh)
{
  return {{iLow[0], iLow[1], iLow[2]}, {iHigh[0], iHigh[1], iHigh[2]}};
}

/// Options of the tools for a call of Python.
void Attend(SF::SFWorkOptions& ioOptions, Call const& iCall, unsigned int iThreads)
{
  ioOptions.threads = iThreads;
  ioOptions.cancel = iCall.GetCancel();
  ioOptions.profiler = GetProfiler();
}

py::tuple ReportOf(SF::SFMeshingReport const& iReport)
{
  return py::make_tuple(iReport.voxel, iReport.cells, iReport.vertexDistance, iReport.sharpVertexDistance,
                        iReport.surfaceDistance, iReport.sharpVertices, iReport.unplacedVertices);
}

py::tuple Pair(SF::SFMeasure const& iMeasure) { return py::make_tuple(iMeasure.value, iMeasure.error); }
py::tuple Pairs(std::array<SF::SFMeasure, 3> const& iMeasures)
{
  return py::make_tuple(Pair(iMeasures[0]), Pair(iMeasures[1]), Pair(iMeasures[2]));
}

py::tuple TopologyRow(SF::SFMeshTopology const& iTopology)
{
  return py::make_tuple(iTopology.components, iTopology.cavities, iTopology.genus, iTopology.IsClosed(),
                        iTopology.IsManifold(), iTopology.IsOriented());
}

SF::SFMesh MeshOf(py::array_t<double> const& iVertices, py::array_t<std::uint32_t> const& iFaces,
                  py::array_t<float> const& iNormals)
{
  return {RowsOf(iVertices), RowsOf(iFaces), RowsOf(iNormals)};
}

SF::SFMeshingOptions OptionsFor(Call& ioCall, unsigned int iThreads, bool iIsSharp, bool iIsCapped)
{
  SF::SFMeshingOptions options;
  Attend(options, ioCall, iThreads);
  options.hasSharpFeatures = iIsSharp;
  options.isCapped = iIsCapped;
  return options;
}

void AddLayers(py::module_& ioModule)
{
  ioModule.def("mesh_layer_count", [](Vector const& iLow, Vector const& iHigh, double iVoxel) {
    return SF::MeshLayerCount(BoxOf(iLow, iHigh), iVoxel);
  });
  ioModule.def("mesh_layers",
               [](Field const& iField, Vector const& iLow, Vector const& iHigh, double iVoxel, std::uint32_t iBegin,
                  std::uint32_t iEnd, bool iIsSharp, bool iIsCapped, unsigned int iThreads) {
                 SF::SFMeshLayers layers;
                 auto const run = [&](Call& ioCall) {
                   auto const options = OptionsFor(ioCall, iThreads, iIsSharp, iIsCapped);
                   layers = SF::MeshFieldLayers(iField.Get(), BoxOf(iLow, iHigh), iVoxel, iBegin, iEnd, options);
                 };
                 Run(run, py::none(), false);
                 SF::SFMesh& mesh = layers.mesh;
                 return py::make_tuple(ArrayOf(std::move(mesh.vertices)), ArrayOf(std::move(mesh.triangles)),
                                       ArrayOf(std::move(mesh.normals)), ReportOf(layers.report), layers.below);
               });
  ioModule.def("mesh_moments",
               [](py::array_t<double> const& iVertices, py::array_t<std::uint32_t> const& iFaces, Field const& iField,
                  Vector const& iLow, Vector const& iHigh, Vector const& iAbout, unsigned int iThreads) {
                 SF::SFMesh const mesh = MeshOf(iVertices, iFaces, {});
                 SF::SFMeshMoments moments;
                 auto const run = [&](Call& ioCall) {
                   SF::SFWorkOptions options;
                   Attend(options, ioCall, iThreads);
                   moments = SF::MeshMomentsOf(mesh, iField.Get(), BoxOf(iLow, iHigh), iAbout, options);
                 };
                 Run(run, py::none(), false);
                 return py::make_tuple(moments.volume, moments.area, moments.moment);
               });
}

void AddMeshing(py::module_& ioModule)
{
  ioModule.def("mesh",
               [](Field const& iField, Vector const& iLow, Vector const& iHigh, double iVoxel, double iAdaptivity,
                  bool iIsSharp, bool iIsCapped, unsigned int iThreads, py::object const& iProgress) {
                 SF::SFMesh mesh;
                 SF::SFMeshingReport report;
                 auto const run = [&](Call& ioCall) {
                   auto options = OptionsFor(ioCall, iThreads, iIsSharp, iIsCapped);
                   options.adaptivity = iAdaptivity;
                   mesh = SF::MeshField(iField.Get(), BoxOf(iLow, iHigh), iVoxel, options, &report);
                 };
                 Run(run, iProgress, false);
                 return py::make_tuple(ArrayOf(std::move(mesh.vertices)), ArrayOf(std::move(mesh.triangles)),
                                       ArrayOf(std::move(mesh.normals)), ReportOf(report));
               });
  ioModule.def("measure", [](Field const& iField, Vector const& iLow, Vector const& iHigh, double iVoxel, bool iHasWall,
                             unsigned int iThreads, py::object const& iProgress) {
    SF::SFSolidMeasures measures;
    auto const run = [&](Call& ioCall) {
      SF::SFMeasureOptions options;
      Attend(options, ioCall, iThreads);
      options.hasWall = iHasWall;
      measures = SF::MeasureField(iField.Get(), BoxOf(iLow, iHigh), iVoxel, options);
    };
    Run(run, iProgress, false);
    py::object wall = py::none();
    if (measures.wall)
      wall = py::make_tuple(Pair(*measures.wall), measures.wallAt);
    return py::make_tuple(Pair(measures.volume), Pair(measures.area), Pairs(measures.centre), Pairs(measures.low),
                          Pairs(measures.high), wall, TopologyRow(measures.topology));
  });
}

void AddMeshes(py::module_& ioModule)
{
  ioModule.def("write_mesh", [](std::string const& iPath, py::array_t<double> const& iVertices,
                                py::array_t<std::uint32_t> const& iFaces, py::array_t<float> const& iNormals,
                                std::string const& iUnit, std::string const& iName, py::object const& iProgress) {
    SF::SFMeshFileOptions options;
    options.unit = SF::UnitOf(iUnit);
    options.name = iName;
    SF::SFMesh const mesh = MeshOf(iVertices, iFaces, iNormals);
    auto const run = [&](Call& ioCall) {
      Attend(options, ioCall, 0);
      SF::SFOutputFile file(iPath);
      SF::WriteMesh(mesh, SF::MeshFormatOf(iPath), file, options);
      file.Commit();
    };
    Run(run, iProgress, false);
  });
  ioModule.def("mass_properties", [](py::array_t<double> const& iVertices, py::array_t<std::uint32_t> const& iFaces) {
    auto const found = Result([mesh = MeshOf(iVertices, iFaces, {})] { return SF::MassPropertiesOf(mesh); }, false);
    return py::make_tuple(found.volume, found.area, found.centre);
  });
  ioModule.def("topology", [](py::array_t<double> const& iVertices, py::array_t<std::uint32_t> const& iFaces) {
    return TopologyRow(Result([mesh = MeshOf(iVertices, iFaces, {})] { return SF::TopologyOf(mesh); }, false));
  });
}

} // namespace

void AddTools(py::module_& ioModule)
{
  AddLayers(ioModule);
  AddMeshing(ioModule);
  AddMeshes(ioModule);
}

} // namespace SFPython
