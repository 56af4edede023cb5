#pragma once

#include "SFGraphReading.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace SF {

/// Numbers for pairs of numbers: a hash table with open addressing.
class SFPairNumbers
{
public:
  static constexpr std::uint32_t None = UINT32_MAX;

  /// The place of a pair's number, which is None when the pair is new. Valid until the next call.
  std::uint32_t& Place(std::uint32_t iFirst, std::uint32_t iSecond);

private:
  struct Entry
  {
    std::uint32_t first = None;
    std::uint32_t second = None;
    std::uint32_t number = None;
  };
  std::size_t SlotOf(std::uint32_t iFirst, std::uint32_t iSecond) const;
  void Grow();

  std::vector<Entry> _entries = std::vector<Entry>(64);
  std::size_t _size = 0;
};

/// Which nodes of a graph are needed in which frames. A frame is a way of transforms from the root: a node below several
/// ways means something else in each, and one that the same transforms lead to by several ways is needed once.
class SFFramePlan
{
public:
  static constexpr std::uint32_t None = UINT32_MAX;
  static constexpr std::uint32_t Space = 0; ///< the frame without transforms

  struct Frame
  {
    std::uint32_t parent;
    std::uint32_t mapping;
  };
  struct Part
  {
    std::uint32_t node;
    std::uint32_t frame;
    /// The parts that the operands are. An offset outside of Space has one operand: itself in Space, since its distance
    /// is one of the frame.
    std::array<std::uint32_t, 2> operands{None, None};
  };

  /// std::length_error when the parts and the coordinates of the frames would have more than SFField::MaxNodes nodes,
  /// before any of them is made.
  explicit SFFramePlan(SFGraphReading const& iReading);

  /// Operands first; no part is a transform.
  std::vector<Part> const& Parts() const { return _parts; }
  /// Parents first; the first one is Space.
  std::vector<Frame> const& Frames() const { return _frames; }
  std::uint32_t Root() const { return _root; }
  std::size_t Size() const { return _size; }

private:
  struct Visit;
  std::uint32_t FrameBelow(std::uint32_t iMapping, std::uint32_t iFrame);
  Visit VisitOf(std::uint32_t iNode, std::uint32_t iFrame);
  std::uint32_t Leave(Visit const& iVisit);
  void Charge(std::size_t iNodes);

  SFGraphReading const& _reading;
  std::vector<Part> _parts;
  std::vector<Frame> _frames{{None, None}};
  SFPairNumbers _frameNumbers; ///< by parent and mapping
  SFPairNumbers _partNumbers;  ///< by node and frame
  std::uint32_t _root = None;
  std::size_t _size = 0;
};

} // namespace SF
