#include "SFSubstitution.h"

#include "SFFieldWalk.h"

#include <utility>
#include <vector>

namespace SF {

std::optional<SFSubstitution::StatedFacts> SFSubstitution::MapFacts(StatedFacts const&) const { return std::nullopt; }

SFFieldNodePtr SFSubstitution::Rewritten(SFFieldNode const& iNode, SFFieldNode::Operands iOperands) const
{
  SFFieldNodePtr made = MakeLike(iNode, std::move(iOperands));
  if (iNode.GetFacts() == nullptr || made->GetType() != iNode.GetType())
    return made;
  auto stated = MapFacts({*iNode.GetFacts(), iNode.GetDetail()->recipe});
  return stated ? WithFacts(SFField(std::move(made)), stated->facts, std::move(stated->recipe)).GetNode() : made;
}

SFField SFSubstitution::operator()(SFField const& iField) const
{
  SFFieldOrder const order(iField);
  std::vector<SFFieldNodePtr> made(order.Size());
  for (std::size_t i = 0; i < order.Size(); ++i) {
    SFFieldNode const& node = *order.Nodes()[i];
    int const count = node.GetOperandCount();
    if (count == 0) {
      made[i] = Leaf(node);
    } else {
      SFFieldNode::Operands operands;
      bool isChanged = false;
      for (int k = 0; k < count; ++k) {
        auto const number = order.OperandOf(i, k);
        operands[static_cast<std::size_t>(k)] = made[number];
        isChanged = isChanged || made[number].Get() != order.Nodes()[number];
      }
      if (isChanged)
        made[i] = Rewritten(node, std::move(operands));
    }
    if (made[i].Get() == nullptr)
      made[i] = node.Share();
  }
  return SFField(made.back());
}

SFFieldNodePtr SFRemapping::Leaf(SFFieldNode const& iLeaf) const
{
  int const axis = static_cast<int>(iLeaf.GetType()) - static_cast<int>(SFNodeType::X);
  return axis >= 0 && axis < 3 ? _coordinates[static_cast<std::size_t>(axis)].GetNode() : SFFieldNodePtr();
}

} // namespace SF
