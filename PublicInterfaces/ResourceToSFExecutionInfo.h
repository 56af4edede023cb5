#pragma once

#include "SFExecutionInfo.h"

namespace SF {

/// An execution record that refers to an object of the host, which it does not own.
class SF_EXPORT ResourceToSFExecutionInfo : public SFExecutionInfo
{
public:
  ResourceToSFExecutionInfo() = default;
  explicit ResourceToSFExecutionInfo(void* iReference) : _reference(iReference) {}
  ResourceToSFExecutionInfo(ResourceToSFExecutionInfo const&) = default;
  ~ResourceToSFExecutionInfo() override;

  void SetRef(void* iReference) override;
  void* GetRef() override;

private:
  void* _reference = nullptr;
};

} // namespace SF
