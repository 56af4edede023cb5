#include "Failure.h"
#include "Grid.h"
#include "OutputFormat.h"
#include "Picture.h"
#include "Report.h"
#include "SFOutputFile.h"
#include "Verbs.h"
#include "Work.h"

#include <algorithm>

namespace SFHost {
namespace {

constexpr std::string_view Formats[] = {"png"};
constexpr std::uint32_t LongerSide = 512;       ///< pixels that a picture has at least, unless the scale is given
constexpr std::uint32_t MostPixels = 1'000'000; ///< along a side; the PNG library writes no more

struct SliceOptions
{
  GridOptions grid;
  std::optional<std::uint32_t> z;
  std::optional<std::uint32_t> scale;
  std::optional<double> spacing;
  std::string path;
};

/// The samples of slice `iZ`. Only this slice is rendered where that makes no difference.
PlaneSamples RenderStrictly(CommonOptions const& iCommon, SF::SFGridFrame const& iGrid, std::uint32_t iZ)
{
  Model model = LoadModel(iCommon.model);
  auto const [nx, ny, nz] = iGrid.dims;
  SF::SFGridFrame grid = iGrid;
  // The values of a cylindrical transform depend on the extent of the grid.
  bool const needsAll = HasNode(*model.root, SF::SFNodeType::CYLINDRICALTRANSFORM);
  if (!needsAll) {
    grid.dims[2] = 1;
    grid.origin[2] += iZ * grid.voxel;
  }
  std::vector<float> values = MakeValues(iCommon, grid);
  RenderInto(values, model, grid);
  if (needsAll) {
    std::size_t const size = std::size_t{nx} * ny;
    auto const first = values.begin() + static_cast<std::ptrdiff_t>(iZ * size);
    values = std::vector<float>(first, first + static_cast<std::ptrdiff_t>(size));
  }
  return {nx, ny, std::move(values)};
}

/// A slice of a grid.
struct GridSlice
{
  SF::SFGridFrame frame;
  std::uint32_t z;
};

GridSlice SliceOf(SliceOptions const& iOptions, SF::SFGridFrame const& iFrame)
{
  std::uint32_t const nz = iFrame.dims[2];
  std::uint32_t const z = iOptions.z.value_or(nz / 2);
  if (z >= nz)
    throw UsageError("--z: there is no slice " + std::to_string(z) + ", the last one is " + std::to_string(nz - 1));
  return {iFrame, z};
}

/// Pixels along a side of a sample.
std::uint32_t ScaleFor(CommonOptions const& iCommon, SliceOptions const& iOptions, SF::SFGridFrame const& iFrame)
{
  auto const [nx, ny, nz] = iFrame.dims;
  std::uint32_t const longer = std::max(nx, ny);
  std::uint32_t const scale = iOptions.scale.value_or(longer < LongerSide ? (LongerSide + longer - 1) / longer : 1);
  if (std::uint64_t{longer} * scale > MostPixels)
    throw UsageError("the picture would be " + std::to_string(std::uint64_t{longer} * scale) +
                     " pixels long, the most is " + std::to_string(MostPixels));
  iCommon.RequireMemory(PictureMemory(nx, ny, scale), "the picture");
  return scale;
}

PlaneSamples RenderSlice(CommonOptions const& iCommon, FieldModel const& iModel, GridSlice const& iSlice)
{
  Work work(iCommon, iModel, "slice");
  auto const& [frame, z] = iSlice;
  SF::SFGridFrame slice = frame;
  slice.dims[2] = 1;
  std::vector<float> values = MakeValues(iCommon, slice);
  work.RenderSlices(frame, z, z + 1, values);
  WarnOfNans(work.GetName(), work.CountNans(frame, z, z + 1, values), values.size());
  return {frame.dims[0], frame.dims[1], std::move(values)};
}

void Slice(CommonOptions const& iCommon, SliceOptions const& iOptions)
{
  FormatOf(iOptions.path, Formats);
  RequireRoomForReport(iCommon, iOptions.path);
  RequireOtherFile(iCommon.model, iOptions.path);
  bool const strict = iCommon.model.strict;
  FieldModel const model = strict ? FieldModel() : LoadField(iCommon.model);
  GridSlice const slice = SliceOf(iOptions, strict ? iOptions.grid.FrameAlone() : iOptions.grid.FrameFor(model));
  std::uint32_t const scale = ScaleFor(iCommon, iOptions, slice.frame);
  SF::SFOutputFile output(iOptions.path);
  PlaneSamples samples = strict ? RenderStrictly(iCommon, slice.frame, slice.z) : RenderSlice(iCommon, model, slice);
  output.Write(EncodePng(DrawLevelSets(std::move(samples), scale, iOptions.spacing), iOptions.path));
  output.Commit();
  Report report;
  report.Add("file", "file", iOptions.path, iOptions.path);
  report.PrintBeside(iCommon);
}

} // namespace

Action AddSlice(Arguments& ioArguments)
{
  auto const options = std::make_shared<SliceOptions>();
  options->grid.AddTo(ioArguments);
  ioArguments.WholeNumber({.names = "--z", .values = "K", .help = "Number of the slice, from 0 (the middle one)"},
                          options->z, {});
  ioArguments.WholeNumber({.names = "--scale",
                           .values = "N",
                           .help = "Pixels along a side of a sample (what makes the longer side 512 or more)"},
                          options->scale, {.least = 1, .most = 4096});
  ioArguments.Number(
      {.names = "--iso", .values = "S", .help = "Spacing of the iso-lines (a round one that suits the picture)"},
      options->spacing, NumberRange::Positive);
  AddOutputFile(ioArguments, "OUT.png", options->path);
  ioArguments.Examples("  sfdag slice part.sf --dims 64 64 64 --voxel 0.1 --origin -3.2 -3.2 -3.2 -o part.png\n"
                       "  sfdag slice -x '- r + + q X q Y q Z f1' --dims 200 200 1 --voxel 0.02 --origin -2 -2 0 \\\n"
                       "              --iso 0.25 -o sphere.png\n\n"
                       "Inside (below 0) is orange, outside blue, the zero line black; y points up.");
  return [options](CommonOptions const& iCommon) { Slice(iCommon, *options); };
}

} // namespace SFHost
