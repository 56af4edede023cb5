#pragma once

#include "SFDagNode.h"

namespace SF {

/// A node whose value is defined by another graph that it builds itself the first time it is made ready. A later
/// GetReady with another context, or a changed parameter, keeps the graph already built until it is discarded; after a
/// failure the next GetReady tries again. A host that derives a class overrides BuildDerivedDAG.
///
/// The derived graph is made ready for the same context before it is kept. It may hold functor nodes itself, which
/// then build theirs, and so on: an offset of an offset holds the inner one once more, and what a chain of n of
/// them builds grows like 2^n. More than `MaxNestedBuilds` builds below one that a host has asked for fail.
///
/// Threads: GetReady stores the derived graph without a lock and must have ended before the node is evaluated
/// from several threads.
class SF_EXPORT SFDagFunctor : public SFDagNode
{
public:
  /// Rank -1, no operands, nothing built.
  explicit SFDagFunctor(SFNodeType iType);
  ~SFDagFunctor() override;

  void ResetEvaluationCache() const override;
  HRESULT GetReady(SFSWContext const& iContext) const override;
  SFEvaluationContext GetNewEvaluationContext() const override;
  void Reset(SFEvaluationContext const& iContext) const override;

  /// Builds the derived graph from the operands. E_NOTIMPL here.
  virtual HRESULT BuildDerivedDAG(SFSWContext const& iContext, std::shared_ptr<SFDagNode>& oDerivedDag) const;

  /// Null before it is built.
  std::shared_ptr<SFDagNode> const& GetDerivedDag() const { return _derivedDag; }
  /// Lets go of the derived graph, which the next GetReady builds again: with the distance, the parameters and the
  /// operands of then. Functors above this node hold what they built from it: they are to be discarded as well.
  /// Contexts opened before have no slots in the new graph; open them after GetReady. Not while another thread uses
  /// the node.
  void Discard();

  /// Builds below one that a host has asked for.
  static constexpr std::size_t MaxNestedBuilds = 1000;

  /// The part of GetReady that comes after the operands.
  HRESULT BuildOnce(SFSWContext const& iContext) const;
  /// Writes the line for operands of which GetReady failed with a code.
  static void ReportOperandsNotReady(HRESULT iCode);

protected:
  SFDagFunctor(SFDagFunctor const&) = default;
  /// Takes a graph that is ready, as if it had been built.
  void SetDerivedDag(std::shared_ptr<SFDagNode> iDerivedDag) { _derivedDag = std::move(iDerivedDag); }

private:
  friend class SFDagCloner;

  HRESULT BuildReady(SFSWContext const& iContext, std::shared_ptr<SFDagNode>& oDerivedDag) const;

  mutable std::shared_ptr<SFDagNode> _derivedDag;
};

} // namespace SF
