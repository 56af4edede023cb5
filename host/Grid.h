#pragma once

#include "Arguments.h"
#include "Model.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace SFHost {

/// A regular grid of points, in the model's length unit.
struct GridOptions
{
  void AddTo(Arguments& ioArguments);

  std::array<std::uint32_t, 3> dims{};
  double voxel = 1.0;
  Point origin{};
};

/// Throws a Failure ("<what> needs ...") when a result takes more bytes than the machine can give now: better than
/// being killed half way.
void RequireMemory(double iBytes, std::string const& iWhat);

/// One value for each point of the grid, x fastest; all 0. Throws a Failure when they do not fit into memory.
std::vector<float> MakeValues(GridOptions const& iGrid);

/// Samples the field into `ioValues`, as the library renders it. Throws a Failure that names the model.
void RenderInto(std::vector<float>& ioValues, Model& ioModel, GridOptions const& iGrid);

} // namespace SFHost
