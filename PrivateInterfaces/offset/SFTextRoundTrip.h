#pragma once

#include "SFDagNode.h"
#include "graph/SFNodeMarks.h"
#include "text/SFHashConsing.h"

#include <cstdint>
#include <memory>
#include <unordered_map>
#include <vector>

namespace SF {

/// The graph that writing a graph as expression text and reading it back without a resolver gives, found without the
/// text: a text repeats a shared node for every path to it, and paths can be beyond any count. Here each node costs
/// constant time.
///
/// Numbers are rounded to the digits of text, equal parts merge as they do while a text is read (SFHashConsing), and
/// the nodes get the ranks and the classes that reading gives. The result shares no node with the graph.
class SFTextRoundTrip
{
public:
  using NodePtr = std::shared_ptr<SFDagNode>;

  /// The graph lives as long as the pass and does not change.
  explicit SFTextRoundTrip(SFDagNode const& iRoot);

  /// Whether text can represent every node. Not representable: a resource of the host or its gradient, a number
  /// that is not finite, an OFFSET node that is two-sided or has a tolerance of its own, a cylinder with a reference
  /// direction of its own, an id or a name with a character that ends it early.
  bool IsRepresentable() const;

  /// The graph as it is read back; once, for a graph that is representable and can be written (see CheckExport). Null
  /// when it would be another one, as reading merges nodes that differ: parameters of one name, affine transforms and
  /// blends over one operand. The sign of a zero does not count.
  NodePtr Read();

private:
  /// A node as it is read back, from the moment when its parent is complete the only one of its structure.
  struct Entry
  {
    NodePtr node;
    SFHashConsing::Operands operands;
    SFHashConsing::Number number = SFHashConsing::None; ///< among the canonical nodes, from that moment on
  };

  double AsText(double iNumber);
  NodePtr ReadNode(SFDagNode const& iNode);
  NodePtr ReadTransform(SFDagNode const& iNode);
  Entry const& ReadOperand(NodePtr const& iWritten);

  std::vector<SFDagNode const*> _nodes; ///< operands first, in the order in which a text completes them
  SFNodeMarks _index;
  std::vector<Entry> _entries; ///< by index
  SFHashConsing _canonicalNodes;
  std::unordered_map<std::uint64_t, double> _asText; ///< by the bits of the number
  bool _hasMergedOthers = false;
};

/// Writes the lines and returns the code of SFDagToExpression::Export for a graph, at the cost of one visit to each
/// node. Only the limit on the length of a text is left out. Defined beside it.
HRESULT CheckExport(SFSWContext const& iContext, SFDagNode const& iRoot);

} // namespace SF
