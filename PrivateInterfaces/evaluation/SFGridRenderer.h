#pragma once

#include "SFDagNode.h"
#include "SFSWContext.h"
#include "ZULTolerance.h"
#include "tape/SFGrid.h"
#include "tape/SFTapeSweep.h"

#include <functional>
#include <memory>
#include <vector>

namespace SF {

/// One rendering of one field. The three operations are those of SFDagEvaluator, which documents them.
class SFGridRenderer
{
public:
  /// Roots of this rank and above are rendered node by node.
  static constexpr int UnrollingRank = 4999;

  SFGridRenderer(SFSWContext const& iContext, SFDagNode const& iRoot, ZULTolerance const& iTolerance)
    : _context(iContext), _root(iRoot), _tolerance(iTolerance)
  {
  }

  HRESULT RenderClamped(SFGrid const& iGrid, std::vector<float>& ioValues);
  HRESULT RenderUnrolled(SFGrid const& iGrid, std::vector<float>& ioValues);
  HRESULT RenderWithNormals(SFGrid const& iGrid, std::vector<float>& ioValues, std::vector<float>& ioNormals,
                            std::vector<std::shared_ptr<SFDagNode>> const& iGradientNodes);

private:
  /// Renders the slices [iBegin, iEnd) with the contexts of task `iTask`.
  using Slab = std::function<HRESULT(unsigned int iBegin, unsigned int iEnd, unsigned int iTask)>;

  /// The node lists that are evaluated at each point, one a result.
  using Lists = std::vector<std::vector<SFDagNode const*>>;

  HRESULT Prepare(SFGrid const& iGrid, std::vector<float> const& iValues, void (*iReportNotReady)(HRESULT));
  /// The field on a tape, ready to run over the grid; null when it has to be evaluated node by node.
  static std::unique_ptr<SFTapeInvariants> Compile(SFGrid const& iGrid, Lists const& iLists, double iVoxelSize,
                                                   unsigned int iWorkers);
  static HRESULT RunSlabs(SFGrid const& iGrid, unsigned int iWorkers, Slab const& iSlab);
  static HRESULT RunCompiled(SFTapeInvariants const& iTape, unsigned int iWorkers, SFTapeSweep::Output const& iOutput);

  SFSWContext const& _context;
  SFDagNode const& _root;
  ZULTolerance const& _tolerance;
};

} // namespace SF
