#pragma once

#include "SFCompiledFieldOptions.h"
#include "graph/SFDagTraversal.h"
#include "tape/SFTapeBuilder.h"

#include <array>
#include <optional>
#include <span>
#include <vector>

namespace SF {

/// Turns ready graphs into a tape: instructions in the order in which the recursion of the evaluator first
/// reaches each node. A node keeps the value of its first visit, inside or outside a transform, as its slot
/// does; the tape therefore gives the values of the recursion, bit for bit.
///
/// A graph that the evaluator would fail on cannot be compiled. Nothing is reported: the recursion is the one to
/// say what is wrong.
class SFTapeCompiler : private SFTapeBuilder
{
public:
  /// `iFinite`: the coordinates are finite, below `LargestCoordinate` in magnitude. The terms of a mapping with
  /// a coefficient of zero are then left out where that cannot change a bit.
  explicit SFTapeCompiler(bool iFinite) : _finite(iFinite) {}
  /// `iBounds`: what is stated of nodes; they become bounds of values.
  SFTapeCompiler(bool iFinite, std::span<SFLipschitzBound const> iBounds);

  static constexpr double LargestCoordinate = 1e100;

  /// Adds one result: the value of `iRoot`. False when the graph cannot be compiled.
  bool AddRoot(SFDagNode const& iRoot, SFTapeLimit iLimit);
  /// Adds one result: the value of the last node, each node in turn being evaluated at the grid point itself.
  bool AddList(std::vector<SFDagNode const*> const& iNodes, SFTapeLimit iLimit);

  /// The tape, without instructions that no result needs. The compiler is spent.
  using SFTapeBuilder::Finish;

  struct Frame
  {
    explicit Frame(SFDagNode const& iNode) : node(&iNode) {}
    SFDagNode const* node;
    std::uint32_t number = 0; ///< of the node among those met
    int operandsEntered = 0;
    SFValueId lhs = 0;
  };
  HRESULT Step(Frame& ioFrame, SFDagNode const*& oNext);
  HRESULT Unwind(Frame&, HRESULT iCode) { return iCode; }

private:
  struct Position
  {
    std::array<SFValueId, 3> values{};
    bool finite = false;  ///< surely finite, and small enough that products with coefficients are too
    double stretch = 1.0; ///< distances grow by no more on the way from the grid; infinity when nothing is known
  };

  HRESULT Begin(Frame& ioFrame, SFDagNode const*& oNext);
  bool EnterTransform(SFDagNode const& iNode);
  HRESULT EnterOperand(Frame& ioFrame, SFDagNode const*& oNext);
  HRESULT EndVisit(Frame const& iFrame, SFValueId iValue);
  HRESULT Leave(Frame const& iFrame);
  bool StartRoot(SFTapeLimit iLimit);

  SFValueId MappedCoordinate(double const* iRow, Position const& iFrom);

  bool _finite;
  SFTapeLimit _limit = EFieldLimit;
  std::vector<Position> _positions;
  SFNodeIndex _boundNodes;
  std::vector<double> _bounds; ///< by number in `_boundNodes`
  SFNodeIndex _nodes;
  std::vector<SFValueId> _nodeValues; ///< by node number; Unknown before the node's visit has ended
  SFValueId _last = 0;                ///< the value of the node whose visit ended last
  SFDagWalk<Frame> _walk;
};

} // namespace SF
