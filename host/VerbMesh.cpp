#include "Failure.h"
#include "Grid.h"
#include "Model.h"
#include "OutputFormat.h"
#include "Report.h"
#include "SFMeshFiles.h"
#include "SFMeshing.h"
#include "SFOutputFile.h"
#include "Verbs.h"

#include <algorithm>

namespace SFHost {
namespace {

struct MeshOptions
{
  BoxOptions box;
  CellOptions cell;
  bool isOpen = false;
  bool isSmooth = false;
  std::optional<double> adaptivity;
  std::optional<double> tolerance;
  std::string path;
};

SF::SFMeshFormat FormatOf(MeshOptions const& iOptions)
{
  return SF::MeshFormatOf(ExtensionFor(iOptions.path, SF::MeshExtensions()));
}

/// The largest distance between mesh and surface that was measured.
double DistanceOf(SF::SFMeshingReport const& iReport)
{
  return std::max({iReport.vertexDistance, iReport.sharpVertexDistance, iReport.surfaceDistance});
}

/// Piece by piece, whatever its size.
bool CanStream(MeshTask const& iTask, SF::SFOutputFile const& iOutput)
{
  bool const isPlain = iTask.format == SF::SFMeshFormat::Stl || iTask.format == SF::SFMeshFormat::Ply;
  return isPlain && iTask.meshing.adaptivity == 0.0 && !iTask.tolerance && !iOutput.GetTemporaryPath().empty();
}

/// A mesh within the tolerance, with smaller voxels if need be.
SF::SFMesh MakeNear(MeshTask const& iTask, SF::SFMeshingOptions const& iOptions, SF::SFMeshingReport& oReport)
{
  constexpr int most = 5; // halvings, each of which takes four times the memory
  double voxel = iTask.sampled.voxel;
  for (int halving = 0;; ++halving, voxel /= 2.0) {
    SF::SFMesh mesh = SF::MeshField(iTask.model.field, iTask.sampled.box, voxel, iOptions, &oReport);
    if (!iTask.tolerance || DistanceOf(oReport) <= *iTask.tolerance)
      return mesh;
    if (halving == most)
      throw Failure(iTask.model.name, "the mesh is not within the tolerance: with voxels of " +
                                          std::to_string(oReport.voxel) + " it is off by " +
                                          std::to_string(DistanceOf(oReport)));
  }
}

SF::SFMeshingReport WriteFile(MeshTask const& iTask)
{
  SF::SFOutputFile output(iTask.path);
  Progress progress(iTask.common.GetProgressMode(), "mesh");
  SF::SFMeshingOptions options = iTask.meshing;
  options.profiler = &progress;
  SF::SFMeshingReport report;
  if (CanStream(iTask, output)) {
    SF::SFMeshFileSink sink(iTask.format, output, iTask.file);
    SF::MeshField(iTask.model.field, iTask.sampled.box, iTask.sampled.voxel, sink, options, &report);
    sink.Finish();
  } else
    SF::WriteMesh(MakeNear(iTask, options, report), iTask.format, output, iTask.file);
  output.Commit();
  return report;
}

void Tell(CommonOptions const& iCommon, MeshOptions const& iOptions, SF::SFMeshingReport const& iMade)
{
  std::string const unit(SF::SymbolOf(iOptions.box.GetUnit()));
  Report report;
  report.Add("file", "file", iOptions.path, iOptions.path);
  report.AddCount("triangles", "triangles", iMade.triangles);
  report.AddCount("vertices", "vertices", iMade.vertices);
  report.AddNumber("voxel", "voxel", iMade.voxel, unit);
  report.AddNumber("vertex_distance", "vertices off by", iMade.vertexDistance, unit);
  report.AddNumber("sharp_vertex_distance", "those on edges by", iMade.sharpVertexDistance, unit);
  report.AddNumber("surface_distance", "surface off by", iMade.surfaceDistance, unit);
  report.AddCount("sharp_vertices", "on edges", iMade.sharpVertices);
  report.AddCount("unplaced_vertices", "not placed", iMade.unplacedVertices);
  report.PrintBeside(iCommon);
}

void Mesh(CommonOptions const& iCommon, MeshOptions const& iOptions, MeshMaker iMake)
{
  SF::SFMeshFormat const format = FormatOf(iOptions);
  RequirePlain(iCommon.model);
  RequireUsable(iCommon, iOptions.path);
  FieldModel const model = LoadField(iCommon.model);
  MeshTask task{
      iCommon,           model, SolidBoxFor(model, iOptions.box, iOptions.cell), iOptions.path, format, {}, {},
      iOptions.tolerance};
  static_cast<SF::SFWorkOptions&>(task.meshing) = iCommon.ForTools();
  task.meshing.isCapped = !iOptions.isOpen;
  task.meshing.hasSharpFeatures = !iOptions.isSmooth;
  task.meshing.adaptivity = iOptions.adaptivity.value_or(0.0);
  static_cast<SF::SFWorkOptions&>(task.file) = iCommon.ForTools();
  task.file.unit = iOptions.box.GetUnit();
  Tell(iCommon, iOptions, Named(model.name, [&] { return iMake(task); }));
}

} // namespace

Action AddMesh(Arguments& ioArguments) { return AddMeshBy(ioArguments, WriteFile); }

Action AddMeshBy(Arguments& ioArguments, MeshMaker iMake)
{
  auto const options = std::make_shared<MeshOptions>();
  options->box.AddTo(ioArguments);
  options->cell.AddTo(ioArguments);
  ioArguments.Flag(
      {.names = "--no-cap", .values = "", .help = "Leave the mesh open where the solid reaches out of the box"},
      options->isOpen);
  ioArguments.Flag({.names = "--smooth", .values = "", .help = "Do not look for edges and corners of the solid"},
                   options->isSmooth);
  ioArguments.Number({.names = "--adaptivity",
                      .values = "D",
                      .help = "Fewer triangles, where that moves the surface by no more than D"},
                     options->adaptivity, NumberRange::Positive);
  ioArguments.Number({.names = "--tolerance",
                      .values = "D",
                      .help = "Halve the cells until mesh and surface are no further apart than D"},
                     options->tolerance, NumberRange::Positive);
  AddOutputFile(ioArguments, "OUT.stl|.ply|.obj|.3mf|.glb", options->path);
  ioArguments.Examples(
      "  sfdag mesh part.sfm -n 256 -o part.3mf\n"
      "  sfdag mesh part.sfm -s 0.2 --adaptivity 0.01 --units mm -o part.stl -v\n"
      "  sfdag mesh -x '- r + + q X q Y q Z f1' -b -2,-2,-2,2,2,0 -n 32 -o half.ply\n\n"
      "The mesh is closed, manifold and oriented, with vertices on the surface and on its edges. It covers the\n"
      "model's own box, or that of --bounds, where it is capped. .3mf and .glb know the unit. -v and --json tell\n"
      "its size, and the largest distances between mesh and surface that were measured.");
  return [options, iMake](CommonOptions const& iCommon) { Mesh(iCommon, *options, iMake); };
}

} // namespace SFHost
