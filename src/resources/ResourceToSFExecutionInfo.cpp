#include "ResourceToSFExecutionInfo.h"

namespace SF {

ResourceToSFExecutionInfo::~ResourceToSFExecutionInfo() = default;
void ResourceToSFExecutionInfo::SetRef(void* iReference) { _reference = iReference; }
void* ResourceToSFExecutionInfo::GetRef() { return _reference; }

} // namespace SF
