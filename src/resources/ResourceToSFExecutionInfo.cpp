#include "ResourceToSFExecutionInfo.h"

namespace SF {

ResourceToSFExecutionInfo::~ResourceToSFExecutionInfo()
{
  // Volatile, or the compiler drops the store to a dying object.
  *const_cast<void* volatile*>(&_reference) = nullptr;
}
void ResourceToSFExecutionInfo::SetRef(void* iReference) { _reference = iReference; }
void* ResourceToSFExecutionInfo::GetRef() { return _reference; }

} // namespace SF
