#pragma once

#include "SFExecutionInfo.h"

namespace SF {

/// An execution record that refers to an object of the host, which it does not own. Assignment leaves the reference as
/// it is; the destructor sets it to null.
class SF_EXPORT ResourceToSFExecutionInfo : public SFExecutionInfo
{
public:
  ResourceToSFExecutionInfo() = default;
  explicit ResourceToSFExecutionInfo(void* iReference) : _reference(iReference) {}
  ResourceToSFExecutionInfo(ResourceToSFExecutionInfo const&) = default;
  ResourceToSFExecutionInfo& operator=(ResourceToSFExecutionInfo const&) { return *this; }
  ~ResourceToSFExecutionInfo() override;

  void SetRef(void* iReference) override;
  void* GetRef() override;

private:
  void* _reference = nullptr;
};

} // namespace SF
