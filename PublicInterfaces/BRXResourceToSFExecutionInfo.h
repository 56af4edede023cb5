#pragma once

#include "SFExecutionInfo.h"

/// An object of the host's modeller; the library only holds its address.
class ZULIBRXObject;

namespace SF {

/// An execution record that refers to an object of the host's modeller, which it does not own. Assignment leaves the
/// reference as it is; the destructor sets it to null.
class SF_EXPORT BRXResourceToSFExecutionInfo : public SFExecutionInfo
{
public:
  BRXResourceToSFExecutionInfo() = default;
  /// Refers to an object that stays the caller's and may be null.
  explicit BRXResourceToSFExecutionInfo(ZULIBRXObject* iObject) : _object(iObject) {}
  BRXResourceToSFExecutionInfo(BRXResourceToSFExecutionInfo const&) = default;
  /// Leaves the reference as it is.
  BRXResourceToSFExecutionInfo& operator=(BRXResourceToSFExecutionInfo const&) { return *this; }
  ~BRXResourceToSFExecutionInfo() override;

  /// Refers to another object, which is not owned either; may be null.
  virtual void SetBRXObject(ZULIBRXObject* iObject);
  /// The object; null when none was given.
  virtual ZULIBRXObject* GetBRXObject();

private:
  ZULIBRXObject* _object = nullptr;
};

} // namespace SF
