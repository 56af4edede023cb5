#include "SFDagCloner.h"

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
#include "graph/SFDagTraversal.h"

#include <typeinfo>
#include <vector>

namespace SF {
namespace {

using NodePtr = std::shared_ptr<SFDagNode>;

// ---- one node -------------------------------------------------------------------------------------------------
// The parameters of each class; type, rank and operands are set for all of them alike.

NodePtr CopyOf(SFOp const& iNode) { return std::make_shared<SFOp>(iNode.GetTypeTag()); }
NodePtr CopyOf(SFConstant const& iNode) { return std::make_shared<SFConstant>(iNode); }
NodePtr CopyOf(SFVariable const& iNode) { return std::make_shared<SFVariable>(iNode); }
NodePtr CopyOf(SFBlendNode const& iNode) { return std::make_shared<SFBlendNode>(iNode); }
NodePtr CopyOf(SFAffineTransform const& iNode)
{
  return std::make_shared<SFAffineTransform>(iNode.GetTransformation());
}
NodePtr CopyOf(SFCylindricalTransform const& iNode) { return iNode.Copy(); }
NodePtr CopyOf(SFGCGuidedTransform const& iNode) { return std::make_shared<SFGCGuidedTransform>(iNode); }
NodePtr CopyOf(SFDiscreteTransformNode const& iNode) { return std::make_shared<SFDiscreteTransformNode>(iNode); }
NodePtr CopyOf(SFDagOffset const& iNode) { return std::make_shared<SFDagOffset>(iNode); }
NodePtr CopyOf(ResourceToSF const& iNode) { return std::make_shared<ResourceToSF>(iNode); }
NodePtr CopyOf(ResourceGradientToSF const& iNode) { return std::make_shared<ResourceGradientToSF>(iNode); }
NodePtr CopyOf(ExplicitToSF const& iNode) { return std::make_shared<ExplicitToSF>(iNode); }
NodePtr CopyOf(TetMeshToSF const& iNode) { return std::make_shared<TetMeshToSF>(iNode); }

/// A copy of a node that is of one of these classes, and not of one derived from it; null otherwise.
template <class... Classes>
NodePtr CopyAsOneOf(SFDagNode const& iNode)
{
  NodePtr copy;
  auto const tryClass = [&]<class Class>() {
    if (typeid(iNode) == typeid(Class))
      copy = CopyOf(static_cast<Class const&>(iNode));
    return copy != nullptr;
  };
  (tryClass.template operator()<Classes>() || ...);
  return copy;
}

NodePtr CopyWithoutOperands(SFDagNode const& iNode)
{
  return CopyAsOneOf<SFOp, SFConstant, SFVariable, SFBlendNode, SFAffineTransform, SFCylindricalTransform,
                     SFGCGuidedTransform, SFDiscreteTransformNode, SFDagOffset, ResourceToSF, ResourceGradientToSF,
                     ExplicitToSF, TetMeshToSF>(iNode);
}

} // namespace

// ---- graphs ---------------------------------------------------------------------------------------------------

/// Copies nodes from the leaves up, each once.
class SFDagCloner::Copier
{
public:
  static constexpr bool EntersForeign = false;

  HRESULT Visit(SFDagNode const& iNode)
  {
    NodePtr copy = CopyWithoutOperands(iNode);
    if (copy == nullptr)
      return S_OK;
    copy->SetTypeTag(iNode.GetTypeTag());
    copy->SetRank(iNode.GetRank());
    copy->SetLhs(CloneOf(iNode.GetLhs()));
    copy->SetRhs(CloneOf(iNode.GetRhs()));
    if (auto* const functor = dynamic_cast<SFDagFunctor*>(copy.get()))
      functor->SetDerivedDag(CloneOf(functor->GetDerivedDag()));
    _originals.Insert(&iNode);
    _copies.push_back(std::move(copy));
    return S_OK;
  }
  HRESULT VisitForeign(SFDagNode const&) { return S_OK; }
  HRESULT ChildFailed(SFDagNode const&, int, HRESULT iCode) { return iCode; }

  /// The copy of a node; the node itself where it has none.
  NodePtr CloneOf(NodePtr const& iNode) const
  {
    std::uint32_t const number = _originals.Find(iNode.get());
    return number == SFNodeIndex::Absent ? iNode : _copies[number];
  }

private:
  SFNodeIndex _originals;
  std::vector<NodePtr> _copies;
};

std::shared_ptr<SFDagNode> SFDagCloner::Clone(std::shared_ptr<SFDagNode> const& iRoot)
{
  if (iRoot == nullptr)
    return nullptr;
  Copier copier;
  SFOncePerNode<Copier>(copier, SFReach::OperandsAndDerived).Run(*iRoot);
  return copier.CloneOf(iRoot);
}

} // namespace SF
