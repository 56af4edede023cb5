#pragma once

#include "SFExport.h"

namespace SF {

/// Implemented by a host that wants to follow long operations.
class SF_EXPORT SFProfilerItf
{
public:
  SFProfilerItf() = default;
  SFProfilerItf(SFProfilerItf const&) = default;
  virtual ~SFProfilerItf();

  /// An operation, by name, has got so far: 0 at its start, 1 at its end. The text belongs to the caller and need
  /// not outlive the call. The thread is whichever does the work.
  virtual void OnProgress(char const* iOperation, double iFraction) = 0;
};

} // namespace SF
