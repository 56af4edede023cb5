#pragma once

#include "SFExecutionInfo.h"

namespace SF {

/// An execution record that refers to an object of the host, which it does not own. Assignment leaves the reference as
/// it is; the destructor sets it to null.
class SF_EXPORT ResourceToSFExecutionInfo : public SFExecutionInfo
{
public:
  ResourceToSFExecutionInfo() = default;
  /// Refers to an object that stays the caller's and may be null.
  explicit ResourceToSFExecutionInfo(void* iReference) : _reference(iReference) {}
  ResourceToSFExecutionInfo(ResourceToSFExecutionInfo const&) = default;
  /// Leaves the reference as it is.
  ResourceToSFExecutionInfo& operator=(ResourceToSFExecutionInfo const&) { return *this; }
  ~ResourceToSFExecutionInfo() override;

  /// Refers to another object, which is not owned either; may be null.
  void SetRef(void* iReference) override;
  /// The object; null when none was given.
  void* GetRef() override;

private:
  void* _reference = nullptr;
};

} // namespace SF
