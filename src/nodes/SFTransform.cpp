#include "SFTransform.h"

namespace SF {

SFTransform::SFTransform(SFNodeType iType) : SFDagNode(iType) {}
SFTransform::~SFTransform() = default;

} // namespace SF
