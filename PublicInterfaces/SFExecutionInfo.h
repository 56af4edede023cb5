#pragma once

#include "SFExport.h"

namespace SF {

/// Base of the records that a host attaches to nodes. Two records are equal only when they are one object;
/// assignment does nothing.
class SF_EXPORT SFExecutionInfo
{
public:
  SFExecutionInfo() = default;
  SFExecutionInfo(SFExecutionInfo const&) = default;
  virtual ~SFExecutionInfo();

  /// Whether both are one object.
  virtual bool operator==(SFExecutionInfo const& iOther) const;
  /// Changes nothing.
  virtual SFExecutionInfo& operator=(SFExecutionInfo const& iOther);
  /// For a derived record to forget what it has found out. Does nothing here.
  virtual void Reset() const;
  /// For records that refer to an object of the host. Does nothing here.
  virtual void SetRef(void* iReference);
  /// The object referred to; null here.
  virtual void* GetRef();
};

} // namespace SF
