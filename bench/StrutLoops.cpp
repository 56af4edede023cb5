/// Compiled for the machine at hand with full optimisation; see CMakeLists.txt.

#include "StrutLoops.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace SFBench::StrutLoops {
namespace {

using Struts = std::vector<StrutSegment const*>;

inline double Min(double iA, double iB) { return iB < iA ? iB : iA; }
inline double Max(double iA, double iB) { return iB > iA ? iB : iA; }

inline double DistanceFrom(StrutSegment const& iStrut, double iX, double iY, double iZ)
{
  double const x = iX - iStrut.from[0];
  double const y = iY - iStrut.from[1];
  double const z = iZ - iStrut.from[2];
  double const along = iStrut.along[0] * x + iStrut.along[1] * y + iStrut.along[2] * z;
  double const part = Min(Max(along / iStrut.squaredLength, 0.0), 1.0);
  double const u = x - iStrut.along[0] * part;
  double const v = y - iStrut.along[1] * part;
  double const w = z - iStrut.along[2] * part;
  return std::sqrt(u * u + v * v + w * w);
}

inline float Stored(double iValue, double iLimit)
{
  double const magnitude = std::abs(iValue) < iLimit ? std::abs(iValue) : iLimit;
  double const sign = iValue <= 0.0 ? -1.0 : 1.0;
  return static_cast<float>(sign * magnitude);
}

double Diagonal(Grid const& iGrid)
{
  double const x = (iGrid.dims[0] - 1.0) * iGrid.h;
  double const y = (iGrid.dims[1] - 1.0) * iGrid.h;
  double const z = (iGrid.dims[2] - 1.0) * iGrid.h;
  return std::sqrt(x * x + y * y + z * z);
}

double At(Grid const& iGrid, int iAxis, unsigned iIndex) { return iGrid.origin[iAxis] + iIndex * iGrid.h; }

struct Block
{
  unsigned begin[3];
  unsigned end[3];
};

/// The struts that may be the nearest ones of a point of a block. A distance changes by no more than the way.
void Nearest(Grid const& iGrid, Block const& iBlock, Struts const& iFrom, std::vector<double>& ioDistances,
             Struts& oNear)
{
  double centre[3];
  double squares = 0.0;
  for (int axis = 0; axis < 3; ++axis) {
    double const low = At(iGrid, axis, iBlock.begin[axis]);
    double const high = At(iGrid, axis, iBlock.end[axis] - 1);
    centre[axis] = (low + high) / 2.0;
    squares += (high - low) * (high - low) / 4.0;
  }
  ioDistances.resize(iFrom.size());
  double least = std::numeric_limits<double>::infinity();
  for (std::size_t i = 0; i < iFrom.size(); ++i) {
    ioDistances[i] = DistanceFrom(*iFrom[i], centre[0], centre[1], centre[2]);
    least = std::min(least, ioDistances[i]);
  }
  double const reach = least + 2.0 * std::sqrt(squares) + 1e-9;
  oNear.clear();
  for (std::size_t i = 0; i < iFrom.size(); ++i)
    if (ioDistances[i] <= reach)
      oNear.push_back(iFrom[i]);
}

void RunBlock(Grid const& iGrid, Block const& iBlock, Struts const& iStruts, double iRadius, double iDiagonal,
              std::vector<double> const& iX, float* oValues)
{
  constexpr unsigned edge = 8;
  std::size_t const count = iBlock.end[0] - iBlock.begin[0];
  double const* const x = iX.data() + iBlock.begin[0];
  for (unsigned k = iBlock.begin[2]; k < iBlock.end[2]; ++k)
    for (unsigned j = iBlock.begin[1]; j < iBlock.end[1]; ++j) {
      double const y = At(iGrid, 1, j);
      double const z = At(iGrid, 2, k);
      double row[edge];
      for (double& value : row)
        value = std::numeric_limits<double>::infinity();
      for (StrutSegment const* const strut : iStruts)
        for (std::size_t i = 0; i < edge; ++i) // beyond the last point too: a constant count is faster
          row[i] = Min(row[i], DistanceFrom(*strut, x[i], y, z) - iRadius);
      float* const out = oValues + (std::size_t{k} * iGrid.dims[1] + j) * iGrid.dims[0] + iBlock.begin[0];
      for (std::size_t i = 0; i < count; ++i)
        out[i] = Stored(row[i], iDiagonal);
    }
}

template <class Call>
void ForBlocks(Block const& iAll, unsigned iEdge, Call iCall)
{
  Block block;
  for (unsigned k = iAll.begin[2]; k < iAll.end[2]; k += iEdge)
    for (unsigned j = iAll.begin[1]; j < iAll.end[1]; j += iEdge)
      for (unsigned i = iAll.begin[0]; i < iAll.end[0]; i += iEdge) {
        unsigned const begin[3] = {i, j, k};
        for (int axis = 0; axis < 3; ++axis) {
          block.begin[axis] = begin[axis];
          block.end[axis] = std::min(begin[axis] + iEdge, iAll.end[axis]);
        }
        iCall(block);
      }
}

} // namespace

double Distance(StrutSegment const& iStrut, double iX, double iY, double iZ)
{
  return DistanceFrom(iStrut, iX, iY, iZ);
}

void Whole(Grid const& iGrid, unsigned iBegin, unsigned iEnd, float* oValues, std::vector<StrutSegment> const& iStruts,
           double iRadius)
{
  Struts all;
  for (StrutSegment const& strut : iStruts)
    all.push_back(&strut);
  std::vector<double> x(iGrid.dims[0] + 8);
  for (unsigned i = 0; i < x.size(); ++i)
    x[i] = At(iGrid, 0, i);
  double const diagonal = Diagonal(iGrid);
  std::vector<double> distances;
  Struts coarse;
  Struts fine;
  Struts finest;
  ForBlocks({{0, 0, iBegin}, {iGrid.dims[0], iGrid.dims[1], iEnd}}, 64, [&](Block const& iLarge) {
    Nearest(iGrid, iLarge, all, distances, coarse);
    ForBlocks(iLarge, 16, [&](Block const& iMiddle) {
      Nearest(iGrid, iMiddle, coarse, distances, fine);
      ForBlocks(iMiddle, 8, [&](Block const& iSmall) {
        Nearest(iGrid, iSmall, fine, distances, finest);
        RunBlock(iGrid, iSmall, finest, iRadius, diagonal, x, oValues);
      });
    });
  });
}

void Band(Grid const& iGrid, unsigned iBegin, unsigned iEnd, float* oValues, std::vector<StrutSegment> const& iStruts,
          double iRadius, double iBand)
{
  std::size_t const slice = std::size_t{iGrid.dims[0]} * iGrid.dims[1];
  std::vector<double> values(slice * (iEnd - iBegin), iBand);
  std::vector<double> x(iGrid.dims[0]);
  for (unsigned i = 0; i < x.size(); ++i)
    x[i] = At(iGrid, 0, i);
  double const reach = iRadius + iBand + iGrid.h;
  for (StrutSegment const& strut : iStruts) {
    unsigned from[3];
    unsigned to[3];
    for (int axis = 0; axis < 3; ++axis) {
      auto const a = static_cast<std::size_t>(axis);
      double const low = std::min(strut.from[a], strut.from[a] + strut.along[a]) - reach - iGrid.origin[axis];
      double const high = std::max(strut.from[a], strut.from[a] + strut.along[a]) + reach - iGrid.origin[axis];
      double const last = axis == 2 ? iEnd : iGrid.dims[axis];
      double const first = axis == 2 ? iBegin : 0.0;
      from[axis] = static_cast<unsigned>(std::clamp(std::floor(low / iGrid.h), first, last));
      to[axis] = static_cast<unsigned>(std::clamp(std::ceil(high / iGrid.h), first, last));
    }
    for (unsigned k = from[2]; k < to[2]; ++k)
      for (unsigned j = from[1]; j < to[1]; ++j) {
        double* const row = values.data() + (k - iBegin) * slice + std::size_t{j} * iGrid.dims[0];
        double const y = At(iGrid, 1, j);
        double const z = At(iGrid, 2, k);
        for (unsigned i = from[0]; i < to[0]; ++i)
          row[i] = Min(row[i], DistanceFrom(strut, x[i], y, z) - iRadius);
      }
  }
  double const limit = std::min(iBand, Diagonal(iGrid));
  for (std::size_t i = 0; i < values.size(); ++i)
    oValues[iBegin * slice + i] = Stored(values[i], limit);
}

} // namespace SFBench::StrutLoops
