#include "Call.h"
#include "SFMeshFiles.h"
#include "SFMeshMeasure.h"
#include "SFMeshShares.h"
#include "SFMeshing.h"

#include <pybind11/numpy.h>
#include <pybind11/stl.h>

#include <algorithm>
#include <string_view>
#include <tuple>
#include <utility>

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

using Sums = std::array<double, 11>; // volume, area, moment, low, high

Sums RowOf(SF::SFMeshMoments const& iSums)
{
  auto const& [m, l, h] = std::tie(iSums.moment, iSums.low, iSums.high);
  return {iSums.volume, iSums.area, m[0], m[1], m[2], l[0], l[1], l[2], h[0], h[1], h[2]};
}

SF::SFMeshMoments SumsOf(Sums const& iRow)
{
  auto const three = [&iRow](std::size_t iFirst) { return Vector{iRow[iFirst], iRow[iFirst + 1], iRow[iFirst + 2]}; };
  SF::SFMeshMoments sums;
  sums.volume = iRow[0];
  sums.area = iRow[1];
  sums.moment = three(2);
  sums.low = three(5);
  sums.high = three(8);
  return sums;
}

SF::SFMassProperties PropertiesOf(std::vector<Sums> const& iParts, Vector const& iOrigin)
{
  SF::SFMeshMoments sums;
  for (Sums const& part : iParts)
    sums.Add(SumsOf(part));
  return SF::MassPropertiesFrom(sums, iOrigin);
}

/// Volume, area, centre and corners.
py::tuple MeasuresRow(SF::SFSolidMeasures const& iMeasures)
{
  return py::make_tuple(Pair(iMeasures.volume), Pair(iMeasures.area), Pairs(iMeasures.centre), Pairs(iMeasures.low),
                        Pairs(iMeasures.high));
}

/// How a mesh is cut: the strips of each task, and of each slab the first strip, the first of its own and the end.
py::tuple PlanOf(Vector const& iLow, Vector const& iHigh, double iVoxel)
{
  SF::SFMeshPlan const plan(BoxOf(iLow, iHigh), iVoxel);
  std::vector<std::vector<std::uint32_t>> tasks;
  for (std::uint32_t task = 0; task < plan.CountTasks(); ++task)
    tasks.push_back(plan.StripsOfTask(task));
  std::vector<std::array<std::uint32_t, 3>> slabs;
  for (std::uint32_t slab = 0; slab < plan.CountSlabs(); ++slab) {
    auto const range = plan.StripsOf(slab);
    slabs.push_back({range.first, range.own, range.last});
  }
  return py::make_tuple(tasks, slabs);
}

std::vector<py::bytes> MakeStrips(SF::SFMeshShares const& iShares, std::uint32_t iTask, unsigned int iThreads)
{
  std::vector<SF::SFMeshShares::Strip> strips;
  auto const run = [&](Call& ioCall) {
    SF::SFWorkOptions options;
    Attend(options, ioCall, iThreads);
    strips = iShares.Make(iTask, options);
  };
  Run(run, py::none(), false);
  std::vector<py::bytes> made;
  for (auto& strip : strips)
    made.emplace_back(std::exchange(strip.bytes, {}));
  return made;
}

/// A slab: its vertices behind those of the layer below, faces of these, normals of its own, its report, and how many are below.
py::tuple AssembleSlab(SF::SFMeshShares const& iShares, std::uint32_t iSlab, std::vector<py::bytes> const& iStrips,
                       unsigned int iThreads)
{
  std::vector<std::string_view> strips(iStrips.begin(), iStrips.end());
  SF::SFMeshShares::Slab slab;
  auto const run = [&](Call& ioCall) {
    SF::SFWorkOptions options;
    Attend(options, ioCall, iThreads);
    slab = iShares.Assemble(iSlab, strips, 0, options);
    slab.below.insert(slab.below.end(), slab.mesh.vertices.begin(), slab.mesh.vertices.end());
  };
  Run(run, py::none(), false);
  return py::make_tuple(ArrayOf(std::move(slab.below)), ArrayOf(std::move(slab.mesh.triangles)),
                        ArrayOf(std::move(slab.mesh.normals)), ReportOf(slab.report), slab.firstVertex);
}

void AddShares(py::module_& ioModule)
{
  ioModule.def("mesh_plan", PlanOf);
  py::class_<SF::SFMeshShares, std::shared_ptr<SF::SFMeshShares>>(ioModule, "MeshShares")
      .def(py::init([](Field const& iField, Vector const& iLow, Vector const& iHigh, double iVoxel, bool iIsSharp,
                       bool iIsCapped) {
        std::shared_ptr<SF::SFMeshShares> shares;
        auto const run = [&](Call& ioCall) {
          auto const options = OptionsFor(ioCall, 1, iIsSharp, iIsCapped);
          shares = std::make_shared<SF::SFMeshShares>(iField.Get(), BoxOf(iLow, iHigh), iVoxel, options);
        };
        Run(run, py::none(), false);
        return shares;
      }))
      .def("make", MakeStrips)
      .def("assemble", AssembleSlab);
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
                 return RowOf(moments);
               });
  ioModule.def("measures_of", [](std::vector<Sums> const& iFine, std::vector<Sums> const& iCoarse,
                                 Vector const& iOrigin, double iOffset) {
    SF::SFMeshingReport report;
    report.vertexDistance = iOffset;
    return MeasuresRow(SF::MeasureProperties(PropertiesOf(iFine, iOrigin), PropertiesOf(iCoarse, iOrigin), report));
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
    return py::make_tuple(MeasuresRow(measures), wall, TopologyRow(measures.topology));
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
  AddShares(ioModule);
  AddMeshing(ioModule);
  AddMeshes(ioModule);
}

} // namespace SFPython
