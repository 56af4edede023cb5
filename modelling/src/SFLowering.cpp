#include "SFLowering.h"

#include "SFAffineForms.h"
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
      _nodes[i] = _firsts[i] == i ? NewNode(i) : _nodes[_firsts[i]];
  }

  NodePtr const& Of(SFField const& iField) const { return _nodes[_order.NumberOf(iField)]; }

  /// What follows from the operands is found out again by the compiled field.
  std::vector<SFLipschitzBound> StatedBounds() const
  {
    std::vector<SFLipschitzBound> bounds;
    for (std::uint32_t i = 0; i < _nodes.size(); ++i)
      if (SFFieldFacts const* const facts = _order.Nodes()[i]->GetFacts();
          facts != nullptr && facts->lipschitz < Infinity)
        bounds.push_back({_nodes[i].get(), facts->lipschitz * AffineForms::Margin});
    return bounds;
  }

private:
  NodePtr Operand(std::uint32_t iNode, int iNumber) const
  {
    std::uint32_t const operand = _order.OperandOf(iNode, iNumber);
    return operand == SFFieldNumbers::None ? nullptr : _nodes[operand];
  }

  NodePtr NewNode(std::uint32_t iNumber)
  {
    SFFieldNode const& node = *_order.Nodes()[iNumber];
    using enum SFNodeType;
    switch (node.GetType()) {
    case CONSTANT:
      return std::make_shared<SFConstant>(node.GetValue());
    case PARAMETER:
      RequireOneValue(node);
      return std::make_shared<SFVariable>(node.GetDetail()->name, node.GetValue());
    case RESOLVEDREF:
    case POLYGRADIENT:
      return PlacedResource(node);
    default:
      return std::make_shared<SFOp>(node.GetType(), Operand(iNumber, 0), Operand(iNumber, 1));
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

SFLoweredField LoweredWithBounds(SFField const& iField)
{
  SFFieldOrder const order(iField);
  Lowering const lowering(order);
  return {lowering.Of(iField), lowering.StatedBounds()};
}

} // namespace SF
