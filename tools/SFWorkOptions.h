#pragma once

#include "SFCompiledFieldOptions.h"
#include "SFToolsExport.h"

#include <string>

namespace SF {

/// How the operations of the tools run: threads, progress and cancelling as for compiled fields. `memoryBudget` is the
/// scratch of each evaluation; what an operation may take in all is `maxMemory`.
struct SFWorkOptions : SFCompiledFieldOptions
{
  /// Bytes that an operation may take at once, its result included; 0 for what the machine has free.
  double maxMemory = 0.0;
};

/// Throws SFMemoryLimit when `iWhat` takes more bytes than `iOptions` allows.
SF_TOOLS_EXPORT void RequireMemory(SFWorkOptions const& iOptions, double iBytes, std::string const& iWhat);

} // namespace SF
