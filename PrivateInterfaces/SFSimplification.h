#pragma once

#include "SFCalculusRules.h"
#include "SFDagNode.h"
#include "SFNodeIndex.h"

#include <array>
#include <cstddef>
#include <memory>
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
class SFSimplification
{
public:
  using NodePtr = std::shared_ptr<SFDagNode>;

  static constexpr std::size_t MaxRepeatedLines = 10000;

  /// Without `iRecall` every path is visited, which is the definition and costs as many visits as there are paths.
  explicit SFSimplification(double iTolerance, bool iRecall = true) : _tolerance(iTolerance), _recall(iRecall) {}

  /// What a visit gives.
  struct Result
  {
    NodePtr replacement; ///< null when the node is kept
    unsigned int kind = 0;
    bool isNew = false;  ///< the replacement was made for this visit; every visit makes its own
    bool settled = true; ///< another visit would do the same
  };
  Result Run(NodePtr const& iRoot);

private:
  struct Frame
  {
    SFDagNode* node;
    SFRewriting rewriting;
    unsigned int entered = 0;
    bool settled = true;
    std::array<Result, 2> operands{};
  };

  bool Enter(NodePtr const& iNode, Result& oResult);
  bool Recall(SFDagNode const& iNode, Result& oResult);
  void Remember(SFDagNode const& iNode, Result const& iResult);

  Result Decide(Frame& ioFrame);
  Result DecideUnary(Frame& ioFrame);
  Result DecideBinary(Frame& ioFrame);
  void Store(Frame& ioFrame, SFOperand iOperand);
  Result Fold(Frame& ioFrame, NodePtr const& iLhs, NodePtr const& iRhs);
  static Result MakeConstant(double iValue, unsigned int iKind);
  bool RepeatsLine() { return ++_lines <= MaxRepeatedLines; }

  double _tolerance;
  bool _recall;
  std::size_t _lines = 0;
  std::vector<Frame> _frames;
  std::vector<NodePtr> _replaced; ///< keeps the addresses in the index from being used again
  SFNodeIndex _settledNodes;
  std::vector<Result> _settledResults;
};

} // namespace SF
