#pragma once

#include "SFPointSource.h"
#include "tape/SFTapePruner.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace SF {

/// The coordinates of the points of a call: of point i arrays[axis][i] or, where there is one, what a source gives.
struct SFCallPoints
{
  std::array<double const*, 3> arrays{};
  SFPointSource const* source = nullptr;
};

/// Copies of some points, divided by place: the points of each part lie together. One thread's.
class SFPointCloud
{
public:
  /// Parts that a part is divided into, at most.
  static constexpr std::size_t MaxParts = SFTapePruner::MaxBoxes;
  /// Bytes for each point.
  static constexpr std::size_t BytesPerPoint = 2 * (3 * sizeof(double) + sizeof(std::uint32_t)) + 1;

  struct Part
  {
    std::size_t begin = 0;
    std::size_t count = 0;
    std::size_t side = 0; ///< which of the two copies has it
    SFPointBox box;       ///< holds all of its points
    SFPointBox finite;    ///< holds the coordinates that are finite
  };

  /// Takes points over. Returns the part of all of them.
  Part Gather(SFCallPoints const& iPoints, std::size_t iFirst, std::size_t iCount);
  /// Divides a part by halving its box along the longest axes, and moves it to the other copy. Returns how many parts are
  /// not empty.
  std::size_t Divide(Part const& iPart, std::array<Part, MaxParts>& oParts);

  std::array<double const*, 3> PointsOf(Part const& iPart) const;
  /// Bytes that it has taken.
  std::size_t GetBytes() const { return _copies[0].numbers.capacity() * BytesPerPoint; }
  /// The numbers that its points had when they were taken over.
  std::uint32_t const* NumbersOf(Part const& iPart) const { return &_copies[iPart.side].numbers[iPart.begin]; }

private:
  /// The cells that halving cuts a box into: 2 to the power of `bits` along each axis.
  struct Cells
  {
    std::array<double, 3> low{};
    std::array<double, 3> scale{};
    std::array<unsigned int, 3> bits{};
  };
  struct Copy
  {
    std::array<std::vector<double>, 3> coordinates;
    std::vector<std::uint32_t> numbers;
  };

  static Cells CellsOf(SFPointBox const& iBox);
  void FindCells(Part const& iPart, Cells const& iCells);
  void Measure(Part& ioPart) const;

  std::array<Copy, 2> _copies;
  std::vector<std::uint8_t> _cells; ///< by point of the part that is divided
};

} // namespace SF
