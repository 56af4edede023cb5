#include "SFGCGuidedTransform.h"

namespace SF {

SFGCGuidedTransform::SFGCGuidedTransform() : SFTransform(SFNodeType::GCGUIDEDTRANSFORM) {}

SFGCGuidedTransform::~SFGCGuidedTransform()
{
  // In order, which the vector's own destructor does not promise.
  for (auto& crossSection : _crossSections)
    for (Wire& wire : crossSection)
      wire.reset();
}

} // namespace SF
