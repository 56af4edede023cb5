#include "Grid.h"

#include "Failure.h"
#include "SFDagEvaluator.h"

#include <cstdio>
#include <fstream>
#include <limits>

namespace SFHost {
namespace {

/// What new work may take without swapping; infinite where the system does not tell.
double AvailableMemory()
{
  std::ifstream file("/proc/meminfo");
  for (std::string line; std::getline(file, line);) {
    double kibibytes = 0.0;
    if (std::sscanf(line.c_str(), "MemAvailable: %lf kB", &kibibytes) == 1)
      return kibibytes * 1024.0;
  }
  return std::numeric_limits<double>::infinity();
}

std::string Gibibytes(double iBytes)
{
  char text[64];
  std::snprintf(text, sizeof text, "%.3g GiB", iBytes / (1024.0 * 1024.0 * 1024.0));
  return text;
}

} // namespace

void GridOptions::AddTo(Arguments& ioArguments)
{
  ioArguments.WholeNumbers(
      {.names = "--dims", .values = "NX NY NZ", .help = "Number of points along each axis", .required = true}, dims,
      {.least = 1});
  ioArguments.Numbers({.names = "--voxel", .values = "H", .help = "Distance between points", .required = true},
                      std::span(&voxel, 1), NumberRange::Positive);
  ioArguments.Numbers({.names = "--origin", .values = "X Y Z", .help = "The first point (0 0 0)"}, origin,
                      NumberRange::Finite);
}

void RequireMemory(double iBytes, std::string const& iWhat)
{
  double const available = AvailableMemory();
  if (iBytes > available)
    throw Failure(iWhat + " needs " + Gibibytes(iBytes) + " of memory, " + Gibibytes(available) + " is free");
}

std::vector<float> MakeValues(GridOptions const& iGrid)
{
  auto const [nx, ny, nz] = iGrid.dims;
  RequireMemory(double{sizeof(float)} * nx * ny * nz,
                "--dims " + std::to_string(nx) + " " + std::to_string(ny) + " " + std::to_string(nz) + ": the grid");
  return std::vector<float>(std::size_t{nx} * ny * nz);
}

void RenderInto(std::vector<float>& ioValues, Model& ioModel, GridOptions const& iGrid)
{
  auto dims = iGrid.dims;
  constexpr auto accuracy = ZULGMSFDiscretizationAccuracyLevel::EMedium;
  Require(SF::SFDagEvaluator(ioModel.context)
              .Render(dims.data(), ioValues, iGrid.voxel, iGrid.origin.data(), ioModel.root, ZULGetDefaultTolerance(),
                      accuracy),
          ioModel.name, "cannot be rendered");
}

} // namespace SFHost
