#pragma once

#include "HandLoops.h"

#include <array>
#include <vector>

namespace SFBench {

/// The segment between two points, with what the distance from it reads.
struct StrutSegment
{
  std::array<double, 3> from;
  std::array<double, 3> along;
  double squaredLength;
};

/// Loops for the distance from many segments less a radius, as a person would write them: each strut is looked at where it
/// can matter and nowhere else. Per strut they do the arithmetic of its text in the order of the text, and store as Render
/// does, so that the floats are the same, bit for bit. Slices [iBegin, iEnd) of a grid.
namespace StrutLoops {

/// The arithmetic of a strut at a point.
double Distance(StrutSegment const& iStrut, double iX, double iY, double iZ);

/// All values. Which struts can be the nearest ones of a block of 8^3 points is found out from their distances to the centre
/// of the block, out of those of a block of 64^3.
void Whole(Grid const& iGrid, unsigned iBegin, unsigned iEnd, float* oValues, std::vector<StrutSegment> const& iStruts,
           double iRadius);

/// Values up to `iBand` in magnitude; others are the band. Each strut goes through the points of its box, grown by the radius
/// and the band.
void Band(Grid const& iGrid, unsigned iBegin, unsigned iEnd, float* oValues, std::vector<StrutSegment> const& iStruts,
          double iRadius, double iBand);

} // namespace StrutLoops
} // namespace SFBench
