#include "SFDagCloner.h"

#include "graph/SFDagTraversal.h"
#include "graph/SFNodeClasses.h"

#include <type_traits>
#include <typeinfo>
#include <vector>

namespace SF {
namespace {

using NodePtr = std::shared_ptr<SFDagNode>;

// ---- one node -------------------------------------------------------------------------------------------------
// The parameters of each class; type, rank and operands are set for all of them alike.

template <class Class>
NodePtr CopyOf(Class const& iNode)
{
  if constexpr (requires { iNode.Copy(); })
    return iNode.Copy();
  else if constexpr (std::is_same_v<Class, SFOp>)
    return std::make_shared<SFOp>(iNode.GetTypeTag());
  else
    return std::make_shared<Class>(iNode);
}

/// A copy of a node of one of the library's classes, and not of one derived from it; null otherwise.
NodePtr CopyWithoutOperands(SFDagNode const& iNode)
{
  NodePtr copy;
  ForEachClass(SFNodeClasses(), [&]<class Class>() {
    if (typeid(iNode) == typeid(Class))
      copy = CopyOf(static_cast<Class const&>(iNode));
    return copy != nullptr;
  });
  return copy;
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
