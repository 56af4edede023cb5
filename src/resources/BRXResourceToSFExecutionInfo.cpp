#include "BRXResourceToSFExecutionInfo.h"

namespace SF {

BRXResourceToSFExecutionInfo::~BRXResourceToSFExecutionInfo() = default;
void BRXResourceToSFExecutionInfo::SetBRXObject(ZULIBRXObject* iObject) { _object = iObject; }
ZULIBRXObject* BRXResourceToSFExecutionInfo::GetBRXObject() { return _object; }

} // namespace SF
