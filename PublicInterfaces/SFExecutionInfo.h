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

  virtual bool operator==(SFExecutionInfo const& iOther) const;
  virtual SFExecutionInfo& operator=(SFExecutionInfo const& iOther);
  virtual void Reset() const;
  virtual void SetRef(void* iReference);
  virtual void* GetRef();
};

} // namespace SF
