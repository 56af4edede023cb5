#pragma once

#include "SFDagNode.h"
#include "calculus/SFCalculusRules.h"
#include "graph/SFNodeIndex.h"

#include <array>
#include <cstddef>
#include <memory>
#include <utility>
#include <vector>

namespace SF {

/// One simplification pass. See SFDagDifferentialOperator::SimplifyTree for what it does.
///
/// By definition a shared node is visited along every path, each time with the operands that the visit before
/// has left. A visit that changes nothing would be the same again: no node below it can change any more, since
/// only visits change nodes and those below have been visited without effect too. Such a node is settled, and
/// its result is remembered in place of visiting it again. So the outcome is that of the visits along all paths,
/// at the cost of very few visits a node. A visit that writes a line is repeated, and its line with it, as long
/// as no more than `MaxRepeatedLines` have been written.
///
/// A derivative that is shared where the definition has one for each path is simplified as if it were not: the nodes
/// that were made for it (`iMade`) stay as they are until a visit is settled, and a visit that is not leaves a copy.
/// Its result may refer to nodes of other visits, none of which changes any more.
class SFSimplification
{
public:
  using NodePtr = std::shared_ptr<SFDagNode>;

  static constexpr std::size_t MaxRepeatedLines = 10000;

  /// Without `iRecall` every path is visited, which is the definition and costs as many visits as there are paths.
  explicit SFSimplification(double iTolerance, bool iRecall = true) : _tolerance(iTolerance), _recall(iRecall) {}
  /// As above; the nodes in `iMade` are operators and affine transforms that stand for one node a path each.
  SFSimplification(double iTolerance, SFNodeIndex iMade) : _tolerance(iTolerance), _made(std::move(iMade)) {}

  /// The outcome of a visit.
  struct Result
  {
    NodePtr replacement; ///< null when the node is kept
    unsigned int kind = 0;
    bool isNew = false;  ///< the replacement was made for this visit; every visit makes its own
    bool settled = true; ///< another visit would do the same
    NodePtr copy = {};   ///< what a kept node that was made has become on this path; null where it is itself
  };
  Result Run(NodePtr const& iRoot);

private:
  struct Frame
  {
    SFDagNode* node;
    SFRewriting rewriting;
    bool isMade = false;
    unsigned int entered = 0;
    bool settled = true;
    std::array<Result, 2> operands{};
  };
  using Operands = std::array<NodePtr, 2>;

  bool Enter(NodePtr const& iNode, Result& oResult);
  bool Recall(SFDagNode const& iNode, Result& oResult);
  void Remember(SFDagNode const& iNode, Result const& iResult);

  Result Decide(Frame& ioFrame);
  Result DecideUnary(Frame& ioFrame);
  Result DecideBinary(Frame& ioFrame);
  Operands OperandsNow(Frame& ioFrame);
  void Store(SFDagNode& ioNode, Operands const& iOperands);
  Result Keep(Frame& ioFrame, Operands const& iOperands);
  Result Fold(Frame& ioFrame, Operands const& iOperands);
  static Result MakeConstant(double iValue, unsigned int iKind);
  bool RepeatsLine() { return ++_lines <= MaxRepeatedLines; }
  bool IsMade(SFDagNode const& iNode) const { return _made.Find(&iNode) != SFNodeIndex::Absent; }

  double _tolerance;
  bool _recall = true;
  SFNodeIndex _made;
  std::size_t _lines = 0;
  std::vector<Frame> _frames;
  std::vector<NodePtr> _replaced; ///< keeps the addresses in the index from being used again
  SFNodeIndex _settledNodes;
  std::vector<Result> _settledResults;
};

} // namespace SF
