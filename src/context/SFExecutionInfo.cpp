#include "SFExecutionInfo.h"

namespace SF {

SFExecutionInfo::~SFExecutionInfo() = default;
bool SFExecutionInfo::operator==(SFExecutionInfo const& iOther) const { return this == &iOther; }
SFExecutionInfo& SFExecutionInfo::operator=(SFExecutionInfo const&) { return *this; }
void SFExecutionInfo::Reset() const {}
void SFExecutionInfo::SetRef(void*) {}
void* SFExecutionInfo::GetRef() { return nullptr; }

} // namespace SF
