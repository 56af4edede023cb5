#pragma once

#include "Arguments.h"
#include "CommonOptions.h"
#include "SFSampling.h"

#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace SFHost {

/// The region that a verb works on, and the unit of its lengths.
struct BoxOptions
{
  void AddTo(Arguments& ioArguments);

  bool HasBounds() const { return !std::isnan(bounds[0]); }
  /// The box of -b, else the model's own, which throws a ModelFailure where none is known.
  ZULMathBox BoxOf(FieldModel const& iModel) const;
  SF::SFLengthUnit GetUnit() const { return static_cast<SF::SFLengthUnit>(unit); }

  std::array<double, 6> bounds = {NAN, NAN, NAN, NAN, NAN, NAN}; ///< as given: two opposite corners
  std::size_t unit = static_cast<std::size_t>(SF::SFLengthUnit::Millimetre);
};

/// How fine the box is sampled.
struct CellOptions
{
  void AddTo(Arguments& ioArguments);

  /// The edge of a cell.
  double VoxelOver(ZULMathBox const& iBox) const;

  static constexpr std::uint32_t DefaultCells = 128;

  std::optional<std::uint32_t> cells; ///< on the longest side
  std::optional<double> voxel;
};

/// A box and the edge of the cells that it is sampled with.
struct SampledBox
{
  ZULMathBox box;
  double voxel = 0.0;
};

/// The box of the options, or the model's own and a voxel around it, so that the surface lies within. Throws a ModelFailure
/// where it is needed and not known.
SampledBox SampledBoxFor(FieldModel const& iModel, BoxOptions const& iBox, CellOptions const& iCell);

/// As above, for solids: throws a UsageError for a flat box.
SampledBox SolidBoxFor(FieldModel const& iModel, BoxOptions const& iBox, CellOptions const& iCell);

/// A regular grid of points: over a box, or point by point as --dims, --voxel and --origin say.
struct GridOptions
{
  void AddTo(Arguments& ioArguments);

  /// Over the model's own box the grid reaches one voxel further on all sides. Throws a ModelFailure where it has none.
  SF::SFGridFrame FrameFor(FieldModel const& iModel) const;
  /// The grid that the options alone describe. Throws a UsageError where the model's box would be needed.
  SF::SFGridFrame FrameAlone() const;

  BoxOptions box;
  CellOptions cell;
  std::array<std::uint32_t, 3> dims{}; ///< 0 where they are not given
  std::array<double, 3> origin = {NAN, NAN, NAN};

private:
  bool IsPointByPoint() const;
  SF::SFGridFrame PointByPoint() const;
};

/// One value for each point of the grid, x fastest; all 0. Throws SFMemoryLimit when they do not fit into memory.
std::vector<float> MakeValues(CommonOptions const& iCommon, SF::SFGridFrame const& iGrid);

/// Samples the field into `ioValues`, as the library renders it. Throws a ModelFailure.
void RenderInto(std::vector<float>& ioValues, Model& ioModel, SF::SFGridFrame const& iGrid);

} // namespace SFHost
