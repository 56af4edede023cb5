#pragma once

#include "operators/SFInterval.h"
#include "tape/SFGrid.h"
#include "tape/SFTapeHoisting.h"
#include "tape/SFValueView.h"

#include <array>
#include <cstddef>
#include <span>
#include <vector>

namespace SF {

/// The ranges of the hoisted values of single axes over blocks of positions, from which pruning starts. The blocks
/// have four lengths, each twice the one before, as most of the boxes that are pruned for.
class SFBlockRanges
{
public:
  /// Consecutive blocks of one length. The range of value number n over the i-th of them is first[n + i stride].
  struct Run
  {
    SFInterval const* first = nullptr;
    std::size_t count = 0;
    std::size_t stride = 0;
  };

  /// Makes room for the ranges of all stored values of one axis, over blocks of 8 positions or, where all boxes are
  /// longer, of as many as their shortest side has.
  void Reserve(std::span<SFValueView const> iViews, std::span<SFHoisting const> iHoisting,
               std::array<unsigned int, 3> const& iDims);
  std::size_t LongestBlock() const { return _shortest << (Levels - 1); }
  /// Whether no room has been made.
  bool IsEmpty() const { return _numbers.empty(); }
  /// Computes those of an axis over the positions from `iBegin`, where a longest block starts, to `iEnd`.
  void Compute(std::span<SFValueView const> iViews, std::size_t iAxis, std::size_t iBegin, std::size_t iEnd);

  /// The blocks that cover a box along an axis, the same for all values of that axis.
  Run BlocksOf(std::size_t iAxis, SFTile const& iBox) const;
  /// The range of a value over a run of blocks of its axis.
  SFInterval RangeOf(SFValueId iId, Run const& iBlocks) const;

private:
  static constexpr std::size_t Levels = 4;

  std::size_t LengthOf(std::size_t iLevel) const { return _shortest << iLevel; }
  std::size_t BlockCount(std::size_t iAxis, std::size_t iLevel) const
  {
    return (_dims[iAxis] + LengthOf(iLevel) - 1) / LengthOf(iLevel);
  }
  std::size_t FirstBlockOf(std::size_t iAxis, std::size_t iLevel) const;

  std::array<unsigned int, 3> _dims{};
  std::size_t _shortest = 8;
  std::array<std::vector<SFValueId>, 3> _values;  ///< by axis
  std::vector<std::uint32_t> _numbers;            ///< by value: its number among those of its axis
  std::array<std::vector<SFInterval>, 3> _ranges; ///< by axis: those of all values over one block together
};

} // namespace SF
