#include "Failure.h"
#include "Grid.h"
#include "OutputFormat.h"
#include "Report.h"
#include "SFOutputFile.h"
#include "SFSlicePicture.h"
#include "Verbs.h"
#include "Work.h"

#include <algorithm>

namespace SFHost {
namespace {

constexpr std::string_view Extensions[] = {".png", ".svg"};
constexpr std::string_view Axes[] = {"x", "y", "z"};
constexpr std::uint32_t LongerSide = 512; ///< pixels that a picture has at least, unless the scale is given

struct SliceOptions
{
  GridOptions grid;
  std::optional<std::uint32_t> z;
  std::optional<std::uint32_t> scale;
  std::size_t axis = 2;
  std::optional<double> position;
  std::optional<std::uint32_t> pixels;
  std::optional<double> spacing;
  std::string path;

  bool IsOfGrid(bool iIsStrict) const
  {
    return iIsStrict || z || scale || grid.dims[0] != 0 || grid.cell.cells || grid.cell.voxel;
  }
};

/// The samples of slice `iZ`. Only this slice is rendered where that makes no difference.
SF::SFPlaneSamples RenderStrictly(CommonOptions const& iCommon, SF::SFGridFrame const& iGrid, std::uint32_t iZ)
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
  if (std::uint64_t{longer} * scale > SF::SFImage::MaxSide)
    throw UsageError("the picture would be " + std::to_string(std::uint64_t{longer} * scale) +
                     " pixels long, the most is " + std::to_string(SF::SFImage::MaxSide));
  iCommon.RequireMemory(SF::LevelSetsMemory(nx, ny, scale), "the picture");
  return scale;
}

SF::SFPlaneSamples RenderSlice(CommonOptions const& iCommon, FieldModel const& iModel, GridSlice const& iSlice)
{
  Work work(iCommon, iModel, "slice");
  auto const& [frame, z] = iSlice;
  SF::SFGridFrame slice = frame;
  slice.dims[2] = 1;
  std::vector<float> values = MakeValues(iCommon, slice);
  work.RenderSlices(frame, z, z + 1, values);
  WarnOfNans(work.GetName(), work.CountNans(frame, z, values), values.size());
  return {frame.dims[0], frame.dims[1], std::move(values)};
}

/// A slice of a grid, without axes: each sample is a square of pixels.
std::string DrawGridSlice(CommonOptions const& iCommon, SliceOptions const& iOptions)
{
  bool const isStrict = iCommon.model.strict;
  FieldModel const model = isStrict ? FieldModel() : LoadField(iCommon.model);
  GridSlice const slice = SliceOf(iOptions, isStrict ? iOptions.grid.FrameAlone() : iOptions.grid.FrameFor(model));
  std::uint32_t const scale = ScaleFor(iCommon, iOptions, slice.frame);
  SF::SFPlaneSamples samples =
      isStrict ? RenderStrictly(iCommon, slice.frame, slice.z) : RenderSlice(iCommon, model, slice);
  return SF::EncodePng(SF::DrawLevelSets(std::move(samples), scale, iOptions.spacing));
}

/// The box of the options; the model's own one with some space around it.
ZULMathBox BoxWithSpace(SliceOptions const& iOptions, FieldModel const& iModel)
{
  ZULMathBox box = iOptions.grid.box.BoxOf(iModel);
  if (iOptions.grid.box.HasBounds())
    return box;
  constexpr double share = 0.04;
  double const space = share * std::max({box.high.x - box.low.x, box.high.y - box.low.y, box.high.z - box.low.z});
  return {{box.low.x - space, box.low.y - space, box.low.z - space},
          {box.high.x + space, box.high.y + space, box.high.z + space}};
}

SF::SFSlicePicture DrawFigure(CommonOptions const& iCommon, SliceOptions const& iOptions, bool iIsSvg)
{
  FieldModel const model = LoadField(iCommon.model);
  ZULMathBox const box = BoxWithSpace(iOptions, model);
  double const middle[] = {0.5 * (box.low.x + box.high.x), 0.5 * (box.low.y + box.high.y),
                           0.5 * (box.low.z + box.high.z)};
  SF::SFSliceOptions options;
  options.axis = iOptions.axis;
  options.position = iOptions.position.value_or(middle[iOptions.axis]);
  options.pixels = iOptions.pixels.value_or(options.pixels);
  options.spacing = iOptions.spacing;
  options.unit = iOptions.grid.box.GetUnit();
  Progress progress(iCommon.GetProgressMode(), "slice");
  SF::SFSlicePicture picture = Named(model.name, [&] {
    return SF::DrawSlice(model.field, box, options, iIsSvg ? SF::SFPictureFormat::Svg : SF::SFPictureFormat::Png,
                         iCommon.ForTools(&progress));
  });
  WarnOfNans(model.name, picture.pointsWithoutValue, picture.points);
  return picture;
}

void Slice(CommonOptions const& iCommon, SliceOptions const& iOptions)
{
  bool const isSvg = ExtensionFor(iOptions.path, Extensions) == ".svg";
  bool const isOfGrid = iOptions.IsOfGrid(iCommon.model.strict);
  if (isOfGrid && (iOptions.axis != 2 || iOptions.position || iOptions.pixels || isSvg))
    throw UsageError("--axis, --at, --size and .svg are for sections of a box, without a voxel grid");
  RequireUsable(iCommon, iOptions.path);
  SF::SFOutputFile output(iOptions.path);
  Report report;
  report.Add("file", "file", iOptions.path, iOptions.path);
  if (isOfGrid)
    output.Write(DrawGridSlice(iCommon, iOptions));
  else {
    SF::SFSlicePicture const picture = DrawFigure(iCommon, iOptions, isSvg);
    output.Write(picture.bytes);
    report.AddNumber("iso_spacing", "iso-lines", picture.spacing);
  }
  output.Commit();
  report.PrintBeside(iCommon);
}

} // namespace

Action AddSlice(Arguments& ioArguments)
{
  auto const options = std::make_shared<SliceOptions>();
  AddOutputFile(ioArguments, "OUT.png|svg", options->path);
  ioArguments.Choice({.names = "--axis", .values = "x|y|z", .help = "The plane's normal (z)"}, Axes, options->axis);
  ioArguments.Number({.names = "--at", .values = "POSITION", .help = "The plane's place on that axis (the middle)"},
                     options->position, NumberRange::Finite);
  ioArguments.WholeNumber(
      {.names = "--size", .values = "N", .help = "Pixels along the longer side of the section (900)"}, options->pixels,
      {.least = 64, .most = SF::SFImage::MaxSide / 2});
  ioArguments.Number(
      {.names = "--iso", .values = "S", .help = "Spacing of the iso-lines (a round one that suits the picture)"},
      options->spacing, NumberRange::Positive);
  options->grid.AddTo(ioArguments);
  ioArguments.WholeNumber({.names = "--z", .values = "K", .help = "Number of a grid's slice, from 0 (the middle one)"},
                          options->z, {});
  ioArguments.WholeNumber({.names = "--scale",
                           .values = "N",
                           .help = "Pixels along a side of a grid's sample (what makes the longer side 512 or more)"},
                          options->scale, {.least = 1, .most = 4096});
  ioArguments.Examples(
      "  sfdag slice part.sfm --axis x --at 12.5 -o part.svg\n"
      "  sfdag slice part.sf --dims 64 64 64 --voxel 0.1 --origin -3.2 -3.2 -3.2 -o part.png\n"
      "  sfdag slice -x '- r + + q X q Y q Z f1' -b -2,-2,-2,2,2,2 --iso 0.25 -o sphere.png\n\n"
      "Inside (below 0) is orange, outside blue, the zero line black. The section of a box is sampled at\n"
      "each pixel and has axes, a scale bar and the spacing of its iso-lines. With --dims, -n, -s, --z,\n"
      "--scale or --strict, the picture is slice K of a voxel grid and nothing else; y points up.");
  return [options](CommonOptions const& iCommon) { Slice(iCommon, *options); };
}

} // namespace SFHost
