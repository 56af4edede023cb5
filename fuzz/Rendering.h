#pragma once

#include "Support.h"

#include "ZULMathPoint.h"

#include <array>
#include <cstddef>
#include <string>
#include <vector>

namespace SFFuzz {

/// What a resource of the harness throws.
struct HostError
{
};

/// 4 x 4 x 4 points.
struct Grid
{
  static constexpr unsigned int Side = 4;
  static constexpr std::size_t Count = std::size_t{Side} * Side * Side;

  ZULMathPoint Point(std::size_t iIndex) const;

  double voxelSize;
  std::array<double, 3> origin;
};

/// One of a few grids, by the low bits of a byte: usual ones, and some that hit ties, infinities and NaN.
Grid GridOf(std::uint8_t iByte);

/// Text for the rest of a text whose operands may be missing: with most random texts that is what matters.
std::string WithOperands(std::string iText);

/// Renders a graph, which must be ready, in every way that there is, and requires the very same bits (or NaN and NaN)
/// of all as of the recursion at each point; the same failure where the recursion fails. Where a resource throws at a
/// point, others may throw or need not ask it, and nothing but a HostError comes through.
void CheckRendering(NodePtr const& iRoot, Grid const& iGrid);

} // namespace SFFuzz
