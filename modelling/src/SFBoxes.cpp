#include "SFBoxes.h"

#include <algorithm>
#include <cmath>

namespace SF::Boxes {
namespace {

/// Widens an end by far more than the few roundings that it came from.
std::array<double, 2> Outwards(double iLow, double iHigh)
{
  double const margin = 1e-14 * std::fmax(std::abs(iLow), std::abs(iHigh));
  return {iLow - margin, iHigh + margin};
}

template <class Combine>
ZULMathBox PerAxis(ZULMathBox const& iA, ZULMathBox const& iB, Combine iCombine)
{
  Ends const a = EndsOf(iA);
  Ends const b = EndsOf(iB);
  Ends ends{};
  for (std::size_t axis = 0; axis < 3; ++axis)
    ends[axis] = iCombine(a[axis], b[axis]);
  return BoxOf(ends);
}

} // namespace

Ends EndsOf(ZULMathBox const& iBox)
{
  return {{{iBox.low.x, iBox.high.x}, {iBox.low.y, iBox.high.y}, {iBox.low.z, iBox.high.z}}};
}

ZULMathBox BoxOf(Ends const& iEnds)
{
  return {{iEnds[0][0], iEnds[1][0], iEnds[2][0]}, {iEnds[0][1], iEnds[1][1], iEnds[2][1]}};
}

ZULMathBox Hull(ZULMathBox const& iA, ZULMathBox const& iB)
{
  return PerAxis(iA, iB, [](auto const& a, auto const& b) {
    return std::array<double, 2>{std::min(a[0], b[0]), std::max(a[1], b[1])};
  });
}

ZULMathBox Common(ZULMathBox const& iA, ZULMathBox const& iB)
{
  return PerAxis(iA, iB, [](auto const& a, auto const& b) {
    double const low = std::max(a[0], b[0]);
    double const high = std::min(a[1], b[1]);
    if (low <= high)
      return std::array<double, 2>{low, high};
    double const end = std::clamp(low, a[0], a[1]);
    return std::array<double, 2>{end, end};
  });
}

ZULMathBox Grown(ZULMathBox const& iBox, double iBy)
{
  Ends ends = EndsOf(iBox);
  for (auto& end : ends)
    end = Outwards(end[0] - iBy, end[1] + iBy);
  return BoxOf(ends);
}

ZULMathBox Moved(ZULMathBox const& iBox, ZULMathTransformation const& iTransformation)
{
  Ends const from = EndsOf(iBox);
  std::array<double, 12> coefficients{};
  iTransformation.GetCoef(coefficients.data(), 12);
  Ends ends{};
  for (std::size_t row = 0; row < 3; ++row) {
    double const* const c = coefficients.data() + 4 * row;
    double low = c[3];
    double high = c[3];
    double scale = std::abs(c[3]);
    for (std::size_t i = 0; i < 3; ++i) {
      if (c[i] == 0.0)
        continue;
      low += std::min(c[i] * from[i][0], c[i] * from[i][1]);
      high += std::max(c[i] * from[i][0], c[i] * from[i][1]);
      scale += std::abs(c[i]) * std::fmax(std::abs(from[i][0]), std::abs(from[i][1]));
    }
    double const margin = 1e-14 * scale;
    ends[row] = {low - margin, high + margin};
  }
  return BoxOf(ends);
}

} // namespace SF::Boxes
