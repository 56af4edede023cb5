#pragma once

#include "SFFieldNode.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace SF {

/// Numbers for the nodes of a field, by address: a hash table with open addressing.
class SFFieldNumbers
{
public:
  static constexpr std::uint32_t None = UINT32_MAX;

  /// The number of a node, None before it has been given one.
  std::uint32_t Find(SFFieldNode const* iNode) const;
  /// The place of a node's number, which is None when the node is new. Valid until the next call.
  std::uint32_t& Place(SFFieldNode const* iNode);
  std::size_t Size() const { return _size; }

private:
  struct Entry
  {
    SFFieldNode const* node = nullptr;
    std::uint32_t number = None;
  };
  std::size_t SlotOf(SFFieldNode const* iNode) const;
  void Grow();

  std::vector<Entry> _entries = std::vector<Entry>(64);
  std::size_t _size = 0;
};

/// The nodes of some fields, operands first and left before right, each once; a node's number is its position. No
/// recursion on the machine stack. std::length_error beyond SFField::MaxNodes nodes.
class SFFieldOrder
{
public:
  explicit SFFieldOrder(SFField const& iRoot) { Add(iRoot); }
  explicit SFFieldOrder(std::span<SFField const> iRoots);

  std::vector<SFFieldNode const*> const& Nodes() const { return _nodes; }
  std::size_t Size() const { return _nodes.size(); }
  std::uint32_t NumberOf(SFFieldNode const* iNode) const { return _numbers.Find(iNode); }
  std::uint32_t NumberOf(SFField const& iField) const { return NumberOf(iField.GetNode().Get()); }
  /// The number of an operand of the node with a number; None where it has none.
  std::uint32_t OperandOf(std::size_t iNumber, int iOperand) const
  {
    return _operands[iNumber][static_cast<std::size_t>(iOperand)];
  }
  std::uint32_t OperandOf(SFFieldNode const& iNode, int iOperand) const
  {
    return NumberOf(iNode.GetOperand(iOperand).Get());
  }

private:
  using Operands = std::array<std::uint32_t, SFFieldNode::MaxOperands>;

  void Add(SFField const& iRoot);
  std::uint32_t Append(SFFieldNode const* iNode, Operands const& iOperands);

  std::vector<SFFieldNode const*> _nodes;
  std::vector<Operands> _operands;
  SFFieldNumbers _numbers;
};

/// As SFFieldOrder, where equal parts of a field count as one node: `ids[i]` is the first node equal to node i of `order`.
std::vector<std::uint32_t> EqualParts(SFFieldOrder const& iOrder);

} // namespace SF
