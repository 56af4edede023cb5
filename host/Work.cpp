#include "Work.h"

#include "Failure.h"
#include "Messages.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

namespace SFHost {
namespace {

std::array<std::vector<double>, 3> CoordinatesOf(std::vector<Point> const& iPoints)
{
  std::array<std::vector<double>, 3> coordinates;
  for (std::size_t axis = 0; axis < 3; ++axis)
    for (Point const& point : iPoints)
      coordinates[axis].push_back(point[axis]);
  return coordinates;
}

} // namespace

Work::Work(CommonOptions const& iCommon, FieldModel iModel, std::string const& iWhat)
  : _model(std::move(iModel)), _progress(std::make_unique<Progress>(iCommon.GetProgressMode(), iWhat))
{
  _compiled = Named(_model.name, [&] { return _model.field.Compile(iCommon.ForTools(_progress.get())); });
}

std::vector<double> Work::Evaluate(std::vector<Point> const& iPoints)
{
  auto const [x, y, z] = CoordinatesOf(iPoints);
  std::vector<double> values(iPoints.size());
  Require(_compiled->Evaluate(values.size(), x.data(), y.data(), z.data(), values.data()), _model.name,
          "cannot be evaluated");
  return values;
}

std::array<double, 2> Work::ExtremeCurvatures(std::vector<Point> const& iPoints)
{
  constexpr std::size_t each = 4;
  auto const [x, y, z] = CoordinatesOf(iPoints);
  std::vector<double> curvatures(each * iPoints.size());
  Require(_compiled->EvaluateCurvature(iPoints.size(), x.data(), y.data(), z.data(), curvatures.data()), _model.name,
          "its curvature cannot be computed");
  constexpr double infinity = std::numeric_limits<double>::infinity();
  std::array<double, 2> extremes{-infinity, infinity};
  for (std::size_t i = 0; i < curvatures.size(); i += each)
    if (std::isfinite(curvatures[i]) && std::isfinite(curvatures[i + 1]))
      extremes = {std::max(extremes[0], curvatures[i]), std::min(extremes[1], curvatures[i + 1])};
  return extremes;
}

void Work::RenderSlices(SF::SFGridFrame const& iGrid, std::uint32_t iBegin, std::uint32_t iEnd,
                        std::span<float> oValues, double iTo)
{
  _progress->SetAmount(static_cast<double>(iGrid.PointCount()), "voxels");
  _progress->Begin(std::exchange(_done, iTo), iTo);
  Require(_compiled->RenderSlices(iGrid.dims.data(), iBegin, iEnd, oValues, iGrid.voxel, iGrid.origin.data()),
          _model.name, "cannot be rendered");
}

std::uint64_t Work::CountNans(SF::SFGridFrame const& iGrid, std::uint32_t iBegin, std::span<float const> iValues)
{
  _progress->Begin(_done, _done);
  return Named(_model.name, [&] { return SF::CountNans(*_compiled, iGrid, iBegin, iValues); });
}

std::uint64_t CountNans(std::span<double const> iValues)
{
  return static_cast<std::uint64_t>(
      std::count_if(iValues.begin(), iValues.end(), [](double iValue) { return std::isnan(iValue); }));
}

void WarnOfNans(std::string const& iModelName, std::uint64_t iNans, std::uint64_t iPoints)
{
  if (iNans != 0)
    Warn(OneLine(iModelName) + ": warning: " + std::to_string(iNans) + " of " + std::to_string(iPoints) +
         " points have no value (NaN)\n");
}

} // namespace SFHost
