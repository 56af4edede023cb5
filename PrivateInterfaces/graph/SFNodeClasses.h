#pragma once

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

#include <concepts>

namespace SF {

template <class... Classes>
struct SFClassList
{
};

/// The node classes of the library, each once; a class that is missing here is a host's class to every walk. What is
/// done for each of them goes through the list: see ForEachClass.
using SFNodeClasses = SFClassList<SFOp, SFConstant, SFVariable, SFBlendNode, SFAffineTransform, SFCylindricalTransform,
                                  SFGCGuidedTransform, SFDiscreteTransformNode, SFDagOffset, ResourceToSF,
                                  ResourceGradientToSF, ExplicitToSF, TetMeshToSF>;

/// Calls `iVisit.operator()<Class>()` for each class until it says true. False when it never does.
template <class Visit, class... Classes>
bool ForEachClass(SFClassList<Classes...>, Visit const& iVisit)
{
  return (iVisit.template operator()<Classes>() || ...);
}

/// A class of one kind whose payload is a fixed number of numbers, in the order of text.
template <class Class>
concept SFHasParameters = requires(Class const& iNode)
{
  {
    Class::Kind
    } -> std::convertible_to<SFNodeType>;
  {
    iNode.GetParameters().size()
    } -> std::convertible_to<std::size_t>;
};

/// Calls `iVisit(node)` with a node as its class when it has parameters. False for any other node, and for one that only
/// claims to be of its kind.
template <class Visit>
bool VisitParameters(SFDagNode const& iNode, Visit const& iVisit)
{
  return ForEachClass(SFNodeClasses(), [&]<class Class>() {
    if constexpr (SFHasParameters<Class>)
      if (iNode.GetTypeTag() == Class::Kind)
        if (auto const* const node = dynamic_cast<Class const*>(&iNode)) {
          iVisit(*node);
          return true;
        }
    return false;
  });
}

} // namespace SF
