#include "Failure.h"
#include "Grid.h"
#include "Report.h"
#include "SFDagEvaluator.h"
#include "Verbs.h"
#include "Work.h"

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstdio>

namespace SFHost {
namespace {

std::string Digits(double iValue)
{
  char text[32];
  std::snprintf(text, sizeof text, "%.17g", iValue);
  return text;
}

/// By the contract's sampling: central differences at the grid points near the surface.
std::array<double, 2> StrictCurvatures(CommonOptions const& iCommon, GridOptions const& iOptions)
{
  Model const model = LoadReadyModel(iCommon.model);
  auto const grid = iOptions.FrameAlone();
  auto dims = grid.dims;
  double maximum = 0.0;
  double minimum = 0.0;
  Require(SF::SFDagEvaluator(model.context)
              .ComputeMaxAndMinCurvature(maximum, minimum, dims.data(), grid.origin.data(), grid.voxel, model.root,
                                         ZULGetDefaultTolerance()),
          model.name, "its curvature cannot be computed");
  if (maximum == -DBL_MAX && minimum == DBL_MAX)
    throw ModelFailure(model.name, "no point of the grid near the surface has a curvature");
  return {maximum, minimum};
}

/// An edge between neighbours of the grid, one inside and one outside.
struct Edge
{
  Point inside;
  Point outside;
};

/// The edges of the grid that begin in the first of two slices and cross the surface.
std::vector<Edge> CrossedEdges(SF::SFGridFrame const& iGrid, std::uint32_t iSlice, std::vector<float> const& iValues,
                               std::vector<float> const& iNext)
{
  auto const [nx, ny, nz] = iGrid.dims;
  std::vector<Edge> edges;
  for (std::uint32_t j = 0; j < ny; ++j)
    for (std::uint32_t i = 0; i < nx; ++i) {
      std::size_t const at = std::size_t{j} * nx + i;
      Point const point{iGrid.origin[0] + i * iGrid.voxel, iGrid.origin[1] + j * iGrid.voxel,
                        iGrid.origin[2] + iSlice * iGrid.voxel};
      auto const add = [&](std::size_t iAxis, float iOther) {
        if ((iValues[at] < 0.0F) == (iOther < 0.0F))
          return;
        Point other = point;
        other[iAxis] += iGrid.voxel;
        edges.push_back(iValues[at] < 0.0F ? Edge{point, other} : Edge{other, point});
      };
      if (i + 1 < nx)
        add(0, iValues[at + 1]);
      if (j + 1 < ny)
        add(1, iValues[at + nx]);
      if (!iNext.empty())
        add(2, iNext[at]);
    }
  return edges;
}

/// The points of the surface on the edges, by bisection.
std::vector<Point> SurfacePoints(Work& ioWork, std::vector<Edge> iEdges)
{
  constexpr int halvings = 40;
  std::vector<Point> middles(iEdges.size());
  for (int round = 0; round < halvings; ++round) {
    for (std::size_t i = 0; i < iEdges.size(); ++i)
      for (std::size_t axis = 0; axis < 3; ++axis)
        middles[i][axis] = 0.5 * (iEdges[i].inside[axis] + iEdges[i].outside[axis]);
    auto const values = ioWork.Evaluate(middles);
    for (std::size_t i = 0; i < iEdges.size(); ++i)
      (values[i] < 0.0 ? iEdges[i].inside : iEdges[i].outside) = middles[i];
  }
  return middles;
}

/// Those of the surface where it crosses the edges of the grid, from the field's second derivatives.
std::array<double, 2> SurfaceCurvatures(CommonOptions const& iCommon, GridOptions const& iOptions)
{
  FieldModel const model = LoadField(iCommon.model);
  auto const grid = iOptions.FrameFor(model);
  Work work(iCommon, model, "curvature");
  auto const slice = std::size_t{grid.dims[0]} * grid.dims[1];
  iCommon.RequireMemory(2.0 * sizeof(float) * static_cast<double>(slice), work.GetName() + ": two slices of the grid");
  std::array<double, 2> extremes{-HUGE_VAL, HUGE_VAL};
  std::vector<float> values(slice);
  std::vector<float> next;
  work.RenderSlices(grid, 0, 1, values);
  for (std::uint32_t k = 0; k < grid.dims[2]; ++k) {
    next.resize(k + 1 < grid.dims[2] ? slice : 0);
    if (!next.empty())
      work.RenderSlices(grid, k + 1, k + 2, next);
    auto const points = SurfacePoints(work, CrossedEdges(grid, k, values, next));
    auto const [largest, smallest] = work.ExtremeCurvatures(points);
    extremes = {std::max(extremes[0], largest), std::min(extremes[1], smallest)};
    values.swap(next);
  }
  if (std::isinf(extremes[0]))
    throw ModelFailure(work.GetName(), "no edge of the grid crosses the surface where it has a curvature");
  return extremes;
}

void Curvature(CommonOptions const& iCommon, GridOptions const& iOptions)
{
  auto const [maximum, minimum] =
      iCommon.model.strict ? StrictCurvatures(iCommon, iOptions) : SurfaceCurvatures(iCommon, iOptions);
  Report report;
  report.Add("maximum", "maximum", maximum, Digits(maximum));
  report.Add("minimum", "minimum", minimum, Digits(minimum));
  report.Print(iCommon);
}

} // namespace

Action AddCurvature(Arguments& ioArguments)
{
  auto const options = std::make_shared<GridOptions>();
  options->AddTo(ioArguments);
  ioArguments.Examples(
      "  sfdag curvature part.sf --dims 64 64 64 --voxel 0.1 --origin -3.2 -3.2 -3.2\n"
      "  sfdag curvature -x '- r + + q X q Y q Z f1' --dims 9 9 9 --voxel 0.25 --origin -1 -1 -1\n\n"
      "Principal curvatures of the surface where it crosses the edges of the grid, from the second\n"
      "derivatives of the field. Those of a ball of radius R are -1 / R. With --strict, by differences\n"
      "at the grid points whose values are within 0.8 voxels of 0.");
  return [options](CommonOptions const& iCommon) { Curvature(iCommon, *options); };
}

} // namespace SFHost
