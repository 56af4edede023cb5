#include "graph/SFDagTraversal.h"

#include "graph/SFNodeClasses.h"

#include <array>
#include <type_traits>
#include <typeinfo>

namespace SF {

namespace {

struct NodeClassEntry
{
  std::type_info const* type;
  SFNodeClass nodeClass;
};

template <class... Classes>
constexpr auto EntriesOf(SFClassList<Classes...>)
{
  constexpr auto classOf = []<class Class>() {
    return std::is_base_of_v<SFDagFunctor, Class> ? SFNodeClass::Functor : SFNodeClass::Plain;
  };
  return std::array{NodeClassEntry{&typeid(Classes), classOf.template operator()<Classes>()}...};
}

constexpr auto Entries = EntriesOf(SFNodeClasses());

} // namespace

SFNodeClass ClassOf(SFDagNode const& iNode)
{
  auto const& type = typeid(iNode);
  // By address first: types that differ are compared by their names, and a walk asks for every node.
  for (auto const& [known, nodeClass] : Entries)
    if (known == &type)
      return nodeClass;
  for (auto const& [known, nodeClass] : Entries)
    if (*known == type)
      return nodeClass;
  return SFNodeClass::Foreign;
}

SFDagNode const* DerivedDagOf(SFDagNode const& iNode)
{
  switch (ClassOf(iNode)) {
  case SFNodeClass::Plain:
    return nullptr;
  case SFNodeClass::Functor:
    return static_cast<SFDagFunctor const&>(iNode).GetDerivedDag().get();
  case SFNodeClass::Foreign:
    break;
  }
  auto const* const functor = dynamic_cast<SFDagFunctor const*>(&iNode);
  return functor != nullptr ? functor->GetDerivedDag().get() : nullptr;
}

SFDagNode const* ChildOf(SFDagNode const& iNode, int iIndex, SFReach iReach)
{
  if (iIndex > 1)
    return iReach == SFReach::OperandsAndDerived ? DerivedDagOf(iNode) : nullptr;
  bool const left = (iIndex == 0) == (iReach != SFReach::OperandsRightFirst);
  return (left ? iNode.GetLhs() : iNode.GetRhs()).get();
}

namespace {

struct Lister
{
  static constexpr bool EntersForeign = true;

  HRESULT Visit(SFDagNode const& iNode)
  {
    nodes.push_back(&iNode);
    return S_OK;
  }
  HRESULT ChildFailed(SFDagNode const&, int, HRESULT iCode) { return iCode; }

  std::vector<SFDagNode const*> nodes;
};

} // namespace

std::vector<SFDagNode const*> PostOrder(std::vector<SFDagNode const*> const& iRoots, SFReach iReach)
{
  Lister lister;
  SFOncePerNode<Lister> walk(lister, iReach);
  for (SFDagNode const* const root : iRoots)
    walk.Run(*root);
  return std::move(lister.nodes);
}

std::vector<SFDagNode const*> PostOrder(SFDagNode const& iRoot, SFReach iReach)
{
  return PostOrder(std::vector<SFDagNode const*>{&iRoot}, iReach);
}

} // namespace SF
