#include "SFArgument.h"
#include "SFShapes.h"

#include <array>
#include <cstdlib>
#include <stdexcept>

namespace SF {
namespace {

/// A point of a cell in quarters of its edges.
using Quarters = std::array<int, 3>;
struct CellStrut
{
  Quarters from;
  Quarters to;
};

int SquaredDistance(Quarters const& iA, Quarters const& iB)
{
  int sum = 0;
  for (std::size_t i = 0; i < 3; ++i)
    sum += (iA[i] - iB[i]) * (iA[i] - iB[i]);
  return sum;
}

/// The points that a lattice has in a cell, and the squared distance of those that it joins.
struct Pattern
{
  std::vector<Quarters> points;
  int squaredDistance;

  std::vector<CellStrut> Struts() const
  {
    std::vector<CellStrut> struts;
    for (std::size_t i = 0; i < points.size(); ++i)
      for (std::size_t j = i + 1; j < points.size(); ++j)
        if (SquaredDistance(points[i], points[j]) == squaredDistance)
          struts.push_back({points[i], points[j]});
    return struts;
  }
};

template <class Is>
std::vector<Quarters> PointsThat(Is iIs)
{
  std::vector<Quarters> points;
  for (int z = 0; z <= 4; ++z)
    for (int y = 0; y <= 4; ++y)
      for (int x = 0; x <= 4; ++x)
        if (Quarters const point{x, y, z}; iIs(point))
          points.push_back(point);
  return points;
}

/// How many coordinates are one of two values.
int CountOf(Quarters const& iPoint, int iA, int iB)
{
  int count = 0;
  for (int const coordinate : iPoint)
    count += coordinate == iA || coordinate == iB ? 1 : 0;
  return count;
}

bool IsCorner(Quarters const& iPoint) { return CountOf(iPoint, 0, 4) == 3; }
bool IsFaceCentre(Quarters const& iPoint) { return CountOf(iPoint, 0, 4) == 1 && CountOf(iPoint, 2, 2) == 2; }
bool IsCentre(Quarters const& iPoint) { return CountOf(iPoint, 2, 2) == 3; }
/// The permutations of (0, 1, 2) about the centre, with both signs.
bool IsOctahedral(Quarters const& iPoint)
{
  return CountOf(iPoint, 0, 4) == 1 && CountOf(iPoint, 1, 3) == 1 && CountOf(iPoint, 2, 2) == 1;
}

std::vector<CellStrut> StrutsOf(SFLattice iLattice)
{
  switch (iLattice) {
  case SFLattice::Cubic:
    return Pattern{PointsThat(IsCorner), 16}.Struts();
  case SFLattice::Bcc:
    return Pattern{PointsThat([](Quarters const& p) { return IsCorner(p) || IsCentre(p); }), 12}.Struts();
  case SFLattice::Fcc: {
    auto struts = StrutsOf(SFLattice::Octet);
    std::erase_if(struts, [](CellStrut const& s) { return !IsCorner(s.from) && !IsCorner(s.to); });
    return struts;
  }
  case SFLattice::Octet:
    return Pattern{PointsThat([](Quarters const& p) { return IsCorner(p) || IsFaceCentre(p); }), 8}.Struts();
  case SFLattice::Kelvin:
    return Pattern{PointsThat(IsOctahedral), 2}.Struts();
  }
  Argument::Refuse("lattice", "no such lattice");
}

/// The struts of all cells, each once: one in a face that two cells share belongs to the cell above.
class Cells
{
public:
  Cells(std::array<unsigned int, 3> const& iCounts, ZULMathVector const& iCell)
    : _counts{iCounts[0], iCounts[1], iCounts[2]}, _quarter{iCell.x / 4.0, iCell.y / 4.0, iCell.z / 4.0}
  {
  }

  std::vector<SFStrut> All(std::vector<CellStrut> const& iStruts) const
  {
    std::vector<SFStrut> struts;
    for (std::int64_t k = 0; k < _counts[2]; ++k)
      for (std::int64_t j = 0; j < _counts[1]; ++j)
        for (std::int64_t i = 0; i < _counts[0]; ++i)
          for (CellStrut const& strut : iStruts)
            if (!BelongsToNext({i, j, k}, strut))
              struts.push_back({Point({i, j, k}, strut.from), Point({i, j, k}, strut.to)});
    return struts;
  }

private:
  using Cell = std::array<std::int64_t, 3>;

  bool BelongsToNext(Cell const& iCell, CellStrut const& iStrut) const
  {
    for (std::size_t axis = 0; axis < 3; ++axis)
      if (iStrut.from[axis] == 4 && iStrut.to[axis] == 4 && iCell[axis] + 1 < _counts[axis])
        return true;
    return false;
  }

  ZULMathPoint Point(Cell const& iCell, Quarters const& iPoint) const
  {
    std::array<double, 3> p{};
    for (std::size_t axis = 0; axis < 3; ++axis)
      p[axis] = static_cast<double>(4 * iCell[axis] + iPoint[axis] - 2 * _counts[axis]) * _quarter[axis];
    return {p[0], p[1], p[2]};
  }

  Cell _counts;
  std::array<double, 3> _quarter;
};

} // namespace

SFField Lattice(SFLattice iLattice, std::array<unsigned int, 3> const& iCounts, ZULMathVector const& iCell,
                SFField const& iRadius)
{
  Argument::Positive("cell", iCell.x);
  Argument::Positive("cell", iCell.y);
  Argument::Positive("cell", iCell.z);
  auto const struts = StrutsOf(iLattice);
  double count = static_cast<double>(struts.size());
  for (unsigned int const cells : iCounts) {
    if (cells == 0)
      Argument::Refuse("counts", "holds a 0");
    count *= cells;
  }
  if (count > static_cast<double>(SFField::MaxNodes))
    throw std::length_error("counts: a lattice of more than " + std::to_string(SFField::MaxNodes) + " struts");
  return Struts(Cells(iCounts, iCell).All(struts), iRadius);
}

} // namespace SF
