#include "SFDagTraversal.h"

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

#include <typeinfo>

namespace SF {

SFNodeClass ClassOf(SFDagNode const& iNode)
{
  auto const& type = typeid(iNode);
  if (type == typeid(SFOp) || type == typeid(SFConstant) || type == typeid(SFVariable) ||
      type == typeid(SFAffineTransform) || type == typeid(SFCylindricalTransform) || type == typeid(SFBlendNode) ||
      type == typeid(SFGCGuidedTransform) || type == typeid(SFDiscreteTransformNode) || type == typeid(ResourceToSF) ||
      type == typeid(ResourceGradientToSF) || type == typeid(ExplicitToSF) || type == typeid(TetMeshToSF))
    return SFNodeClass::Plain;
  return type == typeid(SFDagOffset) ? SFNodeClass::Functor : SFNodeClass::Foreign;
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
