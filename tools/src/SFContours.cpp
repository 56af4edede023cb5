#include "SFContours.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <unordered_map>

namespace SF {
namespace {

/// An edge of the grid: twice the number of its lower sample, plus 1 when it goes upwards.
using Edge = std::uint64_t;

/// Segments between edges that the level crosses, joined into lines. (W. E. Lorensen and H. E. Cline, "Marching cubes",
/// 1987, in the plane.)
class Contours
{
public:
  Contours(SFPlaneSamples const& iSamples, double iLevel) : _samples(iSamples), _level(iLevel)
  {
    for (std::uint32_t j = 0; j + 1 < iSamples.ny; ++j)
      for (std::uint32_t i = 0; i + 1 < iSamples.nx; ++i)
        AddCell(i, j);
  }

  std::vector<SFStroke> Lines()
  {
    std::vector<SFStroke> lines;
    for (bool const isClosed : {false, true}) // lines that end at the border first
      for (Edge const edge : _order)
        if (auto const found = _ends.find(edge);
            found != _ends.end() && found->second.count > 0 && (isClosed || found->second.count == 1))
          lines.push_back(Follow(edge));
    return lines;
  }

private:
  /// The other ends of the segments at an edge that are left.
  struct Ends
  {
    Edge to[2];
    int count = 0;
  };

  double At(std::uint64_t iSample) const { return static_cast<double>(_samples.values[iSample]) - _level; }

  void AddCell(std::uint32_t iI, std::uint32_t iJ)
  {
    std::uint64_t const corner = std::uint64_t{iJ} * _samples.nx + iI;
    std::uint64_t const up = corner + _samples.nx;
    bool const in[] = {At(corner) < 0.0, At(corner + 1) < 0.0, At(up + 1) < 0.0, At(up) < 0.0};
    Edge const edges[] = {2 * corner, 2 * (corner + 1) + 1, 2 * up, 2 * corner + 1}; // behind each corner, all around
    Edge crossed[4];
    std::size_t count = 0;
    for (std::size_t k = 0; k < 4; ++k)
      if (in[k] != in[(k + 1) % 4])
        crossed[count++] = edges[k];
    if (count == 2)
      Join(crossed[0], crossed[1]);
    if (count == 4) { // two corners across are inside; the middle says whether they are joined
      bool const middle = At(corner) + At(corner + 1) + At(up + 1) + At(up) < 0.0;
      std::size_t const with = middle == in[0] ? 1 : 3;
      Join(crossed[0], crossed[with]);
      Join(crossed[2], crossed[4 - with]);
    }
  }

  void Join(Edge iA, Edge iB)
  {
    for (auto const& [from, to] : {std::pair{iA, iB}, std::pair{iB, iA}}) {
      Ends& ends = _ends[from];
      if (ends.count == 0)
        _order.push_back(from);
      ends.to[ends.count++] = to;
    }
  }

  std::array<double, 2> PointOn(Edge iEdge) const
  {
    std::uint64_t const sample = iEdge / 2;
    std::uint64_t const other = sample + (iEdge % 2 == 0 ? 1 : _samples.nx);
    double const share = At(sample) / (At(sample) - At(other));
    double const x = static_cast<double>(sample % _samples.nx);
    double const y = static_cast<double>(sample / _samples.nx);
    return iEdge % 2 == 0 ? std::array<double, 2>{x + share, y} : std::array<double, 2>{x, y + share};
  }

  SFStroke Follow(Edge iFrom)
  {
    SFStroke line{PointOn(iFrom)};
    for (Edge at = iFrom; _ends[at].count > 0;) {
      Edge const to = _ends[at].to[--_ends[at].count];
      Ends& back = _ends[to];
      if (back.to[0] == at)
        back.to[0] = back.to[back.count - 1];
      --back.count;
      line.push_back(PointOn(to));
      at = to;
    }
    return line;
  }

  SFPlaneSamples const& _samples;
  double _level;
  std::unordered_map<Edge, Ends> _ends;
  std::vector<Edge> _order; ///< in which they were found, the same in every run
};

/// Keeps the points between which the line strays no further than the tolerance.
SFStroke Simplified(SFStroke const& iLine, double iTolerance)
{
  SFStroke kept{iLine.front()};
  std::size_t from = 0;
  for (std::size_t to = 2; to < iLine.size(); ++to) {
    double const alongX = iLine[to][0] - iLine[from][0];
    double const alongY = iLine[to][1] - iLine[from][1];
    double const length = std::hypot(alongX, alongY);
    bool isStraight = length > 0.0 && to - from < 64;
    for (std::size_t i = from + 1; i < to && isStraight; ++i)
      isStraight = std::abs((iLine[i][0] - iLine[from][0]) * alongY - (iLine[i][1] - iLine[from][1]) * alongX) <=
                   iTolerance * length;
    if (!isStraight) {
      from = to - 1;
      kept.push_back(iLine[from]);
    }
  }
  kept.push_back(iLine.back());
  return kept;
}

} // namespace

std::vector<SFStroke> ContoursOf(SFPlaneSamples const& iSamples, double iLevel, double iTolerance)
{
  std::vector<SFStroke> lines = Contours(iSamples, iLevel).Lines();
  for (SFStroke& line : lines)
    line = Simplified(line, iTolerance);
  return lines;
}

} // namespace SF
