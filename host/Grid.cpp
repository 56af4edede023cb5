#include "Grid.h"

#include "Failure.h"
#include "SFDagEvaluator.h"
#include "SFToolsErrors.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>

namespace SFHost {
namespace {

constexpr std::string_view Units[] = {"um", "mm", "cm", "m", "in"};

/// A length that does not fit what is sampled is an error of the command line.
template <class Action>
auto AsUsage(Action const& iAction)
{
  try {
    return iAction();
  } catch (std::invalid_argument const& error) {
    throw UsageError(error.what());
  }
}

ZULMathBox Grown(ZULMathBox const& iBox, double iBy)
{
  return {{iBox.low.x - iBy, iBox.low.y - iBy, iBox.low.z - iBy},
          {iBox.high.x + iBy, iBox.high.y + iBy, iBox.high.z + iBy}};
}

} // namespace

void BoxOptions::AddTo(Arguments& ioArguments)
{
  ioArguments.Numbers({.names = "-b,--bounds",
                       .values = "X0,Y0,Z0,X1,Y1,Z1",
                       .help = "The box to work on (the model's own one, where it is known)"},
                      bounds, NumberRange::Finite);
  ioArguments.Choice({.names = "--units", .values = "um|mm|cm|m|in", .help = "The model's unit of length (mm)"}, Units,
                     unit);
}

ZULMathBox BoxOptions::BoxOf(FieldModel const& iModel) const
{
  if (!HasBounds())
    try {
      return SF::RequireBounds(iModel.field);
    } catch (SF::SFModelError const& error) {
      throw ModelFailure(iModel.name, std::string(error.what()) + " (see --bounds)");
    }
  auto const [x0, y0, z0, x1, y1, z1] = bounds;
  return {{std::min(x0, x1), std::min(y0, y1), std::min(z0, z1)},
          {std::max(x0, x1), std::max(y0, y1), std::max(z0, z1)}};
}

void CellOptions::AddTo(Arguments& ioArguments)
{
  ioArguments.WholeNumber(
      {.names = "-n,--cells", .values = "N", .help = "Cells along the longest side of the box (128)"}, cells,
      {.least = 1, .most = SF::SFMaxCells});
  ioArguments.Number({.names = "-s,--voxel", .values = "H", .help = "Edge of a cell, instead of -n"}, voxel,
                     NumberRange::Positive);
}

double CellOptions::VoxelOver(ZULMathBox const& iBox) const
{
  if (cells && voxel)
    throw UsageError("give either --cells or --voxel, not both");
  return voxel ? *voxel : AsUsage([&] { return SF::VoxelFor(iBox, cells.value_or(DefaultCells)); });
}

SampledBox SampledBoxFor(FieldModel const& iModel, BoxOptions const& iBox, CellOptions const& iCell)
{
  ZULMathBox const box = iBox.BoxOf(iModel);
  double const voxel = iCell.VoxelOver(box);
  return {iBox.HasBounds() ? box : Grown(box, voxel), voxel};
}

SampledBox SolidBoxFor(FieldModel const& iModel, BoxOptions const& iBox, CellOptions const& iCell)
{
  SampledBox const sampled = SampledBoxFor(iModel, iBox, iCell);
  auto const& [low, high] = sampled.box;
  if (!(low.x < high.x && low.y < high.y && low.z < high.z))
    throw UsageError("--bounds: the box is flat");
  AsUsage([&] { return SF::FrameOver(sampled.box, sampled.voxel); });
  return sampled;
}

void GridOptions::AddTo(Arguments& ioArguments)
{
  box.AddTo(ioArguments);
  cell.AddTo(ioArguments);
  ioArguments.WholeNumbers({.names = "--dims",
                            .values = "NX NY NZ",
                            .help = "Number of points along each axis, instead of a box; with --voxel"},
                           dims, {.least = 1});
  ioArguments.Numbers({.names = "--origin", .values = "X Y Z", .help = "The first point, with --dims (0 0 0)"}, origin,
                      NumberRange::Finite);
}

bool GridOptions::IsPointByPoint() const
{
  bool const hasDims = dims[0] != 0;
  if (hasDims && (box.HasBounds() || cell.cells))
    throw UsageError("--dims goes with --voxel and --origin, not with --bounds or --cells");
  if (hasDims && !cell.voxel)
    throw UsageError("--voxel is required with --dims");
  if (!hasDims && !std::isnan(origin[0]))
    throw UsageError("--origin goes with --dims");
  return hasDims;
}

SF::SFGridFrame GridOptions::PointByPoint() const
{
  SF::SFGridFrame frame{dims, *cell.voxel, {}};
  if (!std::isnan(origin[0]))
    frame.origin = origin;
  return frame;
}

SF::SFGridFrame GridOptions::FrameFor(FieldModel const& iModel) const
{
  if (IsPointByPoint())
    return PointByPoint();
  auto const [region, voxel] = SampledBoxFor(iModel, box, cell);
  return AsUsage([&, &region = region, voxel = voxel] { return SF::FrameOver(region, voxel); });
}

SF::SFGridFrame GridOptions::FrameAlone() const
{
  if (!IsPointByPoint() && !box.HasBounds())
    throw UsageError("--strict needs --dims and --voxel, or --bounds");
  return FrameFor({});
}

std::vector<float> MakeValues(CommonOptions const& iCommon, SF::SFGridFrame const& iGrid)
{
  auto const [nx, ny, nz] = iGrid.dims;
  iCommon.RequireMemory(double{sizeof(float)} * nx * ny * nz, "the grid of " + std::to_string(nx) + " x " +
                                                                  std::to_string(ny) + " x " + std::to_string(nz) +
                                                                  " points");
  return std::vector<float>(std::size_t{nx} * ny * nz);
}

void RenderInto(std::vector<float>& ioValues, Model& ioModel, SF::SFGridFrame const& iGrid)
{
  auto dims = iGrid.dims;
  constexpr auto accuracy = ZULGMSFDiscretizationAccuracyLevel::EMedium;
  Require(SF::SFDagEvaluator(ioModel.context)
              .Render(dims.data(), ioValues, iGrid.voxel, iGrid.origin.data(), ioModel.root, ZULGetDefaultTolerance(),
                      accuracy),
          ioModel.name, "cannot be rendered");
}

} // namespace SFHost
