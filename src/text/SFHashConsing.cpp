#include "text/SFHashConsing.h"

#include "SFConstant.h"
#include "SFOp.h"
#include "SFOperatorTable.h"
#include "text/SFNodePayload.h"

#include <algorithm>
#include <bit>
#include <functional>

namespace SF {
namespace {

std::size_t Mix(std::size_t iHash, std::size_t iValue)
{
  // The finalizer of MurmurHash3 (Austin Appleby, 2011) over the combined words.
  auto h = static_cast<std::uint64_t>(iHash ^ iValue);
  h = (h ^ (h >> 33)) * 0xff51afd7ed558ccdULL;
  h = (h ^ (h >> 33)) * 0xc4ceb9fe1a85ec53ULL;
  return static_cast<std::size_t>(h ^ (h >> 33));
}

} // namespace

// ---- nodes that their keys do not tell from others --------------------------------------------------------------

std::uint32_t SFHashConsing::HashOf(SFDagNode const& iNode) const
{
  std::size_t hash = Mix(SFDagNode::RawPtrHashFct{}(&iNode), 0x9E3779B97F4A7C15ULL);
  hash = Mix(hash, reinterpret_cast<std::uintptr_t>(iNode.GetLhs().get()));
  if (_equality == SFNodeEquality::EExact)
    hash = Mix(hash, std::hash<std::string>{}(PayloadOf(iNode)));
  else if (iNode.GetTypeTag() == SFNodeType::PARAMETER) // its name is not part of the node's own hash
    hash = Mix(hash, std::hash<std::string>{}(iNode.GetExpressionId()));
  return static_cast<std::uint32_t>(hash);
}

bool SFHashConsing::AreSame(SFDagNode const& iA, SFDagNode const& iB) const
{
  if (iA.GetTypeTag() != iB.GetTypeTag() || iA.GetRank() != iB.GetRank())
    return false;
  if (_equality == SFNodeEquality::EExact && PayloadOf(iA) != PayloadOf(iB))
    return false;
  if (OperatorRow(iA.GetTypeTag()).arity == 0)
    return iA == iB;
  // With the same operands only the payload of the hash is left to tell two nodes apart.
  return iA.GetLhs() == iB.GetLhs() && iA.GetRhs() == iB.GetRhs() &&
         SFDagNode::RawPtrHashFct{}(&iA) == SFDagNode::RawPtrHashFct{}(&iB);
}

// ---- keys -----------------------------------------------------------------------------------------------------

SFHashConsing::Key SFHashConsing::KeyOf(SFNodeType iType, int iRank, std::uint64_t iDetail)
{
  std::uint64_t const kind = static_cast<std::uint64_t>(iType) << 32 | static_cast<std::uint32_t>(iRank);
  return {iDetail, kind, static_cast<std::uint32_t>(Mix(Mix(kind, 0x9E3779B97F4A7C15ULL), iDetail))};
}

SFHashConsing::Key SFHashConsing::KeyOf(SFNodeType iType, int iRank, Operands iOperands)
{
  return KeyOf(iType, iRank, iOperands.Both());
}

// ---- memory asked for ahead ---------------------------------------------------------------------------------------

std::uint32_t SFHashConsing::HashOfConstant(double iConstant, int iRank)
{
  return KeyOf(SFNodeType::CONSTANT, iRank, std::bit_cast<std::uint64_t>(iConstant)).hash;
}

void SFHashConsing::ExpectConstant(std::uint32_t iHash) const
{
  if (!_table.empty())
    Prefetch(&_table[iHash & (_table.size() - 1)]);
}

SFHashConsing::Number SFHashConsing::ExpectUsersOfConstant(std::uint32_t iHash) const
{
  constexpr std::size_t most = 8; // entries of a line
  for (std::size_t i = 0; i < most && !_table.empty(); ++i) {
    Entry const& entry = _table[(iHash + i) & (_table.size() - 1)];
    if (entry.number == None)
      return None;
    if (entry.hash == iHash) {
      ExpectUsers(entry.number);
      return entry.number;
    }
  }
  return None;
}

SFHashConsing::Number SFHashConsing::ExpectUsersOfOperator(Number iNewer, Operands iOperands, SFNodeType iType,
                                                           int iRank) const
{
  std::uint32_t const hash = KeyOf(iType, iRank, iOperands).hash;
  for (Entry const& user : CanonicalAt(iNewer).users)
    if (user.number != None && user.hash == hash) {
      ExpectUsers(user.number);
      return user.number;
    }
  return None;
}

void SFHashConsing::ExpectUserOf(Operands iOperands, SFNodeType iType, int iRank) const
{
  ExpectConstant(KeyOf(iType, iRank, iOperands).hash);
}

void SFHashConsing::ExpectNode(Number iNumber) const
{
  Prefetch(reinterpret_cast<char const*>(At(iNumber).get()) - sizeof(void*)); // its counts, right before it
}

// ---- places ---------------------------------------------------------------------------------------------------

/// The entry of the node that is the same, or the free one where it belongs.
template <class IsSame>
SFHashConsing::Entry& SFHashConsing::FindOrReserve(Operands iOperands, std::uint32_t iHash, IsSame iIsSame)
{
  auto const isIn = [&](Entry const& iEntry) {
    return iEntry.number == None || (iEntry.hash == iHash && iIsSame(CanonicalAt(iEntry.number)));
  };
  if (iOperands.Lhs() != None)
    for (Entry& user : CanonicalAt(NewestOf(iOperands)).users)
      if (isIn(user))
        return user;
  if (2 * (_inTable + 1) > _table.size())
    Grow();
  std::size_t const mask = _table.size() - 1;
  std::size_t i = iHash & mask;
  while (!isIn(_table[i]))
    i = (i + 1) & mask;
  _inTable += _table[i].number == None ? 1 : 0;
  return _table[i];
}

void SFHashConsing::Grow()
{
  Table old(_table.empty() ? 64 : 2 * _table.size());
  old.swap(_table);
  std::size_t const mask = _table.size() - 1;
  for (Entry const& entry : old)
    if (entry.number != None) {
      std::size_t i = entry.hash & mask;
      while (_table[i].number != None)
        i = (i + 1) & mask;
      _table[i] = entry;
    }
}

template <class Make>
SFHashConsing::Number SFHashConsing::FindOrMake(Operands iOperands, Key const& iKey, Make iMake)
{
  Entry& place =
      FindOrReserve(iOperands, iKey.hash, [&](Canonical const& iCanonical) { return iCanonical.key == iKey; });
  if (place.number == None)
    place = {iKey.hash, Insert(iMake(), iKey)};
  return place.number;
}

SFHashConsing::Number SFHashConsing::Insert(NodePtr&& ioNode, Key const& iKey)
{
  Location const location = LocationOf(_count);
  auto& block = _canonical[location.block];
  if (block.empty())
    block.reserve(FirstBlock << location.block);
  block.emplace_back(std::move(ioNode), iKey);
  return _count++;
}

// ---- nodes ----------------------------------------------------------------------------------------------------

SFHashConsing::Number SFHashConsing::OperatorOver(Operands iOperands, SFNodeType iType, int iRank)
{
  return FindOrMake(iOperands, KeyOf(iType, iRank, iOperands), [&] {
    auto const operand = [this](Number iNumber) { return iNumber != None ? At(iNumber) : nullptr; };
    auto node = _pool.Make<SFOp>(iType, operand(iOperands.Lhs()), operand(iOperands.Rhs()));
    node->SetRank(iRank);
    return node;
  });
}

SFHashConsing::Number SFHashConsing::ConstantOf(double iValue, int iRank)
{
  return FindOrMake({}, KeyOf(SFNodeType::CONSTANT, iRank, std::bit_cast<std::uint64_t>(iValue)), [&] {
    auto node = _pool.Make<SFConstant>(iValue);
    node->SetRank(iRank);
    return node;
  });
}

SFHashConsing::Number SFHashConsing::DeDuplicate(NodePtr& ioNode, Operands iOperands)
{
  SFNodeType const type = ioNode->GetTypeTag();
  auto const keep = [&] { return ioNode; };
  Number number = None;
  double value = 0.0;
  if (IsOperator(type) || IsCoordinate(type))
    number = FindOrMake(iOperands, KeyOf(type, ioNode->GetRank(), iOperands), keep);
  else if (type == SFNodeType::CONSTANT && Succeeded(ioNode->GetConstant(value)) && IsTellingBits(value))
    number = FindOrMake({}, KeyOf(type, ioNode->GetRank(), std::bit_cast<std::uint64_t>(value)), keep);
  else {
    std::uint32_t const hash = HashOf(*ioNode);
    Entry& place =
        FindOrReserve(iOperands, hash, [&](Canonical const& iCanonical) { return AreSame(*ioNode, *iCanonical.node); });
    if (place.number == None)
      place = {hash, Insert(NodePtr(ioNode), {})};
    number = place.number;
  }
  ioNode = At(number);
  return number;
}

} // namespace SF
