#include "BRXResourceToSFExecutionInfo.h"

namespace SF {

BRXResourceToSFExecutionInfo::~BRXResourceToSFExecutionInfo()
{
  // Volatile, or the compiler drops the store to a dying object.
  *const_cast<ZULIBRXObject* volatile*>(&_object) = nullptr;
}
void BRXResourceToSFExecutionInfo::SetBRXObject(ZULIBRXObject* iObject) { _object = iObject; }
ZULIBRXObject* BRXResourceToSFExecutionInfo::GetBRXObject() { return _object; }

} // namespace SF
