#pragma once

#include "SFDagNode.h"

namespace SF {

/// A node whose value is defined by another graph that it builds itself the first time it is made ready. A later
/// GetReady with another context, or a changed parameter, keeps the graph already built; after a failure the
/// next GetReady tries again.
///
/// Threads: GetReady stores the derived graph without a lock and must have ended before the node is evaluated
/// from several threads.
class SF_EXPORT SFDagFunctor : public SFDagNode
{
public:
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

  /// The part of GetReady that comes after the operands.
  HRESULT BuildOnce(SFSWContext const& iContext) const;
  static void ReportOperandsNotReady(HRESULT iCode);

protected:
  SFDagFunctor(SFDagFunctor const&) = default;
  void SetDerivedDag(std::shared_ptr<SFDagNode> iDerivedDag) { _derivedDag = std::move(iDerivedDag); }

private:
  mutable std::shared_ptr<SFDagNode> _derivedDag;
};

} // namespace SF
