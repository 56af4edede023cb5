#include "SFFramePlan.h"

#include "SFOperatorTable.h"

#include <stdexcept>
#include <string>
#include <utility>

namespace SF {

std::size_t SFPairNumbers::SlotOf(std::uint32_t iFirst, std::uint32_t iSecond) const
{
  std::uint64_t const pair = (std::uint64_t{iFirst} << 32) | iSecond;
  std::size_t const mask = _entries.size() - 1;
  auto slot = static_cast<std::size_t>((pair * 0x9e3779b97f4a7c15U) >> 32) & mask;
  while (_entries[slot].first != None && (_entries[slot].first != iFirst || _entries[slot].second != iSecond))
    slot = (slot + 1) & mask;
  return slot;
}

std::uint32_t& SFPairNumbers::Place(std::uint32_t iFirst, std::uint32_t iSecond)
{
  if (2 * _size >= _entries.size())
    Grow();
  Entry& entry = _entries[SlotOf(iFirst, iSecond)];
  if (entry.first == None) {
    entry.first = iFirst;
    entry.second = iSecond;
    ++_size;
  }
  return entry.number;
}

void SFPairNumbers::Grow()
{
  std::vector<Entry> const old = std::exchange(_entries, std::vector<Entry>(2 * _entries.size()));
  for (Entry const& entry : old)
    if (entry.first != None)
      _entries[SlotOf(entry.first, entry.second)] = entry;
}

namespace {

SFNodeFamily FamilyOf(SFGraphReading::Node const& iNode) { return SF::FamilyOf((*iNode.graph)->GetTypeTag()); }

} // namespace

struct SFFramePlan::Visit
{
  std::uint32_t node;
  std::uint32_t frame;
  std::uint32_t below; ///< the frame of the operands
  std::size_t count = 0;
  std::array<std::uint32_t, 2> nodes{None, None};
  std::array<std::uint32_t, 2> operands{None, None};
  std::size_t next = 0; ///< the operand to enter
};

SFFramePlan::SFFramePlan(SFGraphReading const& iReading) : _reading(iReading)
{
  std::vector<Visit> visits;
  std::uint32_t last = None; // the part that has been found or left
  auto const enter = [&](std::uint32_t iNode, std::uint32_t iFrame) {
    bool const isConstant = FamilyOf(_reading.Nodes()[iNode]) == SFNodeFamily::Constant;
    std::uint32_t const frame = isConstant ? Space : iFrame;
    last = _partNumbers.Place(iNode, frame);
    if (last == None)
      visits.push_back(VisitOf(iNode, frame));
  };
  enter(static_cast<std::uint32_t>(_reading.Nodes().size() - 1), Space);
  while (!visits.empty()) {
    Visit& visit = visits.back();
    if (last != None)
      visit.operands[visit.next++] = std::exchange(last, None);
    if (visit.next < visit.count) {
      enter(visit.nodes[visit.next], visit.below);
      continue;
    }
    last = Leave(visit);
    visits.pop_back();
  }
  _root = last;
}

SFFramePlan::Visit SFFramePlan::VisitOf(std::uint32_t iNode, std::uint32_t iFrame)
{
  SFGraphReading::Node const& node = _reading.Nodes()[iNode];
  Visit visit{.node = iNode, .frame = iFrame, .below = iFrame, .nodes = node.operands};
  if (FamilyOf(node) == SFNodeFamily::Offset && iFrame != Space) {
    visit.below = Space;
    visit.nodes = {iNode, None};
  } else if (node.mapping != None)
    visit.below = FrameBelow(node.mapping, iFrame);
  while (visit.count < 2 && visit.nodes[visit.count] != None)
    ++visit.count;
  return visit;
}

std::uint32_t SFFramePlan::FrameBelow(std::uint32_t iMapping, std::uint32_t iFrame)
{
  std::uint32_t& number = _frameNumbers.Place(iFrame, iMapping);
  if (number == None) {
    Charge(_reading.Mappings()[iMapping].Size());
    number = static_cast<std::uint32_t>(_frames.size());
    _frames.push_back({iFrame, iMapping});
  }
  return number;
}

std::uint32_t SFFramePlan::Leave(Visit const& iVisit)
{
  SFNodeFamily const family = FamilyOf(_reading.Nodes()[iVisit.node]);
  std::uint32_t part = iVisit.operands[0];
  if (family != SFNodeFamily::Transform) {
    constexpr std::size_t smoothUnion = 12; // the nodes of one
    Charge(family == SFNodeFamily::Blend ? smoothUnion : 1);
    part = static_cast<std::uint32_t>(_parts.size());
    _parts.push_back({iVisit.node, iVisit.frame, iVisit.operands});
  }
  return _partNumbers.Place(iVisit.node, iVisit.frame) = part;
}

void SFFramePlan::Charge(std::size_t iNodes)
{
  _size += iNodes;
  if (_size > SFField::MaxNodes)
    throw std::length_error("graph: more than " + std::to_string(SFField::MaxNodes) +
                            " nodes, counted once for each way of transforms that leads to them");
}

} // namespace SF
