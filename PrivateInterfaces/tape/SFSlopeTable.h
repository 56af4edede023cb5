#pragma once

#include "operators/SFInterval.h"
#include "tape/SFTape.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <memory>
#include <mutex>
#include <span>
#include <vector>

namespace SF {

/// The ranges of the coordinates of some points.
using SFPointBox = std::array<SFInterval, 3>;

/// What confines the range of a value over a box, beside those of its operands.
enum class SFSlopeUse : std::uint8_t
{
  None,
  OfValue, ///< the Lipschitz bound of the value
  OfRoot   ///< that of its root
};

/// The slope by which the range of a value is confined.
struct SFSlopeEntry
{
  double bound = 0.0;
  double margin = 0.0; ///< for rounding: of the computed values at two points, and of the range
  double rootOfMargin = 0.0;
  SFSlopeUse use = SFSlopeUse::None;
  bool isStated = false; ///< by the caller: it does not hold for what pruning leaves where that does not matter
};

/// Those of the values of a tape, by value. Empty where there are none.
struct SFSlopeTable
{
  std::vector<SFSlopeEntry> entries;
};

/// By value: 1 where a slope may help. Those values are compared, by choices or as the first result, and their ranges
/// over-estimate. Empty where there are none.
std::vector<char> WhereSlopesHelp(SFTape const& iTape);

/// The slopes of those values for points of a box where the values of the tape have these ranges.
SFSlopeTable SlopesWhere(std::span<char const> iWhere, SFTape const& iTape, std::span<SFInterval const> iRanges);

/// The same for a box.
SFSlopeTable SlopesOverBox(std::span<char const> iWhere, SFTape const& iTape, SFPointBox const& iBox);

/// Something that is made for points of a box, and kept while boxes are about as far from the origin: it is made for a
/// cube about the origin, up to four times as large. Calls may come from several threads at once.
template <class Thing>
class SFMadeForBox
{
public:
  /// `iMake(box)` makes one.
  template <class Make>
  std::shared_ptr<Thing const> Get(SFPointBox const& iBox, Make const& iMake) const
  {
    double most = 0.0;
    for (SFInterval const& range : iBox)
      most = std::max({most, std::abs(range.lo), std::abs(range.hi)});
    std::lock_guard<std::mutex> const lock(_mutex);
    if (_thing == nullptr || most > _reach || most < _reach / 64.0) {
      _reach = std::isfinite(most) ? std::ldexp(1.0, std::ilogb(most + 1e-300) + 2) : most;
      SFInterval const all(-_reach, _reach, false);
      _thing = std::make_shared<Thing const>(iMake(SFPointBox{all, all, all}));
    }
    return _thing;
  }

private:
  mutable std::mutex _mutex;
  mutable std::shared_ptr<Thing const> _thing;
  mutable double _reach = 0.0;
};

} // namespace SF
