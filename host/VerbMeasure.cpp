#include "Grid.h"
#include "Model.h"
#include "Report.h"
#include "SFMeshMeasure.h"
#include "Verbs.h"

#include <cstdio>

namespace SFHost {
namespace {

struct MeasureOptions
{
  BoxOptions box;
  CellOptions cell;
  bool hasNoWall = false;
};

Json JsonOf(SF::SFMeasure const& iMeasure)
{
  return {{"value", JsonNumber(iMeasure.value)}, {"error", JsonNumber(iMeasure.error)}};
}

std::string TextOf(SF::SFMeasure const& iMeasure)
{
  char text[80];
  std::snprintf(text, sizeof text, "%.9g +- %.1g", iMeasure.value, iMeasure.error);
  return text;
}

template <std::size_t Count>
void Add(Report& ioReport, std::string const& iKey, std::string const& iLabel,
         std::array<SF::SFMeasure, Count> const& iMeasures, std::string const& iUnit)
{
  Json values = Json::array();
  std::string text;
  for (SF::SFMeasure const& measure : iMeasures) {
    values.push_back(JsonOf(measure));
    text += (text.empty() ? "" : ", ") + TextOf(measure);
  }
  ioReport.Add(iKey, iLabel, Count == 1 ? values[0] : values, text + " " + iUnit);
}

void Tell(CommonOptions const& iCommon, std::string const& iUnit, SF::SFSolidMeasures const& iMeasures)
{
  Report report;
  Add(report, "volume", "volume", std::array{iMeasures.volume}, iUnit + "^3");
  Add(report, "area", "area", std::array{iMeasures.area}, iUnit + "^2");
  Add(report, "low", "box from", iMeasures.low, iUnit);
  Add(report, "high", "box to", iMeasures.high, iUnit);
  Add(report, "centre", "centre of mass", iMeasures.centre, iUnit);
  SF::SFMeshTopology const& topology = iMeasures.topology;
  report.AddCount("components", "components", topology.components - topology.cavities);
  report.AddCount("cavities", "cavities", topology.cavities);
  report.Add("genus", "genus", topology.genus, std::to_string(topology.genus));
  report.Add("watertight", "watertight", topology.IsWatertight(), topology.IsWatertight() ? "yes" : "no");
  if (iMeasures.wall) {
    Add(report, "wall", "smallest wall", std::array{*iMeasures.wall}, iUnit);
    auto const [x, y, z] = iMeasures.wallAt;
    char text[96];
    std::snprintf(text, sizeof text, "%.6g, %.6g, %.6g", x, y, z);
    report.Add("wall_at", "which is at", Json{x, y, z}, text);
  }
  report.AddNumber("voxel", "voxel", iMeasures.report.voxel, iUnit);
  report.Add("unit", "unit", iUnit, iUnit);
  report.Print(iCommon);
}

SF::SFSolidMeasures MeasureAlone(MeasureTask const& iTask)
{
  Progress progress(iTask.common.GetProgressMode(), "measure");
  SF::SFMeasureOptions options = iTask.options;
  options.profiler = &progress;
  return SF::MeasureField(iTask.model.field, iTask.sampled.box, iTask.sampled.voxel, options);
}

void Measure(CommonOptions const& iCommon, MeasureOptions const& iOptions, SolidMeasurer iMeasure)
{
  RequirePlain(iCommon.model);
  FieldModel const model = LoadField(iCommon.model);
  MeasureTask task{iCommon, model, SolidBoxFor(model, iOptions.box, iOptions.cell), {}};
  static_cast<SF::SFWorkOptions&>(task.options) = iCommon.ForTools();
  task.options.hasWall = !iOptions.hasNoWall;
  auto const measures = Named(model.name, [&] { return iMeasure(task); });
  Tell(iCommon, std::string(SF::SymbolOf(iOptions.box.GetUnit())), measures);
}

} // namespace

Action AddMeasure(Arguments& ioArguments) { return AddMeasureBy(ioArguments, MeasureAlone); }

Action AddMeasureBy(Arguments& ioArguments, SolidMeasurer iMeasure)
{
  auto const options = std::make_shared<MeasureOptions>();
  options->box.AddTo(ioArguments);
  options->cell.AddTo(ioArguments);
  ioArguments.Flag({.names = "--no-wall", .values = "", .help = "Do not look for the smallest wall"},
                   options->hasNoWall);
  ioArguments.Examples(
      "  sfdag measure part.sfm -n 256\n"
      "  sfdag measure -e 'torus(10, 3)' --units cm --json\n"
      "  sfdag measure -x '- r + + q X q Y q Z f1' -n 64 --no-wall\n\n"
      "From a mesh with vertices on the surface, and from the field between them. What follows +- is an estimate of\n"
      "the error, from a second mesh with cells twice as large. A cavity is no component; the genus counts the holes\n"
      "through all of them. Walls are measured along the normals; those thinner than a cell may be missed.");
  return [options, iMeasure](CommonOptions const& iCommon) { Measure(iCommon, *options, iMeasure); };
}

} // namespace SFHost
