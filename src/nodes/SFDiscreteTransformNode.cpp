#include "SFDiscreteTransformNode.h"

namespace SF {

SFDiscreteTransformNode::SFDiscreteTransformNode() : SFTransform(SFNodeType::DISCRETETRANFORM) {}

SFDiscreteTransformNode::~SFDiscreteTransformNode()
{
  _first.reset();
  _second.reset();
}

HRESULT SFDiscreteTransformNode::SetResource(Resource iResource)
{
  if (IsComplete()) {
    Diagnostics::Sentence("Attempting to set a tetMesh when src and dst are already valued!");
    return E_FAIL;
  }
  (_first == nullptr ? _first : _second) = std::move(iResource);
  return S_OK;
}

} // namespace SF
