#include "Failure.h"
#include "Grid.h"
#include "Model.h"
#include "OutputFormat.h"
#include "Report.h"
#include "SFOutputFile.h"
#include "SFVolumeFiles.h"
#include "Signals.h"
#include "Verbs.h"
#include "Work.h"

#include <filesystem>

namespace SFHost {
namespace {

struct GridVerbOptions
{
  GridOptions grid;
  std::optional<double> band;
  bool isResumable = false;
  std::string path;
};

SF::SFVolumeFormat FormatOf(GridVerbOptions const& iOptions)
{
  return SF::VolumeFormatOf(ExtensionFor(iOptions.path, SF::VolumeExtensions()));
}

SF::SFVolumeOptions VolumeOptions(CommonOptions const& iCommon, GridVerbOptions const& iOptions)
{
  SF::SFVolumeOptions options;
  static_cast<SF::SFWorkOptions&>(options) = iCommon.ForTools();
  options.halfBand = iOptions.band.value_or(0.0);
  options.unit = iOptions.grid.box.GetUnit();
  return options;
}

void Tell(CommonOptions const& iCommon, GridVerbOptions const& iOptions, SF::SFGridFrame const& iFrame,
          SF::SFVolumeReport const& iReport)
{
  auto const [nx, ny, nz] = iFrame.dims;
  auto const [x, y, z] = iFrame.origin;
  Report report;
  report.Add("file", "file", iOptions.path, iOptions.path);
  report.Add("dims", "points", Json{nx, ny, nz},
             std::to_string(nx) + " x " + std::to_string(ny) + " x " + std::to_string(nz));
  report.AddNumber("voxel", "voxel", iFrame.voxel, std::string(SF::SymbolOf(iOptions.grid.box.GetUnit())));
  report.Add("origin", "origin", Json{x, y, z}, std::to_string(x) + " " + std::to_string(y) + " " + std::to_string(z));
  report.AddCount("points_without_value", "without a value", iReport.pointsWithoutValue);
  report.AddCount("active_points", "in the band", iReport.activePoints);
  report.AddNumber("steepness", "steepness", iReport.steepness);
  report.PrintBeside(iCommon);
}

SF::SFVolumeReport WriteStrictly(CommonOptions const& iCommon, GridVerbOptions const& iOptions,
                                 SF::SFGridFrame const& iFrame)
{
  SF::SFOutputFile output(iOptions.path);
  Model model = LoadModel(iCommon.model);
  std::vector<float> values = MakeValues(iCommon, iFrame);
  RenderInto(values, model, iFrame);
  auto const report = SF::WriteVolume(values, iFrame, FormatOf(iOptions), output, VolumeOptions(iCommon, iOptions));
  output.Commit();
  return report;
}

SF::SFVolumeReport WriteResumably(VolumeTask const& iTask, SF::SFVolumeOptions const& iOptions)
{
  SetInterruptionNote(": interrupted; the same command goes on from here\n");
  auto const report = Named(iTask.model.name, [&] {
    return SF::WriteVolumeResumably(iTask.model.field, iTask.frame, iTask.format, iTask.path, iOptions);
  });
  SetInterruptionNote(nullptr);
  return report;
}

SF::SFVolumeReport WritePlainly(VolumeTask const& iTask)
{
  Progress progress(iTask.common.GetProgressMode(), "grid");
  progress.SetAmount(static_cast<double>(iTask.frame.PointCount()), "voxels");
  SF::SFVolumeOptions options = iTask.options;
  options.profiler = &progress;
  if (iTask.isResumable)
    return WriteResumably(iTask, options);
  SF::SFOutputFile output(iTask.path); // before the work, which may be long, and of no use without a place for it
  auto const report = Named(
      iTask.model.name, [&] { return SF::WriteVolume(iTask.model.field, iTask.frame, iTask.format, output, options); });
  output.Commit();
  return report;
}

/// Throws a UsageError.
void RequireResumable(CommonOptions const& iCommon, std::string const& iPath)
{
  std::error_code error;
  if (iCommon.model.strict)
    throw UsageError("--resume is not for --strict");
  if (iPath == "-" || (std::filesystem::exists(iPath, error) && !std::filesystem::is_regular_file(iPath, error)))
    throw UsageError("--resume: " + Quoted(iPath) + " is no regular file");
}

void Grid(CommonOptions const& iCommon, GridVerbOptions const& iOptions, VolumeMaker iMake)
{
  SF::SFVolumeFormat const format = FormatOf(iOptions);
  RequireUsable(iCommon, iOptions.path);
  if (iOptions.isResumable)
    RequireResumable(iCommon, iOptions.path);
  bool const strict = iCommon.model.strict;
  FieldModel const model = strict ? FieldModel() : LoadField(iCommon.model);
  SF::SFGridFrame const frame = strict ? iOptions.grid.FrameAlone() : iOptions.grid.FrameFor(model);
  SF::SFVolumeReport const report = strict ? WriteStrictly(iCommon, iOptions, frame)
                                           : iMake({iCommon, model, frame, iOptions.path, format,
                                                    VolumeOptions(iCommon, iOptions), iOptions.isResumable});
  WarnOfNans(model.name, report.pointsWithoutValue, report.points);
  Tell(iCommon, iOptions, frame, report);
}

} // namespace

Action AddGrid(Arguments& ioArguments) { return AddGridBy(ioArguments, WritePlainly, true); }

Action AddGridBy(Arguments& ioArguments, VolumeMaker iMake, bool iCanResume)
{
  auto const options = std::make_shared<GridVerbOptions>();
  options->grid.AddTo(ioArguments);
  ioArguments.Number({.names = "--band",
                      .values = "W",
                      .help = "Keep values within W voxels of the surface, and signs elsewhere (.vdb: 3; others: all)"},
                     options->band, NumberRange::Positive);
  if (iCanResume)
    ioArguments.Flag(
        {.names = "--resume",
         .values = "",
         .help = "Keep what is done when interrupted, in OUT.partial and OUT.journal, and go on from there"},
        options->isResumable);
  AddOutputFile(ioArguments, "OUT.vdb|.npy|.nrrd|.vti|.raw", options->path);
  ioArguments.Examples(
      "  sfdag grid part.sfm -n 256 -o part.vdb\n"
      "  sfdag grid part.sfm -s 0.5 -b -10,-10,0,10,10,20 --units mm -o part.nrrd\n"
      "  sfdag grid -x '- r + + q X q Y q Z f1' --dims 9 9 9 --voxel 0.25 --origin -1 -1 -1 -o sphere.npy\n\n"
      "The grid covers the model's own box and a voxel around it, the box of --bounds, or the points of --dims.\n"
      "Values are 32-bit floats, x fastest; NumPy sees the shape (NZ, NY, NX). .nrrd and .vdb hold origin, spacing\n"
      "and unit, .vti origin and spacing, .raw the values alone, little-endian. A .vdb is the narrow band of a level\n"
      "set: where the field is no distance, its values are divided by how steep it is near the surface.\n"
      "With --resume an interrupted run leaves what it has done, and the same command goes on with it; the file is "
      "the\n"
      "same as that of an uninterrupted run. Another model or other options are an error, until both files are "
      "removed.");
  return [options, iMake](CommonOptions const& iCommon) { Grid(iCommon, *options, iMake); };
}

} // namespace SFHost
