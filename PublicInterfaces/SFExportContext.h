#pragma once

#include "SFEvaluationContext.h"

namespace SF {

/// The evaluation context that a writer passes down, with one flag that only the drawing writer reads.
class SF_EXPORT SFExportContext : public SFEvaluationContext
{
public:
  /// A slot, and no flag.
  explicit SFExportContext(int iIndex) : SFEvaluationContext(iIndex) {}
  /// The slot of another context, with a flag.
  SFExportContext(SFEvaluationContext const& iContext, bool iExportFlag)
    : SFEvaluationContext(iContext), _exportFlag(iExportFlag)
  {
  }
  SFExportContext(SFExportContext const&) = default;
  SFExportContext& operator=(SFExportContext const&) = default;
  ~SFExportContext() override;

  /// What SFDagToGraphViz::Export took.
  bool GetExportFlag() const { return _exportFlag; }

private:
  bool _exportFlag = false;
};

} // namespace SF
