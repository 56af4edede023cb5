#include "graph/SFDagTraversal.h"

#include "ExplicitToSF.h"
#include "ResourceGradientToSF.h"
#include "SFAffineTransform.h"
#include "SFBlendNode.h"
#include "SFConstant.h"
#include "SFCylindricalTransform.h"
#include "SFDagOffset.h"
#include "SFDiscreteTransformNode.h"
#include "SFGCGuidedTransform.h"
#include "SFOp.h"
#include "SFVariable.h"
#include "TetMeshToSF.h"

#include <algorithm>
#include <iterator>
#include <typeinfo>

namespace SF {

namespace {

std::type_info const* const PlainTypes[] = {
    &typeid(SFOp),
    &typeid(SFConstant),
    &typeid(SFVariable),
    &typeid(SFAffineTransform),
    &typeid(SFCylindricalTransform),
    &typeid(SFBlendNode),
    &typeid(SFGCGuidedTransform),
    &typeid(SFDiscreteTransformNode),
    &typeid(ResourceToSF),
    &typeid(ResourceGradientToSF),
    &typeid(ExplicitToSF),
    &typeid(TetMeshToSF),
};

} // namespace

SFNodeClass ClassOf(SFDagNode const& iNode)
{
  auto const& type = typeid(iNode);
  // By address first: types that differ are compared by their names, and a walk asks for every node.
  for (auto const* const plain : PlainTypes)
    if (plain == &type)
      return SFNodeClass::Plain;
  if (type == typeid(SFDagOffset))
    return SFNodeClass::Functor;
  bool const isPlain = std::any_of(std::begin(PlainTypes), std::end(PlainTypes),
                                   [&](std::type_info const* iPlain) { return *iPlain == type; });
  return isPlain ? SFNodeClass::Plain : SFNodeClass::Foreign;
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
