#include "SFVolumeSampler.h"

#include "SFMeshEstimate.h"
#include "SFQuantile.h"
#include "SFWork.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <numeric>
#include <stdexcept>
#include <string>
#include <vector>

namespace SF {
namespace {

constexpr double DefaultHalfBand = 3.0; // as OpenVDB's own tools have it

/// A coarser frame over the same box.
SFGridFrame Coarse(SFGridFrame const& iFrame)
{
  constexpr std::uint32_t most = 32;
  SFGridFrame coarse = iFrame;
  std::uint32_t const longest = *std::max_element(iFrame.dims.begin(), iFrame.dims.end());
  double const factor = std::max(1.0, longest / static_cast<double>(most));
  coarse.voxel = iFrame.voxel * factor;
  for (std::uint32_t& count : coarse.dims)
    count = std::max(1U, static_cast<std::uint32_t>(std::ceil(count / factor)));
  return coarse;
}

/// The points of a coarse frame where the field is nearest to 0.
std::array<std::vector<double>, 3> NearPoints(SFGridFrame const& iFrame, std::vector<float> const& iValues)
{
  constexpr std::size_t most = 512;
  std::vector<std::size_t> order(iValues.size());
  std::iota(order.begin(), order.end(), std::size_t{0});
  std::size_t const count = std::min(most, order.size());
  std::nth_element(order.begin(), order.begin() + static_cast<std::ptrdiff_t>(count - 1), order.end(),
                   [&](std::size_t iA, std::size_t iB) { return std::abs(iValues[iA]) < std::abs(iValues[iB]); });
  std::array<std::vector<double>, 3> points;
  for (std::size_t i = 0; i < count; ++i) {
    auto const point = iFrame.PointAt(order[i]);
    for (std::size_t axis = 0; axis < 3; ++axis)
      points[axis].push_back(point[axis]);
  }
  return points;
}

/// How long the gradient is near the surface: nine tenths of the points have a shorter one.
double SteepnessOf(SFField const& iField, SFGridFrame const& iFrame, SFWorkOptions const& iOptions)
{
  if (iField.LipschitzBound() == 1.0)
    return 1.0;
  auto const compiled = CompileFor(iField, iOptions);
  SFGridFrame const coarse = Coarse(iFrame);
  std::vector<float> values(coarse.PointCount());
  Require(compiled->RenderSlices(coarse.dims.data(), 0, coarse.dims[2], values, coarse.voxel, coarse.origin.data()));
  auto const [x, y, z] = NearPoints(coarse, values);
  std::vector<double> gradients(3 * x.size());
  Require(compiled->EvaluateGradient(x.size(), x.data(), y.data(), z.data(), nullptr, gradients.data()));
  std::vector<double> lengths;
  for (std::size_t i = 0; i < gradients.size(); i += 3)
    if (double const length = std::hypot(gradients[i], gradients[i + 1], gradients[i + 2]);
        std::isfinite(length) && length > 0.0)
      lengths.push_back(length);
  if (lengths.empty())
    return 1.0;
  double const steepness = Quantile(lengths, 0.9);
  constexpr double nearlyOne = 1e-3; // a distance but for rounding, or for a few kinks
  return std::abs(steepness - 1.0) < nearlyOne ? 1.0 : steepness;
}

} // namespace

void RequireHalfBand(double iHalfBand)
{
  if (!(iHalfBand >= 0.0) || !std::isfinite(iHalfBand))
    throw std::invalid_argument("band: not a finite number of voxels, 0 or more");
}

SFVolumeBand BandOf(SFGridFrame const& iFrame, SFVolumeFormat iFormat, SFVolumeOptions const& iOptions,
                    double iSteepness)
{
  double const halfBand =
      iOptions.halfBand == 0.0 && iFormat == SFVolumeFormat::Vdb ? DefaultHalfBand : iOptions.halfBand;
  double const limit = halfBand * iFrame.voxel * iSteepness;
  return {halfBand > 0.0 ? limit : std::numeric_limits<double>::infinity(), iSteepness};
}

std::uint32_t SlicesAtOnce(SFGridFrame const& iFrame, SFVolumeFormat iFormat, SFVolumeOptions const& iOptions)
{
  constexpr std::uint64_t bytes = std::uint64_t{16} << 20;
  std::uint64_t const slice = std::uint64_t{iFrame.dims[0]} * iFrame.dims[1] * sizeof(float);
  std::uint32_t const unit = iFormat == SFVolumeFormat::Vdb ? SFVdbSlices : 1;
  auto const units = static_cast<std::uint32_t>(std::clamp<std::uint64_t>(bytes / slice / unit, 1, 1U << 20));
  auto const slices = static_cast<std::uint32_t>(std::min<std::uint64_t>(std::uint64_t{units} * unit, iFrame.dims[2]));
  RequireMemory(iOptions, static_cast<double>(slice) * slices,
                "a slab of " + std::to_string(iFrame.dims[0]) + " x " + std::to_string(iFrame.dims[1]) + " x " +
                    std::to_string(slices) + " points");
  return slices;
}

SFVolumeSampler::SFVolumeSampler(SFField const& iField, SFGridFrame const& iFrame, SFVolumeFormat iFormat,
                                 SFVolumeOptions const& iOptions, SFProfilerItf* iSlabProfiler)
  : _frame(iFrame), _hasBand(iFormat == SFVolumeFormat::Vdb || iOptions.halfBand > 0.0)
{
  RequireHalfBand(iOptions.halfBand);
  _report.points = iFrame.PointCount();
  _report.steepness = _hasBand ? SteepnessOf(iField, iFrame, iOptions) : 1.0;
  _band = BandOf(iFrame, iFormat, iOptions, _report.steepness);
  SFCompiledFieldOptions options = iOptions;
  options.band = _band.limit;
  options.profiler = iSlabProfiler;
  _compiled = iField.Compile(options);
}

void SFVolumeSampler::RequireRoomForBand(std::uint32_t iSlices, SFWorkOptions const& iOptions) const
{
  // Measured with a gyroid: leaves without their values, a voxel of the band on either side of the surface.
  constexpr double bytesPerVertex = 1.0;
  auto const cells = [](std::uint32_t iCount) { return std::max(iCount, 2U) - 1; };
  auto const& [x, y, z] = _frame.dims;
  double const vertices = EstimateVertices(
      *_compiled, {cells(x), cells(y), cells(z)},
      [this](SFLatticeIndex const& iLow, SFLatticeIndex const& iHigh) {
        auto const point = [this](SFLatticeIndex const& iAt) {
          auto const& [i, j, k] = iAt;
          return ZULMathPoint{_frame.origin[0] + static_cast<double>(i) * _frame.voxel,
                              _frame.origin[1] + static_cast<double>(j) * _frame.voxel,
                              _frame.origin[2] + static_cast<double>(k) * _frame.voxel};
        };
        return ZULMathBox{point(iLow), point(iHigh)};
      },
      iOptions);
  double const halfBand = _band.limit / (_frame.voxel * _band.steepness);
  double const slab = double{sizeof(float)} * x * y * iSlices;
  RequireMemory(iOptions, slab + vertices * halfBand * bytesPerVertex,
                "the narrow band of " + std::to_string(x) + " x " + std::to_string(y) + " x " + std::to_string(z) +
                    " points");
}

void SFVolumeSampler::Sample(std::uint32_t iBegin, std::uint32_t iEnd, std::span<float> oValues)
{
  Require(_compiled->RenderSlices(_frame.dims.data(), iBegin, iEnd, oValues, _frame.voxel, _frame.origin.data()));
  if (!_hasBand)
    _report.pointsWithoutValue += CountNans(*_compiled, _frame, iBegin, oValues);
}

void SampleSlabs(SFVolumeSampler& ioSampler, SFGridFrame const& iFrame, std::uint32_t iFirst, std::uint32_t iAtOnce,
                 SFWorkOptions const& iOptions,
                 std::function<void(std::uint32_t, std::uint32_t, std::span<float const>)> const& iTake)
{
  SFProgress const progress(iOptions, "volume");
  std::size_t const slice = std::size_t{iFrame.dims[0]} * iFrame.dims[1];
  std::vector<float> values(slice * iAtOnce);
  for (std::uint32_t begin = iFirst; begin < iFrame.dims[2];) {
    progress.Report(static_cast<double>(begin) / iFrame.dims[2]);
    ThrowIfCancelled(iOptions);
    std::uint32_t const end = begin + std::min(iAtOnce, iFrame.dims[2] - begin);
    std::span const slab(values.data(), slice * (end - begin));
    ioSampler.Sample(begin, end, slab);
    iTake(begin, end, slab);
    begin = end;
  }
}

} // namespace SF
