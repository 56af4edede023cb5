#include "SFDagNode.h"

#include "SFCylindricalTransform.h"
#include "SFDagFunctor.h"
#include "graph/SFDagTraversal.h"
#include "tape/SFLargePages.h"

#include <algorithm>
#include <array>
#include <functional>
#include <unordered_set>

namespace SF {
namespace {

std::string const emptyExpressionId;

/// References that dying nodes of this thread have handed over, the next one to let go on top. Null while no
/// node of this thread is being destroyed.
thread_local std::vector<std::shared_ptr<SFDagNode>>* pendingReleases = nullptr;

} // namespace

void SFDagNode::Release(std::shared_ptr<SFDagNode>&& ioNode) noexcept
{
  if (ioNode == nullptr)
    return;
  if (pendingReleases != nullptr) {
    try {
      pendingReleases->push_back(std::move(ioNode));
    } catch (...) {
      ioNode.reset(); // no memory for the list: this one goes the recursive way
    }
    return;
  }
  std::vector<std::shared_ptr<SFDagNode>> pending;
  pendingReleases = &pending;
  ioNode.reset();
  while (!pending.empty()) {
    // Moved out first: the destructor that this may run pushes onto the list.
    std::shared_ptr<SFDagNode> const next = std::move(pending.back());
    pending.pop_back();
  }
  pendingReleases = nullptr;
}

SFDagNode::~SFDagNode()
{
  m_Rank = -1;
  m_Type = SFNodeType::UNDEFINED;
  if (pendingReleases != nullptr) {
    // The list is a stack: what is let go first goes onto it last.
    Release(std::move(m_Rhs));
    Release(std::move(m_Lhs));
  } else {
    Release(std::move(m_Lhs));
    Release(std::move(m_Rhs));
  }
}

std::string const& SFDagNode::GetExpressionId() const { return emptyExpressionId; }
HRESULT SFDagNode::GetConstant(double&) const { return E_NOTIMPL; }
HRESULT SFDagNode::SetConstant(double const&) const { return E_NOTIMPL; }
bool SFDagNode::HasExecutionInfo() { return false; }
SFExecutionInfo* SFDagNode::GetExecutionInfo(_GUID) { return nullptr; }

SFDagNode& SFDagNode::operator=(SFDagNode const& iOther)
{
  // The old operands are let go last: the other node may be one of them, or below one.
  auto lhs = iOther.m_Lhs;
  auto rhs = iOther.m_Rhs;
  lhs.swap(m_Lhs);
  rhs.swap(m_Rhs);
  m_Rank = iOther.m_Rank;
  m_Type = iOther.m_Type;
  double value = 0.0;
  if (Succeeded(iOther.GetConstant(value)))
    SetConstant(value);
  return *this;
}

// ---- equality and hash ----------------------------------------------------------------------------------------

namespace {

enum class LocalEquality
{
  Unequal,
  Equal,
  AsOperands
};

bool IsIdentifiedByText(SFNodeType iType)
{
  return iType == SFNodeType::POLY || iType == SFNodeType::UNRESOLVEDREF || iType == SFNodeType::RESOLVEDREF ||
         iType == SFNodeType::PARAMETER;
}

bool SameConstant(SFDagNode const& iA, SFDagNode const& iB)
{
  double a = 0.0;
  double b = 0.0;
  return iA.GetConstant(a) == S_OK && iB.GetConstant(b) == S_OK && a == b;
}

/// Equality of two nodes as far as it can be decided without their operands.
LocalEquality CompareLocally(SFDagNode const& iA, SFDagNode const& iB)
{
  auto const verdict = [](bool iEqual) { return iEqual ? LocalEquality::Equal : LocalEquality::Unequal; };
  SFNodeType const type = iA.GetTypeTag();
  if (iA.GetRank() != iB.GetRank() || type != iB.GetTypeTag())
    return LocalEquality::Unequal;
  if (type == SFNodeType::CONSTANT || type == SFNodeType::OFFSET)
    return verdict(SameConstant(iA, iB));
  bool const sameShape =
      (iA.GetLhs() == nullptr) == (iB.GetLhs() == nullptr) && (iA.GetRhs() == nullptr) == (iB.GetRhs() == nullptr);
  if (!sameShape)
    return LocalEquality::Unequal;
  if (iA.GetLhs() != nullptr || iA.GetRhs() != nullptr)
    return LocalEquality::AsOperands;
  return verdict(!IsIdentifiedByText(type) || iA.GetExpressionId() == iB.GetExpressionId());
}

using NodePair = std::pair<SFDagNode const*, SFDagNode const*>;

struct NodePairHash
{
  std::size_t operator()(NodePair const& iPair) const
  {
    std::hash<SFDagNode const*> const hash;
    return hash(iPair.first) * 31 + hash(iPair.second);
  }
};

} // namespace

bool SFDagNode::operator==(SFDagNode const& iOther) const
{
  // All pairs of corresponding nodes must be equal, so a pair that has been compared need not be again; without
  // that, shared operands would be compared once a path.
  std::vector<NodePair> open{{this, &iOther}};
  std::unordered_set<NodePair, NodePairHash> compared;
  auto const push = [&](SFDagNode const* iA, SFDagNode const* iB) {
    if (iA != nullptr && compared.insert({iA, iB}).second)
      open.emplace_back(iA, iB);
  };
  while (!open.empty()) {
    auto const [a, b] = open.back();
    open.pop_back();
    if (a != this && ClassOf(*a) == SFNodeClass::Foreign) {
      if (!(*a == *b))
        return false;
      continue;
    }
    LocalEquality const verdict = CompareLocally(*a, *b);
    if (verdict == LocalEquality::Unequal)
      return false;
    if (verdict == LocalEquality::AsOperands) {
      push(a->GetRhs().get(), b->GetRhs().get());
      push(a->GetLhs().get(), b->GetLhs().get());
    }
  }
  return true;
}

std::size_t SFDagNode::RawPtrHashFct::operator()(SFDagNode const* iNode) const
{
  auto const head = static_cast<std::int32_t>(iNode->m_Type) ^ iNode->m_Rank;
  auto hash = static_cast<std::size_t>(static_cast<std::int64_t>(head));
  hash ^= reinterpret_cast<std::uintptr_t>(iNode->m_Lhs.get());
  hash ^= reinterpret_cast<std::uintptr_t>(iNode->m_Rhs.get());

  std::hash<double> const hashDouble;
  switch (iNode->m_Type) {
  case SFNodeType::CONSTANT:
  case SFNodeType::OFFSET: {
    double value = 0.0;
    iNode->GetConstant(value);
    return hash ^ hashDouble(value);
  }
  case SFNodeType::POLY:
  case SFNodeType::UNRESOLVEDREF:
  case SFNodeType::RESOLVEDREF:
    return hash ^ std::hash<std::string>{}(iNode->GetExpressionId());
  case SFNodeType::CYLINDRICALTRANSFORM:
    if (auto const* const cylinder = dynamic_cast<SFCylindricalTransform const*>(iNode))
      for (double const parameter : cylinder->GetParameters())
        hash ^= hashDouble(parameter);
    return hash;
  default:
    return hash;
  }
}

// ---- caches ---------------------------------------------------------------------------------------------------

void SFDagNode::ReserveEvaluationContexts(SFEvaluationContext const& iContext) const
{
  if (iContext.GetIndex() < 0)
    return;
  std::size_t const needed = static_cast<std::size_t>(iContext.GetIndex()) + 1;
  if (m_ContextInfos.Size() < needed)
    m_ContextInfos.Resize(needed);
}

namespace {

/// Base of the actions that cannot fail.
struct CacheAction
{
  static constexpr bool EntersForeign = false;
  HRESULT ChildFailed(SFDagNode const&, int, HRESULT iCode) { return iCode; }
};

/// Calls one of two functions, with itself, for every node, once, each after those below it; foreign nodes are not
/// entered.
template <class OnNode, class OnForeign>
class VisitOnce : CacheAction
{
public:
  VisitOnce(SFDagNode const& iRoot, OnNode iOnNode, OnForeign iOnForeign)
    : _onNode(iOnNode), _onForeign(iOnForeign), _walk(*this, SFReach::OperandsAndDerived)
  {
    _walk.Run(iRoot);
  }

  using CacheAction::ChildFailed;
  using CacheAction::EntersForeign;
  HRESULT Visit(SFDagNode const& iNode)
  {
    _onNode(iNode, *this);
    return S_OK;
  }
  HRESULT VisitForeign(SFDagNode const& iNode)
  {
    _onForeign(iNode, *this);
    return S_OK;
  }

  /// The number of a node that has been met.
  std::uint32_t NumberOf(SFDagNode const& iNode) const { return _walk.NumberOf(iNode); }

private:
  OnNode _onNode;
  OnForeign _onForeign;
  SFOncePerNode<VisitOnce> _walk;
};

/// A node of a post-order, and the nodes that its paths lead on to, by the numbers of one visit to all.
struct Listed
{
  SFDagNode const* node;
  std::uint32_t number;
  std::array<std::uint32_t, 3> below{SFNodeIndex::Absent, SFNodeIndex::Absent, SFNodeIndex::Absent};
};

using PostOrderList = std::vector<Listed, SFLargePages<Listed>>;
using Counts = std::vector<std::uint32_t, SFLargePages<std::uint32_t>>;

template <class Visits>
Listed ListNode(SFDagNode const& iNode, Visits const& iVisits)
{
  Listed listed{&iNode, iVisits.NumberOf(iNode)};
  for (int i = 0; i < 3; ++i)
    if (SFDagNode const* const below = ChildOf(iNode, i, SFReach::OperandsAndDerived))
      listed.below[static_cast<std::size_t>(i)] = iVisits.NumberOf(*below);
  return listed;
}

/// How many slots a new context takes on each node of a post-order, the root last: one for each path that leads
/// there, or one a node where there are too many paths.
Counts CountSlots(PostOrderList const& iPostOrder)
{
  constexpr std::uint32_t limit = SFDagNode::MaxSlotsPerContext;
  Counts slots(iPostOrder.size(), 1);
  if (slots.size() > limit)
    return slots;
  Counts paths(iPostOrder.size(), 0);
  paths[iPostOrder.back().number] = 1;
  std::size_t total = 0;
  for (std::size_t i = slots.size(); i-- > 0 && total <= limit;) {
    slots[i] = paths[iPostOrder[i].number];
    total += slots[i];
    for (std::uint32_t const below : iPostOrder[i].below)
      if (below != SFNodeIndex::Absent)
        paths[below] = std::min(limit + 1, paths[below] + slots[i]);
  }
  if (total > limit)
    slots.assign(slots.size(), 1);
  return slots;
}

} // namespace

void SFDagNode::ResetEvaluationCache() const
{
  VisitOnce(
      *this, [](SFDagNode const& iNode, auto const&) { iNode.m_ContextInfos.Clear(); },
      [](SFDagNode const& iNode, auto const&) { iNode.ResetEvaluationCache(); });
}

void SFDagNode::Reset(SFEvaluationContext const& iContext) const
{
  auto const index = static_cast<std::size_t>(iContext.GetIndex());
  VisitOnce(
      *this,
      [index](SFDagNode const& iNode, auto const&) {
        if (index < iNode.m_ContextInfos.Size())
          iNode.m_ContextInfos[index] = {DBL_MAX, ECacheReset};
      },
      [&iContext](SFDagNode const& iNode, auto const&) { iNode.Reset(iContext); });
}

SFEvaluationContext SFDagNode::GetNewEvaluationContext() const
{
  PostOrderList nodes;
  VisitOnce(
      *this, [&](SFDagNode const& iNode, auto const& iVisits) { nodes.push_back(ListNode(iNode, iVisits)); },
      // Foreign nodes lead nowhere: they look after what is below them.
      [&](SFDagNode const& iNode, auto const& iVisits) {
        nodes.push_back({&iNode, iVisits.NumberOf(iNode)});
      });
  auto const slots = CountSlots(nodes);
  for (std::size_t i = 0; i < nodes.size(); ++i) {
    SFDagNode const& node = *nodes[i].node;
    if (&node != this && ClassOf(node) == SFNodeClass::Foreign)
      for (std::uint32_t slot = 0; slot < slots[i]; ++slot)
        node.GetNewEvaluationContext();
    else
      node.m_ContextInfos.Resize(node.m_ContextInfos.Size() + slots[i]);
  }
  return SFEvaluationContext(static_cast<int>(m_ContextInfos.Size()) - 1);
}

SFEvaluationContext SFDagNode::RenewEvaluationContext() const
{
  bool hasForeign = ClassOf(*this) == SFNodeClass::Foreign;
  if (!hasForeign) {
    PostOrderList nodes;
    std::size_t leastPaths = 1; // to the root; each reference to a node is on one of its own
    auto const renew = [&](SFDagNode const& iNode, auto const& iVisits) {
      iNode.m_ContextInfos.Clear();
      iNode.m_ContextInfos.Resize(1);
      if (leastPaths > MaxSlotsPerContext) // one slot a node is all
        return;
      auto const& below = nodes.emplace_back(ListNode(iNode, iVisits)).below;
      leastPaths +=
          below.size() - static_cast<std::size_t>(std::count(below.begin(), below.end(), SFNodeIndex::Absent));
    };
    VisitOnce(*this, renew, [&hasForeign](SFDagNode const&, auto const&) { hasForeign = true; });
    if (!hasForeign && leastPaths <= MaxSlotsPerContext) {
      auto const slots = CountSlots(nodes);
      for (std::size_t i = 0; i < nodes.size(); ++i)
        if (slots[i] > 1)
          nodes[i].node->m_ContextInfos.Resize(slots[i]);
    }
  }
  if (!hasForeign)
    return SFEvaluationContext(static_cast<int>(m_ContextInfos.Size()) - 1);
  ResetEvaluationCache();
  return GetNewEvaluationContext();
}

// ---- readiness ------------------------------------------------------------------------------------------------

namespace {

struct Readier
{
  static constexpr bool EntersForeign = false;

  static SFDagFunctor const* FunctorOf(SFDagNode const& iNode)
  {
    return ClassOf(iNode) == SFNodeClass::Plain ? nullptr : NodeAs<SFDagFunctor>(iNode);
  }

  HRESULT Visit(SFDagNode const& iNode)
  {
    if (iNode.GetLhs() == nullptr && iNode.GetRhs() == nullptr)
      last = S_OK;
    if (auto const* const functor = FunctorOf(iNode))
      last = functor->BuildOnce(context);
    return Failed(last) ? last : S_OK;
  }
  HRESULT VisitForeign(SFDagNode const& iNode)
  {
    last = iNode.GetReady(context);
    return Failed(last) ? last : S_OK;
  }
  HRESULT ChildFailed(SFDagNode const& iNode, int iChild, HRESULT iCode)
  {
    Detail::ReportOperandNotReady(iChild == 0 ? SFOperand::ELhs : SFOperand::ERhs, iCode);
    if (FunctorOf(iNode) != nullptr)
      SFDagFunctor::ReportOperandsNotReady(iCode);
    return iCode;
  }

  SFSWContext const& context;
  HRESULT last = S_OK;
};

} // namespace

HRESULT SFDagNode::GetReady(SFSWContext const& iContext) const
{
  Readier readier{iContext};
  HRESULT const hr = SFOncePerNode<Readier>(readier, SFReach::Operands).Run(*this);
  return Failed(hr) ? hr : readier.last;
}

} // namespace SF
