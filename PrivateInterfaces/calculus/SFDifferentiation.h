#pragma once

#include "SFDagNode.h"
#include "calculus/SFCalculusRules.h"
#include "graph/SFNodeIndex.h"

#include <array>
#include <cstddef>
#include <memory>
#include <vector>

namespace SF {

/// Builds one derivative, from its root down: every new node is in its place before the derivatives below it are
/// built, so what is still to do is a list and not a recursion. See SFDagDifferentialOperator for the result.
class SFDifferentiation
{
public:
  using NodePtr = std::shared_ptr<SFDagNode>;

  /// After more than `iMaxSeparate` derivatives of nodes, a node of the field gets one derivative for each variable,
  /// however many paths reach it.
  explicit SFDifferentiation(std::size_t iMaxSeparate) : _maxSeparate(iMaxSeparate) {}
  /// As above for a field, whose nodes get one derivative for each variable from the start. Only those whose
  /// derivatives write lines stay separate, so that each path has its lines. `iField` lists its nodes and those of the
  /// derived graphs in it, operands first.
  SFDifferentiation(std::size_t iMaxSeparate, std::vector<SFDagNode const*> const& iField);

  NodePtr Differentiate(NodePtr const& iNode, SFNodeType iVariable);
  /// By the rule of an operator, whatever the type of the node, of which only the operands are read.
  NodePtr DifferentiateAs(SFNodeType iOperator, SFDagNode const& iNode, SFNodeType iVariable);

private:
  /// The edge that a derivative will hang from: an operand of a new node or, without a parent, the root.
  struct Destination
  {
    SFDagNode* parent = nullptr;
    SFOperand operand = SFOperand::ELhs;
  };
  /// A derivative to be built.
  struct Task
  {
    NodePtr source;
    SFNodeType variable;
    Destination destination;
    NodePtr owner; ///< the node of the field that the derivative is of; `source` may be a rewriting of it
  };
  /// Derivatives with respect to one variable, by node of the field.
  struct Built
  {
    SFNodeIndex index;
    std::vector<NodePtr> owners; ///< keeps the addresses in the index from being used again
    std::vector<NodePtr> derivatives;
  };
  class Growth;

  NodePtr Run();
  bool Build(Task const& iTask);
  bool BuildTransform(Task const& iTask);
  void BuildChainRule(Task const& iTask, NodePtr ioTransform, std::array<NodePtr, 3> const& iFactors);
  void Attach(Destination const& iDestination, NodePtr iNode);
  NodePtr const& At(Destination const& iDestination) const;
  void Enqueue(NodePtr iSource, SFNodeType iVariable, Destination const& iDestination);

  bool Shares(Task const& iTask);
  Built& BuiltFor(SFNodeType iVariable);
  bool Reuse(Task const& iTask);
  void Remember(Task const& iTask);

  std::size_t _maxSeparate;
  std::size_t _separate = 0;           ///< derivatives built for one path each
  SFNodeIndex _field;                  ///< the nodes of the field, where they are known
  std::vector<bool> _emitsDiagnostics; ///< by index: whether its derivative writes lines
  NodePtr _root;
  std::vector<Task> _tasks; ///< the next one last
  std::array<Built, 4> _built;
};

} // namespace SF
