#pragma once

#include "SFDagNode.h"
#include "graph/SFNodeMarks.h"
#include "graph/SFPrefetch.h"

#include <vector>

namespace SF {

/// The one walker: runs a depth-first visit as a loop over frames of its own, so that the depth of a graph never
/// becomes depth of the machine stack.
///
/// A `Frame` is constructible from a node. A policy has two operations:
///  - `HRESULT Step(Frame& ioFrame, SFDagNode const*& oNext)` is called again and again for the innermost frame.
///    Setting `oNext` enters that node next; leaving it null ends the frame; a negative code fails the node.
///  - `HRESULT Unwind(Frame& ioFrame, HRESULT iCode)` tells a frame that the node which it entered last has
///    failed. It returns the code that its own node fails with; a code that is not negative swallows the
///    failure, and stepping goes on.
/// Run returns S_OK or the code that the root failed with. The memory of the frames is kept between runs.
template <class Frame>
class SFDagWalk
{
public:
  template <class Policy>
  HRESULT Run(Policy& ioPolicy, SFDagNode const& iRoot)
  {
    _frames.clear();
    _frames.emplace_back(iRoot);
    while (!_frames.empty()) {
      SFDagNode const* next = nullptr;
      HRESULT code = ioPolicy.Step(_frames.back(), next);
      if (Failed(code)) {
        code = UnwindAll(ioPolicy, code);
        if (Failed(code))
          return code;
      } else if (next != nullptr)
        _frames.emplace_back(*next);
      else
        _frames.pop_back();
    }
    return S_OK;
  }

private:
  template <class Policy>
  HRESULT UnwindAll(Policy& ioPolicy, HRESULT iCode)
  {
    HRESULT code = iCode;
    _frames.pop_back();
    while (!_frames.empty()) {
      code = ioPolicy.Unwind(_frames.back(), code);
      if (Succeeded(code))
        break;
      _frames.pop_back();
    }
    return code;
  }

  std::vector<Frame> _frames;
};

/// How the walks over whole graphs treat a node.
enum class SFNodeClass
{
  Plain,   ///< a class of the library that inherits the base operations
  Functor, ///< a class of the library with a derived graph
  Foreign  ///< any other class: it may override operations, which are therefore called
};
SFNodeClass ClassOf(SFDagNode const& iNode);

/// The derived graph of a functor node, null before it is built and for any other node.
SFDagNode const* DerivedDagOf(SFDagNode const& iNode);

/// The children of a node for a walk, and their order.
enum class SFReach
{
  Operands, ///< left, right
  OperandsRightFirst,
  OperandsAndDerived ///< left, right, the derived graph of a functor
};

/// Child `iIndex` of a node, from 0 to 2 in the order of the reach. Null where there is none.
SFDagNode const* ChildOf(SFDagNode const& iNode, int iIndex, SFReach iReach);

/// Asks for the memory of the operands of a node, which a walk needs soon: over a large graph the wait for it is most
/// of what a walk costs. What is below a node was often made right before it, so the memory there is asked for too.
inline void PrefetchOperands(SFDagNode const& iNode)
{
  constexpr int line = 64;
  constexpr int linesBefore = 4;
  for (SFDagNode const* const operand : {iNode.GetRhs().get(), iNode.GetLhs().get()})
    if (operand != nullptr)
      for (int i = -1; i <= linesBefore; ++i)
        Prefetch(reinterpret_cast<char const*>(operand) - i * line);
}

/// The policy of the walks that visit every node once: calls `Action::Visit(node)` after the children of a node.
/// Without `Action::EntersForeign` a foreign node below the root gets `Action::VisitForeign(node)` in place of
/// its children and itself.
template <class Action>
class SFOncePerNode
{
public:
  struct Frame
  {
    explicit Frame(SFDagNode const& iNode) : node(&iNode) {}
    SFDagNode const* node;
    int nextChild = 0;
  };

  SFOncePerNode(Action& ioAction, SFReach iReach) : _action(ioAction), _reach(iReach) {}

  /// The walk from `iRoot`; nothing if an earlier run has visited it.
  HRESULT Run(SFDagNode const& iRoot)
  {
    _root = &iRoot;
    return _met.Insert(&iRoot).second ? _walk.Run(*this, iRoot) : S_OK;
  }

  /// The number of a node that a run has met, in the order in which they were met.
  std::uint32_t NumberOf(SFDagNode const& iNode) const { return _met.Find(&iNode); }

  HRESULT Step(Frame& ioFrame, SFDagNode const*& oNext)
  {
    SFDagNode const& node = *ioFrame.node;
    if (ioFrame.nextChild == 0)
      PrefetchOperands(node);
    if constexpr (!Action::EntersForeign)
      if (ioFrame.nextChild == 0 && &node != _root && ClassOf(node) == SFNodeClass::Foreign)
        return _action.VisitForeign(node);
    while (ioFrame.nextChild < 3) {
      SFDagNode const* const child = ChildOf(node, ioFrame.nextChild++, _reach);
      if (child != nullptr && _met.Insert(child).second) {
        oNext = child;
        return S_OK;
      }
    }
    return _action.Visit(node);
  }

  HRESULT Unwind(Frame& ioFrame, HRESULT iCode)
  {
    return _action.ChildFailed(*ioFrame.node, ioFrame.nextChild - 1, iCode);
  }

private:
  Action& _action;
  SFReach _reach;
  SFDagNode const* _root = nullptr;
  SFNodeMarks _met;
  SFDagWalk<Frame> _walk;
};

/// Every node that `iRoot` reaches, once, each after its children.
std::vector<SFDagNode const*> PostOrder(SFDagNode const& iRoot, SFReach iReach);

/// As PostOrder, for several roots in turn.
std::vector<SFDagNode const*> PostOrder(std::vector<SFDagNode const*> const& iRoots, SFReach iReach);

/// A node as one of its classes; null when it is none of that class, whatever its type tag is.
template <class NodeClass>
NodeClass const* NodeAs(SFDagNode const& iNode)
{
  return dynamic_cast<NodeClass const*>(&iNode);
}

} // namespace SF
