#include "SFDagDifferentialOperator.h"
#include "SFElementary.h"
#include "evaluation/SFWorkerCount.h"
#include "tape/SFGrid.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>
#include <cstdint>
#include <future>
#include <limits>
#include <random>
#include <thread>
#include <vector>

namespace SF {

double SFDagDifferentialOperator::BumpFunction(double const* iPoint, double iRadius, double iScale)
{
  double const x = iPoint[0];
  double const y = iPoint[1];
  double const z = iPoint[2];
  double const t = (x * x + y * y + z * z) / (iRadius * iRadius);
  if (!(1.0 > t))
    return 0.0;
  return Elementary::Exp(1.0 / (t - 1.0)) * iScale / (iRadius * iRadius * iRadius);
}

HRESULT SFDagDifferentialOperator::RejectionSamplingFromBumpFunction(std::vector<double>& oSamples, double iRadius,
                                                                     double iScale, unsigned int iCount)
{
  if (iCount == 0) {
    oSamples.clear();
    return S_OK;
  }
  constexpr double center[3] = {0.0, 0.0, 0.0};
  double const peak = BumpFunction(center, iRadius, iScale);
  if (!std::isfinite(peak) || peak == 0.0) {
    Diagnostics::NotSatisfied("RejectionSamplingFromBumpFunction", "std::isfinite(peak) && peak != 0.0");
    return E_INVALIDARG;
  }
  std::random_device device; // another sequence for every call
  std::mt19937 engine(static_cast<std::uint32_t>(device()));
  auto const uniform = [&engine] {
    return std::generate_canonical<double, std::numeric_limits<double>::digits>(engine);
  };
  oSamples.resize(std::size_t{3} * iCount);
  for (std::size_t next = 0; next < oSamples.size();) {
    double const u = uniform();
    double point[3];
    for (double& coordinate : point)
      coordinate = uniform() * 2.0 * iRadius - iRadius;
    if (BumpFunction(point, iRadius, iScale) / peak >= u)
      for (double const coordinate : point)
        oSamples[next++] = coordinate;
  }
  return S_OK;
}

namespace {

/// Which voxel along one axis holds a coordinate; false when none does.
bool CellOf(SFGrid const& iGrid, std::size_t iAxis, double iCoordinate, unsigned int& oCell)
{
  double const cell = (iCoordinate - iGrid.origin[iAxis]) / iGrid.h;
  if (!(cell >= 0.0 && cell < iGrid.dims[iAxis])) // NaN is nowhere
    return false;
  oCell = static_cast<unsigned int>(cell);
  return true;
}

/// The mean of the gradients around a point; false when there are none.
bool AverageAround(SFGrid const& iGrid, ZULMathPoint const& iPoint, std::vector<float> const& iGradients,
                   std::vector<double> const& iOffsets, float* oMean)
{
  std::array<float, 3> sum{};
  unsigned int used = 0;
  for (std::size_t s = 0; s + 2 < iOffsets.size() && used < SFDagDifferentialOperator::SmoothingPoints; s += 3) {
    unsigned int i = 0;
    unsigned int j = 0;
    unsigned int k = 0;
    if (!CellOf(iGrid, 0, iPoint.x - iOffsets[s], i) || !CellOf(iGrid, 1, iPoint.y - iOffsets[s + 1], j) ||
        !CellOf(iGrid, 2, iPoint.z - iOffsets[s + 2], k))
      continue;
    float const* const gradient = &iGradients[3 * iGrid.Index(i, j, k)];
    for (std::size_t component = 0; component < 3; ++component)
      sum[component] += gradient[component];
    ++used;
  }
  for (std::size_t component = 0; component < 3 && used != 0; ++component)
    oMean[component] = sum[component] / static_cast<float>(used);
  return used != 0;
}

/// Calls `iCall(number)` for the numbers below `iCount`, from all threads of the machine; each takes the next run of
/// numbers when it has done with one.
template <class Call>
void ForEachVoxel(std::size_t iCount, Call const& iCall)
{
  constexpr std::size_t run = 64;
  std::atomic<std::size_t> next{0};
  auto const work = [&] {
    for (std::size_t first = next.fetch_add(run); first < iCount; first = next.fetch_add(run))
      for (std::size_t number = first; number < std::min(iCount, first + run); ++number)
        iCall(number);
  };
  std::vector<std::future<void>> futures;
  std::size_t const workers = WorkerCount(std::thread::hardware_concurrency());
  for (std::size_t t = 1; t < std::min(workers, iCount / run); ++t)
    futures.push_back(std::async(work)); // deferred, and then with nothing left to do, where no thread can be made
  work();
  for (auto& future : futures)
    future.get();
}

/// E_INVALIDARG, after a line, unless the fields have a value for every voxel.
HRESULT CheckFields(SFGrid const& iGrid, std::vector<float> const& iGradients, std::vector<float> const& iValues)
{
  char const* broken = nullptr;
  if (!iGrid.valid)
    broken = "iDims != nullptr";
  else if (!iGrid.FitsInto(iGradients.size(), 3))
    broken = "3 * nx * ny * nz <= ioGradients.size()";
  else if (!iGrid.FitsInto(iValues.size(), 1))
    broken = "nx * ny * nz <= iValues.size()";
  if (broken == nullptr)
    return S_OK;
  Diagnostics::NotSatisfied("SmoothGradientField", broken);
  return E_INVALIDARG;
}

} // namespace

HRESULT SFDagDifferentialOperator::SmoothGradientField(std::vector<float>& ioGradients, unsigned int const* iDims,
                                                       double iThreshold, double iVoxelSize,
                                                       ZULMathPoint const& iOrigin, std::vector<float> const& iValues)
{
  constexpr double scale = 0.221995; // the integral of exp(1 / (t^2 - 1)) over t from 0 to 1
  std::vector<double> offsets;
  HRESULT const hr = RejectionSamplingFromBumpFunction(offsets, iThreshold * 8.0 / 9.0, scale, SmoothingOffsets);
  return Failed(hr) ? hr : SmoothGradientField(ioGradients, iDims, iThreshold, iVoxelSize, iOrigin, iValues, offsets);
}

HRESULT SFDagDifferentialOperator::SmoothGradientField(std::vector<float>& ioGradients, unsigned int const* iDims,
                                                       double iThreshold, double iVoxelSize,
                                                       ZULMathPoint const& iOrigin, std::vector<float> const& iValues,
                                                       std::vector<double> const& iOffsets)
{
  double const origin[3] = {iOrigin.x, iOrigin.y, iOrigin.z};
  SFGrid const grid(iDims, iVoxelSize, origin);
  HRESULT const hr = CheckFields(grid, ioGradients, iValues);
  if (Failed(hr))
    return hr;
  std::vector<float> smoothed(ioGradients.size(), 0.0F);
  std::size_t const nx = grid.dims[0];
  std::size_t const ny = grid.dims[1];
  std::size_t const voxels = nx == 0 || ny == 0 ? 0 : nx * ny * grid.dims[2];
  ForEachVoxel(voxels, [&](std::size_t iVoxel) {
    auto const i = static_cast<unsigned int>(iVoxel % nx);
    auto const j = static_cast<unsigned int>(iVoxel / nx % ny);
    auto const k = static_cast<unsigned int>(iVoxel / nx / ny);
    bool const near = static_cast<double>(iValues[iVoxel]) < iThreshold;
    if (near || !AverageAround(grid, grid.Point(i, j, k), ioGradients, iOffsets, &smoothed[3 * iVoxel]))
      std::copy_n(&ioGradients[3 * iVoxel], 3, &smoothed[3 * iVoxel]);
  });
  ioGradients = std::move(smoothed);
  return S_OK;
}

} // namespace SF
