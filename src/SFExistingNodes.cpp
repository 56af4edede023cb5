#include "SFExistingNodes.h"

#include "SFOperatorTable.h"

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

std::size_t TableHash(SFDagNode const& iNode)
{
  std::size_t hash = Mix(SFDagNode::RawPtrHashFct{}(&iNode), 0x9E3779B97F4A7C15ULL);
  hash = Mix(hash, reinterpret_cast<std::uintptr_t>(iNode.GetLhs().get()));
  if (iNode.GetTypeTag() == SFNodeType::PARAMETER) // its name is not part of the node's own hash
    hash = Mix(hash, std::hash<std::string>{}(iNode.GetExpressionId()));
  return hash;
}

bool AreSame(SFDagNode const& iA, SFDagNode const& iB)
{
  if (iA.GetTypeTag() != iB.GetTypeTag() || iA.GetRank() != iB.GetRank())
    return false;
  if (OperatorRow(iA.GetTypeTag()).arity == 0)
    return iA == iB;
  // With the same operands only the payload of the hash is left to tell two nodes apart.
  return iA.GetLhs() == iB.GetLhs() && iA.GetRhs() == iB.GetRhs() &&
         SFDagNode::RawPtrHashFct{}(&iA) == SFDagNode::RawPtrHashFct{}(&iB);
}

} // namespace

std::size_t SFExistingNodes::Locate(SFDagNode const& iNode, std::size_t iHash) const
{
  std::size_t const mask = _entries.size() - 1;
  std::size_t i = iHash & mask;
  while (_entries[i].node != nullptr && !(_entries[i].hash == iHash && AreSame(iNode, *_entries[i].node)))
    i = (i + 1) & mask;
  return i;
}

void SFExistingNodes::Grow()
{
  std::vector<Entry> old(_entries.empty() ? 64 : 2 * _entries.size());
  old.swap(_entries);
  std::size_t const mask = _entries.size() - 1;
  for (Entry& entry : old)
    if (entry.node != nullptr) {
      std::size_t i = entry.hash & mask;
      while (_entries[i].node != nullptr)
        i = (i + 1) & mask;
      _entries[i] = std::move(entry);
    }
}

HRESULT SFExistingNodes::DeDuplicate(std::shared_ptr<SFDagNode>& ioNode)
{
  if (2 * (_count + 1) > _entries.size())
    Grow();
  std::size_t const hash = TableHash(*ioNode);
  Entry& entry = _entries[Locate(*ioNode, hash)];
  if (entry.node == nullptr) {
    entry = {hash, ioNode};
    ++_count;
  } else
    ioNode = entry.node;
  return S_OK;
}

} // namespace SF
