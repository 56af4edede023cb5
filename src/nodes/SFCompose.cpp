#include "SFCompose.h"

namespace SF {

SFCompose::SFCompose(SFNodeType iType) : SFDagNode(iType) {}
SFCompose::~SFCompose() = default;

} // namespace SF
