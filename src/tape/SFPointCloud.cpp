#include "tape/SFPointCloud.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>

namespace SF {

SFPointCloud::Part SFPointCloud::Gather(SFCallPoints const& iPoints, std::size_t iFirst, std::size_t iCount)
{
  for (Copy& copy : _copies) {
    for (auto& coordinates : copy.coordinates)
      coordinates.resize(std::max(iCount, coordinates.size()));
    copy.numbers.resize(std::max(iCount, copy.numbers.size()));
  }
  _cells.resize(std::max(iCount, _cells.size()));
  auto& coordinates = _copies[0].coordinates;
  if (iPoints.source != nullptr)
    iPoints.source->GetPoints(iFirst, iCount, {coordinates[0].data(), coordinates[1].data(), coordinates[2].data()});
  else
    for (std::size_t axis = 0; axis < 3; ++axis)
      std::copy_n(iPoints.arrays[axis] + iFirst, iCount, coordinates[axis].begin());
  std::iota(_copies[0].numbers.begin(), _copies[0].numbers.begin() + static_cast<std::ptrdiff_t>(iCount), 0U);
  Part all{0, iCount, 0, {}, {}};
  Measure(all);
  return all;
}

std::array<double const*, 3> SFPointCloud::PointsOf(Part const& iPart) const
{
  auto const& [x, y, z] = _copies[iPart.side].coordinates;
  return {&x[iPart.begin], &y[iPart.begin], &z[iPart.begin]};
}

namespace {

/// The range of those of some coordinates that are finite, marked where not all are. Several at once, which compilers do
/// not make of one.
SFInterval RangeOf(double const* iValues, std::size_t iCount)
{
  constexpr std::size_t lanes = 8;
  constexpr double largest = std::numeric_limits<double>::max();
  double low[lanes];
  double high[lanes];
  double others[lanes] = {};
  std::fill_n(low, lanes, largest);
  std::fill_n(high, lanes, -largest);
  auto const add = [&](std::size_t iLane, double iValue) {
    bool const isFinite = std::abs(iValue) <= largest;
    low[iLane] = isFinite && iValue < low[iLane] ? iValue : low[iLane];
    high[iLane] = isFinite && iValue > high[iLane] ? iValue : high[iLane];
    others[iLane] += isFinite ? 0.0 : 1.0;
  };
  std::size_t i = 0;
  for (; i + lanes <= iCount; i += lanes)
    for (std::size_t lane = 0; lane < lanes; ++lane)
      add(lane, iValues[i + lane]);
  for (; i < iCount; ++i)
    add(0, iValues[i]);
  return {*std::min_element(low, low + lanes), *std::max_element(high, high + lanes),
          std::any_of(others, others + lanes, [](double iOthers) { return iOthers != 0.0; })};
}

} // namespace

void SFPointCloud::Measure(Part& ioPart) const
{
  auto const points = PointsOf(ioPart);
  for (std::size_t axis = 0; axis < 3; ++axis) {
    ioPart.finite[axis] = RangeOf(points[axis], ioPart.count);
    ioPart.box[axis] = ioPart.finite[axis].nan ? SFInterval::Anything() : ioPart.finite[axis];
  }
}

SFPointCloud::Cells SFPointCloud::CellsOf(SFPointBox const& iBox)
{
  Cells cells;
  std::array<double, 3> lengths{};
  for (std::size_t axis = 0; axis < 3; ++axis)
    lengths[axis] = iBox[axis].hi / 2.0 - iBox[axis].lo / 2.0;
  for (std::size_t parts = 1; parts < MaxParts; parts *= 2) {
    auto const longest = static_cast<std::size_t>(std::max_element(lengths.begin(), lengths.end()) - lengths.begin());
    lengths[longest] /= 2.0;
    ++cells.bits[longest];
  }
  for (std::size_t axis = 0; axis < 3; ++axis) {
    cells.low[axis] = iBox[axis].lo;
    cells.scale[axis] = 0.5 / lengths[axis];
  }
  return cells;
}

/// Any cell does for any point: boxes are those of the points that came together.
void SFPointCloud::FindCells(Part const& iPart, Cells const& iCells)
{
  auto const points = PointsOf(iPart);
  std::fill_n(_cells.begin(), iPart.count, std::uint8_t{0});
  for (std::size_t axis = 0; axis < 3; ++axis) {
    double const last = static_cast<double>((1U << iCells.bits[axis]) - 1);
    if (last == 0.0)
      continue;
    double const low = iCells.low[axis];
    double const scale = iCells.scale[axis];
    for (std::size_t i = 0; i < iPart.count; ++i) {
      double const cell = (points[axis][i] - low) * scale;
      double const inside = cell < last ? (cell > 0.0 ? cell : 0.0) : last; // NaN too
      _cells[i] =
          static_cast<std::uint8_t>(unsigned{_cells[i]} << iCells.bits[axis] | static_cast<unsigned int>(inside));
    }
  }
}

std::size_t SFPointCloud::Divide(Part const& iPart, std::array<Part, MaxParts>& oParts)
{
  FindCells(iPart, CellsOf(iPart.finite));
  std::array<std::size_t, MaxParts + 1> next{};
  for (std::size_t i = 0; i < iPart.count; ++i)
    ++next[_cells[i] + 1U];
  next[0] = iPart.begin;
  std::partial_sum(next.begin(), next.end(), next.begin());
  auto const begins = next;

  Copy& to = _copies[1 - iPart.side];
  auto const points = PointsOf(iPart);
  std::uint32_t const* const numbers = NumbersOf(iPart);
  for (std::size_t i = 0; i < iPart.count; ++i) {
    std::size_t const at = next[_cells[i]]++;
    for (std::size_t axis = 0; axis < 3; ++axis)
      to.coordinates[axis][at] = points[axis][i];
    to.numbers[at] = numbers[i];
  }

  std::size_t parts = 0;
  for (std::size_t cell = 0; cell < MaxParts; ++cell) {
    if (begins[cell] == begins[cell + 1])
      continue;
    Part& part = oParts[parts++];
    part = {begins[cell], begins[cell + 1] - begins[cell], 1 - iPart.side, {}, {}};
    Measure(part);
  }
  return parts;
}

} // namespace SF
