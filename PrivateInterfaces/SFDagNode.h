#pragma once

#include "SFDiagnostics.h"
#include "SFEvaluationContext.h"
#include "SFExecutionInfo.h"
#include "SFExport.h"
#include "SFSWContext.h"
#include "SFSlotList.h"
#include "SFTypes.h"

#include <cfloat>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace SF {

/// Base of every node of a scalar field. Nodes are owned through shared pointers and own their operands, so that
/// a field is a directed acyclic graph.
///
/// A host assembles a graph from the classes derived from this one: it makes the leaves first (SFOp, SFConstant,
/// SFVariable, resources), hands them to the nodes above them, through a constructor or SetLhs and SetRhs, and keeps
/// the root. A node may be the operand of several others, and is then evaluated once; a graph must not lead back to
/// where it came from. Operands that are missing, or too many for the type, show as failures of the operation that
/// needs them.
///
/// Depth: none of the operations below recurses on the machine stack over the library's own node classes, and
/// each visits a shared node once unless it says otherwise. A node class of the host that overrides an operation
/// is called through it.
///
/// Threads: the caches are written by const operations without a lock. Threads may evaluate one graph at once
/// when each has a context index of its own and all slots are reserved before they start; see
/// ReserveEvaluationContexts.
class SF_EXPORT SFDagNode
{
public:
  /// States of a cache slot.
  enum CacheState : std::int32_t
  {
    ECacheFresh = 1, ///< reserved, nothing computed
    ECacheDone = 2,  ///< value valid, or node visited, for this context
    ECacheReset = 3  ///< cleared by Reset
  };

  /// One cache slot.
  struct ContextInfos
  {
    double value = DBL_MAX;           ///< what was computed, once the state is ECacheDone
    std::int32_t state = ECacheFresh; ///< a CacheState
  };

  /// Rank -1, no operands, no slots. A class that a host derives gives the type whose rules apply to it.
  explicit SFDagNode(SFNodeType iType) : m_Type(iType) {}

  /// Stamps the node rank -1 and type UNDEFINED, then releases the operands, left before right. A graph of any
  /// depth is dismantled in this order without recursion.
  virtual ~SFDagNode();

  /// The text that identifies a resource or names a parameter; empty for every other node.
  virtual std::string const& GetExpressionId() const;
  /// The value of a constant-like leaf; E_NOTIMPL, `oValue` untouched, for every other node.
  virtual HRESULT GetConstant(double& oValue) const;
  /// E_NOTIMPL. The nodes whose value can change have a non-const SetConstant of their own.
  virtual HRESULT SetConstant(double const& iValue) const;

  /// Structural equality: rank and type; the value of CONSTANT and OFFSET nodes (NaN equals nothing; the operand
  /// of an OFFSET is not compared); the operands of other nodes, left before right; the expression ids of
  /// resource and parameter leaves. The parameters of transforms and blends are not part of it.
  virtual bool operator==(SFDagNode const& iOther) const;
  /// Copies rank, operands (shared) and type, and offers the other node's constant to SetConstant. The slots
  /// are not copied.
  virtual SFDagNode& operator=(SFDagNode const& iOther);

  /// Drops all slots of every node below and of this one.
  virtual void ResetEvaluationCache() const;
  /// Readies the operands, left before right; functor nodes build their derived graph here. Returns the first
  /// negative code, after a line for each node above the failing one, or the last code obtained.
  virtual HRESULT GetReady(SFSWContext const& iContext) const;
  /// Opens one more slot on this node, and on every node below as many as paths lead to it; returns the context
  /// whose index is that of this node's new slot. A graph with more than `MaxSlotsPerContext` paths gets one
  /// slot a node instead, as ReserveEvaluationContexts closes the gaps.
  virtual SFEvaluationContext GetNewEvaluationContext() const;
  /// ResetEvaluationCache, then GetNewEvaluationContext, in fewer visits to each node.
  SFEvaluationContext RenewEvaluationContext() const;
  /// Marks the slot of `iContext` as to be computed, on every node below and on this one. Slots that do not
  /// exist are not made.
  virtual void Reset(SFEvaluationContext const& iContext) const;

  /// Whether the host has attached records to the node. False here.
  virtual bool HasExecutionInfo();
  /// The record of an id, owned by whoever attached it; null here.
  virtual SFExecutionInfo* GetExecutionInfo(_GUID iId);

  SFNodeType GetTypeTag() const { return m_Type; }                   ///< the kind
  std::shared_ptr<SFDagNode> const& GetLhs() const { return m_Lhs; } ///< the left operand, shared; may be null
  std::shared_ptr<SFDagNode> const& GetRhs() const { return m_Rhs; } ///< the right operand, shared; may be null
  /// The builder's rank of the node; -1 for a node made by other means.
  int GetRank() const { return m_Rank; }

  // None of these while another thread uses the node. The node's caches stay.
  void SetRank(int iRank) { m_Rank = iRank; }                               ///< enters equality and hash
  void SetTypeTag(SFNodeType iType) { m_Type = iType; }                     ///< any kind
  void SetLhs(std::shared_ptr<SFDagNode> iLhs) { m_Lhs = std::move(iLhs); } ///< shared; may be null
  void SetRhs(std::shared_ptr<SFDagNode> iRhs) { m_Rhs = std::move(iRhs); } ///< shared; may be null

  /// Makes slots until the one of `iContext` exists. Only this node.
  void ReserveEvaluationContexts(SFEvaluationContext const& iContext) const;
  /// Slots of this node.
  std::size_t GetContextCount() const { return m_ContextInfos.Size(); }
  /// The slot of an index, which must exist.
  ContextInfos& GetContextInfos(int iIndex) const { return m_ContextInfos[static_cast<std::size_t>(iIndex)]; }

  /// Paths of a graph that GetNewEvaluationContext opens slots for.
  static constexpr std::size_t MaxSlotsPerContext = std::size_t{1} << 22;

  /// Type XOR rank, the addresses of the operands and, where a kind has one, its payload: the constant, the
  /// expression id, the seven cylinder parameters, the offset distance. Operands enter by address, so equal
  /// nodes hash alike only when equal operands are one node. Not noexcept: unordered containers then keep the
  /// codes and compare them before they ask for equality.
  struct SF_EXPORT RawPtrHashFct
  {
    std::size_t operator()(SFDagNode const* iNode) const; ///< of a node that is not null
  };
  /// The same for shared pointers.
  struct PtrHashFct
  {
    /// Of a pointer that is not null.
    std::size_t operator()(std::shared_ptr<SFDagNode> const& iNode) const { return RawPtrHashFct{}(iNode.get()); }
  };
  /// Equality of the nodes that two shared pointers point to.
  struct PtrEqualFct
  {
    /// Structural; neither is null.
    bool operator()(std::shared_ptr<SFDagNode> const& iA, std::shared_ptr<SFDagNode> const& iB) const
    {
      return *iA == *iB;
    }
  };

protected:
  /// Copies rank, type and operands (shared); the slots start empty.
  SFDagNode(SFDagNode const& iOther)
    : m_Rank(iOther.m_Rank), m_Type(iOther.m_Type), m_Lhs(iOther.m_Lhs), m_Rhs(iOther.m_Rhs)
  {
  }

  /// Gives up a reference to a node; if it was the last, the graph below is dismantled without recursion.
  static void Release(std::shared_ptr<SFDagNode>&& ioNode) noexcept;

private:
  friend class SFNodeMarks;

  std::int32_t m_Rank = -1;
  SFNodeType m_Type;
  mutable std::uint64_t m_Mark = 0; ///< of SFNodeMarks; no part of what the node is, and never copied
  std::shared_ptr<SFDagNode> m_Lhs;
  std::shared_ptr<SFDagNode> m_Rhs;
  mutable SFSlotList<ContextInfos> m_ContextInfos;
};

namespace Detail {
/// The report of GetReady for an operand that failed. The two branches differ in their line numbers, by which a reader
/// of the lines tells the operands apart.
inline void ReportOperandNotReady(SFOperand iOperand, HRESULT iCode)
{
  constexpr char const* header = "PrivateInterfaces/SFDagNode.h";
  if (iOperand == SFOperand::ELhs)
    Diagnostics::FailedCall("GetReady", iCode, SFSourceLocation::In(header));
  else
    Diagnostics::FailedCall("GetReady", iCode, SFSourceLocation::In(header));
}
} // namespace Detail

} // namespace SF
