#include "SFLowering.h"

#include "SFConstant.h"
#include "SFFieldWalk.h"
#include "SFOp.h"
#include "SFPlacedResource.h"
#include "SFVariable.h"

#include <map>
#include <stdexcept>
#include <string_view>

namespace SF {
namespace {

using NodePtr = std::shared_ptr<SFDagNode>;

class Lowering
{
public:
  explicit Lowering(SFFieldOrder const& iOrder) : _order(iOrder), _firsts(EqualParts(iOrder)), _nodes(iOrder.Size())
  {
    for (std::uint32_t i = 0; i < _nodes.size(); ++i)
      _nodes[i] = _firsts[i] == i ? NewNode(*_order.Nodes()[i]) : _nodes[_firsts[i]];
  }

  NodePtr const& Of(SFField const& iField) const { return _nodes[_order.NumberOf(iField)]; }

private:
  NodePtr Operand(SFFieldNode const& iNode, int iNumber) const
  {
    return iNode.GetOperand(iNumber).Get() == nullptr ? nullptr : _nodes[_order.OperandOf(iNode, iNumber)];
  }

  NodePtr NewNode(SFFieldNode const& iNode)
  {
    using enum SFNodeType;
    switch (iNode.GetType()) {
    case CONSTANT:
      return std::make_shared<SFConstant>(iNode.GetValue());
    case PARAMETER:
      RequireOneValue(iNode);
      return std::make_shared<SFVariable>(iNode.GetDetail()->name, iNode.GetValue());
    case RESOLVEDREF:
    case POLYGRADIENT:
      return PlacedResource(iNode);
    default:
      return std::make_shared<SFOp>(iNode.GetType(), Operand(iNode, 0), Operand(iNode, 1));
    }
  }

  void RequireOneValue(SFFieldNode const& iNode)
  {
    std::string const& name = iNode.GetDetail()->name;
    auto const [at, isNew] = _parameters.emplace(name, iNode.GetValue());
    if (!isNew && at->second != iNode.GetValue())
      throw std::invalid_argument("parameter '" + name + "': has two values in one field");
  }

  SFFieldOrder const& _order;
  std::vector<std::uint32_t> _firsts;
  std::vector<NodePtr> _nodes;
  std::map<std::string_view, double> _parameters;
};

} // namespace

std::vector<NodePtr> Lowered(std::span<SFField const> iFields)
{
  SFFieldOrder const order(iFields);
  Lowering const lowering(order);
  std::vector<NodePtr> graphs;
  graphs.reserve(iFields.size());
  for (SFField const& field : iFields)
    graphs.push_back(lowering.Of(field));
  return graphs;
}

} // namespace SF
