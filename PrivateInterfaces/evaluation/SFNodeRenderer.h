#pragma once

#include "SFDagNode.h"
#include "graph/SFSlotReset.h"
#include "tape/SFGrid.h"

#include <vector>

namespace SF {

/// Renders slabs of a grid by evaluating the graph node by node at each point: the definition that compiled
/// fields are held to, and the way for the graphs that cannot be compiled, whose failures it reports.
///
/// Constructing one opens the slots of all tasks; slabs of different tasks may then run at once.
class SFNodeRenderer
{
public:
  /// `iRoots` are the graphs evaluated at each point: the field, or the field and its three derivatives.
  SFNodeRenderer(SFGrid const& iGrid, std::vector<SFDagNode const*> iRoots, unsigned int iTasks);

  /// Each renders the slices [iBegin, iEnd) with the contexts of task `iTask`.
  HRESULT Clamped(unsigned int iBegin, unsigned int iEnd, unsigned int iTask, std::vector<float>& ioValues) const;
  HRESULT Unrolled(unsigned int iBegin, unsigned int iEnd, unsigned int iTask, std::vector<float>& ioValues) const;
  HRESULT WithNormals(unsigned int iBegin, unsigned int iEnd, unsigned int iTask, std::vector<float>& ioValues,
                      std::vector<float>& ioNormals) const;

  /// The order in which the unrolled renderer evaluates nodes. The list of nodes from the root, left before
  /// right, one entry a path, is evaluated from its end; all but the last entry of a node find it done, which
  /// leaves each node once, operands first, right before left.
  static std::vector<SFDagNode const*> UnrolledOrder(SFDagNode const& iRoot);

private:
  SFEvaluationContext GridContext(int iIndex) const;

  SFGrid const& _grid;
  std::vector<SFDagNode const*> _roots;
  std::vector<SFSlotReset> _resets; ///< by root
};

} // namespace SF
