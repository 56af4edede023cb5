#include "SFDagToGraphViz.h"

#include "SFBlendNode.h"
#include "SFOperatorTable.h"
#include "graph/SFDagTraversal.h"

#include <cstdint>

namespace SF {
namespace {

std::string NameOf(SFDagNode const& iNode) { return std::to_string(reinterpret_cast<std::uintptr_t>(&iNode)); }

/// The kinds that are not drawn at all.
bool IsInvisible(SFNodeType iType) { return OperatorRow(iType).drawing.empty(); }

HRESULT AppendConstant(SFDagNode const& iNode, bool iMayFail, std::string& ioLabel)
{
  double value = 0.0;
  HRESULT const hr = iNode.GetConstant(value);
  if (Failed(hr) && iMayFail)
    return hr;
  std::string number;
  HRESULT const converted = ToSFString(value, number);
  ioLabel += number;
  return converted;
}

/// Appends what a label shows of the node itself, after the part that is the same for all nodes of its kind.
HRESULT AppendPayload(SFDagNode const& iNode, bool iExportFlag, std::string& ioLabel)
{
  switch (iNode.GetTypeTag()) {
  case SFNodeType::CONSTANT:
    return AppendConstant(iNode, true, ioLabel);
  case SFNodeType::PARAMETER:
    return AppendConstant(iNode, false, ioLabel);
  case SFNodeType::OFFSET:
    if (iExportFlag)
      return S_OK;
    ioLabel += ' ';
    return AppendConstant(iNode, true, ioLabel);
  case SFNodeType::POLY:
  case SFNodeType::RESOLVEDREF:
    ioLabel += iNode.GetExpressionId();
    return S_OK;
  case SFNodeType::BLEND:
    if (auto const* const blend = NodeAs<SFBlendNode>(iNode)) {
      std::string number;
      HRESULT const hr = ToSFString(blend->GetBlendParameter(), number);
      ioLabel += number;
      return hr;
    }
    return E_FAIL;
  default:
    return S_OK;
  }
}

/// Everything that follows the name in a node's declaration.
HRESULT LabelOf(SFDagNode const& iNode, bool iExportFlag, std::string& oLabel)
{
  SFOperatorRow const& row = OperatorRow(iNode.GetTypeTag());
  oLabel = row.drawing;
  HRESULT const hr = AppendPayload(iNode, iExportFlag, oLabel);
  oLabel += row.arity == 2 ? "|<f2>\"];\n" : "\"];\n";
  return hr;
}

struct Frame
{
  explicit Frame(SFDagNode const& iNode) : node(&iNode) {}
  SFDagNode const* node;
  int operandsEntered = -1; ///< -1 before the node itself is drawn
};

class Drawer
{
public:
  Drawer(SFExportContext const& iContext, std::string& ioGraph) : _context(iContext), _graph(ioGraph) {}

  HRESULT Step(Frame& ioFrame, SFDagNode const*& oNext)
  {
    SFDagNode const& node = *ioFrame.node;
    if (ioFrame.operandsEntered < 0) {
      HRESULT const hr = Declare(node);
      if (Failed(hr))
        return hr;
    }
    int const arity = IsInvisible(node.GetTypeTag()) ? 0 : OperatorRow(node.GetTypeTag()).arity;
    if (++ioFrame.operandsEntered > 0 && arity == 2)
      ClosePortEdge(node, ioFrame.operandsEntered == 1);
    if (ioFrame.operandsEntered < arity)
      return EnterOperand(node, ioFrame.operandsEntered == 0, oNext);
    StateOf(node) = SFDagNode::ECacheDone;
    return S_OK;
  }

  /// The unary shape swallows a failure below it, but not that there is no room for more.
  HRESULT Unwind(Frame& ioFrame, HRESULT iCode)
  {
    constexpr char const* Unary = "Error in SFDagToExpression::ExportUnaryOpGraph, ";
    constexpr char const* Binary = "Error in SFDagToExpression::ExportBinaryOpGraph, ";
    bool const unary = OperatorRow(ioFrame.node->GetTypeTag()).arity == 1;
    bool const left = ioFrame.operandsEntered == 0;
    Diagnostics::Sentence(std::string(unary ? Unary : Binary)
                              .append("SFDagToExpression::ExportGraph(*")
                              .append(left ? "lhs" : "rhs")
                              .append(", ioAccumulator) failed!"));
    return unary && !_full ? S_OK : iCode;
  }

private:
  std::int32_t& StateOf(SFDagNode const& iNode)
  {
    iNode.ReserveEvaluationContexts(_context);
    return iNode.GetContextInfos(_context.GetIndex()).state;
  }

  /// Completes the edge that leads here, declares the node if it has not been, and opens the edge to its operand.
  HRESULT Declare(SFDagNode const& iNode)
  {
    SFNodeType const type = iNode.GetTypeTag();
    if (type == SFNodeType::RESERVED && _context.GetExportFlag())
      return E_FAIL;
    if (IsInvisible(type))
      return S_OK;
    HRESULT const hr = LabelOf(iNode, _context.GetExportFlag(), _label);
    if (Failed(hr))
      return hr;
    std::string const name = NameOf(iNode);
    _full = _graph.size() + _label.size() + Overhead > SFDagToGraphViz::MaxLength;
    if (_full)
      return E_FAIL;
    _graph.append(name).append(";\n");
    if (StateOf(iNode) != SFDagNode::ECacheDone)
      _graph.append("\t").append(name).append(_label);
    if (OperatorRow(type).arity > 0)
      _graph.append("\t").append(name).append("->");
    return S_OK;
  }

  HRESULT EnterOperand(SFDagNode const& iNode, bool iLeft, SFDagNode const*& oNext)
  {
    oNext = (iLeft ? iNode.GetLhs() : iNode.GetRhs()).get();
    if (oNext != nullptr)
      return S_OK;
    Diagnostics::Sentence(iLeft ? "Error in SFDagToExpression::ExportUnaryOpGraph, lhs is null which is unexpected!"
                                : "Error in SFDagToExpression::ExportUnaryOpGraph, rhs is null which is unexpected!");
    return E_FAIL;
  }

  /// The edge from a port of a binary node to the operand just drawn.
  void ClosePortEdge(SFDagNode const& iNode, bool iLeft)
  {
    _graph.append("\t").append(NameOf(iNode)).append(iLeft ? ":f0->" : ":f2->");
    _graph.append(NameOf(iLeft ? *iNode.GetLhs() : *iNode.GetRhs())).append(":f1;\n");
  }

  /// More than a node writes beside its label: its name and its edges.
  static constexpr std::size_t Overhead = 256;

  SFExportContext const& _context;
  std::string& _graph;
  std::string _label;
  bool _full = false;
};

} // namespace

SFDagToGraphViz::~SFDagToGraphViz() = default;

std::string SFDagToGraphViz::Export(SFExportContext iContext, SFDagNode const& iDagNode, std::string& ioGraph) const
{
  Drawer drawer(iContext, ioGraph);
  return Failed(SFDagWalk<Frame>().Run(drawer, iDagNode)) ? std::string() : NameOf(iDagNode);
}

HRESULT SFDagToGraphViz::Export(SFDagNode const& iDagNode, std::string& oGraph, bool iExportFlag) const
{
  SFExportContext const context(iDagNode.RenewEvaluationContext(), iExportFlag);
  std::string graph = "strict digraph G{\n\tnode [shape= record]\n\tdag->";
  std::string const root = Export(context, iDagNode, graph);
  oGraph = std::move(graph.append("}\n\n"));
  return root.empty() ? E_FAIL : S_OK;
}

} // namespace SF
