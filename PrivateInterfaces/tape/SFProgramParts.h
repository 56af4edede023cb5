#pragma once

#include "tape/SFPointProgram.h"
#include "tape/SFTapePruner.h"

#include <array>
#include <cstdint>
#include <vector>

namespace SF {

/// What a program runs at points of one part of a box.
struct SFProgramPart
{
  enum class Action : std::uint8_t
  {
    Run,
    First, ///< the value is that of an operand
    Second,
    NegatedSecond,
    One,
    MinusOne
  };
  struct Step
  {
    std::uint32_t number; ///< among those that always run elsewhere
    Action action;
  };

  /// Which operands of selections some points take.
  enum Taken : std::uint8_t
  {
    Unknown = 0,
    First = 1,
    Second = 2,
    Both = 3
  };

  std::vector<Step> steps;
  std::vector<std::uint8_t> taken; ///< by condition, as far as it is known of all points
};

/// A program in a box, divided into eight. In each part steps are left out that do not matter there, as SFTapePruner does;
/// points get the same bits.
class SFProgramParts
{
public:
  /// The box must be bounded.
  SFProgramParts(SFPointProgram const& iProgram, SFTape const& iTape, SFPointBox const& iBox);

  static constexpr std::size_t Count = 8;
  /// The number of a point's part; Count for a point outside of the box.
  std::size_t PartOf(double iX, double iY, double iZ) const
  {
    bool const isInside = iX >= _box[0].lo && iX <= _box[0].hi && iY >= _box[1].lo && iY <= _box[1].hi &&
                          iZ >= _box[2].lo && iZ <= _box[2].hi;
    return isInside ? (iX > _middle[0] ? 1U : 0U) + (iY > _middle[1] ? 2U : 0U) + (iZ > _middle[2] ? 4U : 0U) : Count;
  }
  SFProgramPart const& operator[](std::size_t iPart) const { return _parts[iPart]; }
  std::size_t GetBytes() const;

private:
  SFPointBox _box;
  std::array<double, 3> _middle{};
  std::array<SFProgramPart, Count> _parts;
};

} // namespace SF
