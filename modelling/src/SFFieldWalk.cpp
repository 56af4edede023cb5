#include "SFFieldWalk.h"

#include <stdexcept>
#include <string>
#include <utility>

namespace SF {
namespace {

std::size_t SlotIn(std::size_t iCount, std::uint64_t iHash) { return static_cast<std::size_t>(iHash) & (iCount - 1); }

} // namespace

std::size_t SFFieldNumbers::SlotOf(SFFieldNode const* iNode) const
{
  // Addresses of nodes differ in their middle bits.
  auto const address = static_cast<std::uint64_t>(reinterpret_cast<std::uintptr_t>(iNode));
  std::size_t slot = SlotIn(_entries.size(), (address >> 4) * 0x9e3779b97f4a7c15U >> 20);
  while (_entries[slot].node != nullptr && _entries[slot].node != iNode)
    slot = SlotIn(_entries.size(), slot + 1);
  return slot;
}

std::uint32_t SFFieldNumbers::Find(SFFieldNode const* iNode) const { return _entries[SlotOf(iNode)].number; }

std::uint32_t& SFFieldNumbers::Place(SFFieldNode const* iNode)
{
  if (2 * _size >= _entries.size())
    Grow();
  Entry& entry = _entries[SlotOf(iNode)];
  if (entry.node == nullptr) {
    entry.node = iNode;
    ++_size;
  }
  return entry.number;
}

void SFFieldNumbers::Grow()
{
  std::vector<Entry> const old = std::exchange(_entries, std::vector<Entry>(4 * _entries.size()));
  for (Entry const& entry : old)
    if (entry.node != nullptr)
      _entries[SlotOf(entry.node)] = entry;
}

SFFieldOrder::SFFieldOrder(std::span<SFField const> iRoots)
{
  for (SFField const& root : iRoots)
    Add(root);
}

void SFFieldOrder::Add(SFField const& iRoot)
{
  struct Frame
  {
    SFFieldNode const* node;
    int next = 0; ///< the operand to enter
  };
  std::vector<Frame> frames;
  auto const enter = [&](SFFieldNode const* iNode) {
    if (_numbers.Find(iNode) == SFFieldNumbers::None)
      frames.push_back({iNode});
  };
  enter(iRoot.GetNode().Get());
  while (!frames.empty()) {
    Frame& frame = frames.back();
    SFFieldNode const* const operand =
        frame.next < SFFieldNode::MaxOperands ? frame.node->GetOperand(frame.next).Get() : nullptr;
    if (operand != nullptr) {
      ++frame.next;
      enter(operand);
      continue;
    }
    std::uint32_t& number = _numbers.Place(frame.node);
    if (number == SFFieldNumbers::None) {
      if (_nodes.size() == SFField::MaxNodes)
        throw std::length_error("a field of more than " + std::to_string(SFField::MaxNodes) + " nodes");
      number = static_cast<std::uint32_t>(_nodes.size());
      _nodes.push_back(frame.node);
    }
    frames.pop_back();
  }
}

std::vector<std::uint32_t> EqualParts(SFFieldOrder const& iOrder)
{
  auto const& nodes = iOrder.Nodes();
  std::size_t slots = 64;
  while (slots < 2 * nodes.size())
    slots *= 2;
  std::vector<std::uint32_t> table(slots, SFFieldNumbers::None);
  std::vector<std::uint32_t> firsts(nodes.size());
  auto const isEqual = [&](SFFieldNode const& iA, SFFieldNode const& iB) {
    if (iA.GetHash() != iB.GetHash() || !iA.HasSamePayload(iB))
      return false;
    for (int i = 0; i < SFFieldNode::MaxOperands; ++i) {
      bool const isMissing = iA.GetOperand(i).Get() == nullptr;
      if (isMissing || iB.GetOperand(i).Get() == nullptr)
        return isMissing && iB.GetOperand(i).Get() == nullptr;
      if (firsts[iOrder.OperandOf(iA, i)] != firsts[iOrder.OperandOf(iB, i)])
        return false;
    }
    return true;
  };
  for (std::uint32_t i = 0; i < nodes.size(); ++i) {
    std::size_t slot = SlotIn(slots, nodes[i]->GetHash());
    while (table[slot] != SFFieldNumbers::None && !isEqual(*nodes[table[slot]], *nodes[i]))
      slot = SlotIn(slots, slot + 1);
    if (table[slot] == SFFieldNumbers::None)
      table[slot] = i;
    firsts[i] = table[slot];
  }
  return firsts;
}

} // namespace SF
