#include "SFSWContext.h"

#include "SFContextedObject.h"
#include "SFOperatorTable.h"

namespace SF {

SFSWContext::~SFSWContext() = default;
SFContextedObject::~SFContextedObject() = default;

SFSemanticSupportStatus SFSWContext::IsSemanticSupported(SFNodeType iType) const
{
  bool const supported = IsNodeType(iType) && (OperatorRow(iType).level == SFSemanticLevel::ESemanticLevel1 ||
                                               _level == SFSemanticLevel::ESemanticLevel2);
  return supported ? SFSemanticSupportStatus::ESupported : SFSemanticSupportStatus::ENotSupported;
}

} // namespace SF
