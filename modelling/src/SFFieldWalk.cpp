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

std::uint32_t SFFieldOrder::Append(SFFieldNode const* iNode, Operands const& iOperands)
{
  std::uint32_t& number = _numbers.Place(iNode);
  if (number != SFFieldNumbers::None)
    return number;
  if (_nodes.size() == SFField::MaxNodes)
    throw std::length_error("a field of more than " + std::to_string(SFField::MaxNodes) + " nodes");
  number = static_cast<std::uint32_t>(_nodes.size());
  _nodes.push_back(iNode);
  _operands.push_back(iOperands);
  return number;
}

void SFFieldOrder::Add(SFField const& iRoot)
{
  struct Frame
  {
    SFFieldNode const* node;
    int next = 0; ///< the operand to enter
    Operands operands{SFFieldNumbers::None, SFFieldNumbers::None, SFFieldNumbers::None};
  };
  std::vector<Frame> frames;
  if (NumberOf(iRoot) == SFFieldNumbers::None)
    frames.push_back({iRoot.GetNode().Get()});
  while (!frames.empty()) {
    Frame& frame = frames.back();
    auto const at = static_cast<std::size_t>(frame.next);
    SFFieldNode const* const operand =
        frame.next < SFFieldNode::MaxOperands ? frame.node->GetOperand(frame.next).Get() : nullptr;
    if (operand == nullptr) {
      std::uint32_t const number = Append(frame.node, frame.operands);
      frames.pop_back();
      if (!frames.empty())
        frames.back().operands[static_cast<std::size_t>(frames.back().next++)] = number;
      continue;
    }
    // What has one owner is reached once.
    std::uint32_t const number = operand->HasOneOwner() ? SFFieldNumbers::None : NumberOf(operand);
    if (number == SFFieldNumbers::None) {
      frames.push_back({operand});
    } else {
      frame.operands[at] = number;
      ++frame.next;
    }
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
  auto const firstOf = [&](std::uint32_t iOperand) {
    return iOperand == SFFieldNumbers::None ? iOperand : firsts[iOperand];
  };
  auto const isEqual = [&](std::uint32_t iA, std::uint32_t iB) {
    if (nodes[iA]->GetHash() != nodes[iB]->GetHash() || !nodes[iA]->HasSamePayload(*nodes[iB]))
      return false;
    for (int i = 0; i < SFFieldNode::MaxOperands; ++i)
      if (firstOf(iOrder.OperandOf(iA, i)) != firstOf(iOrder.OperandOf(iB, i)))
        return false;
    return true;
  };
  for (std::uint32_t i = 0; i < nodes.size(); ++i) {
    std::size_t slot = SlotIn(slots, nodes[i]->GetHash());
    while (table[slot] != SFFieldNumbers::None && !isEqual(table[slot], i))
      slot = SlotIn(slots, slot + 1);
    if (table[slot] == SFFieldNumbers::None)
      table[slot] = i;
    firsts[i] = table[slot];
  }
  return firsts;
}

} // namespace SF
