#pragma once

#include <atomic>
#include <cstddef>

namespace SF {

class SFProfilerItf;

/// How the operations of a compiled field run. What the pointers name belongs to the caller and must outlive the
/// compiled field.
struct SFCompiledFieldOptions
{
  /// Threads that an operation may use, the calling one among them; 0 for one for each hardware thread.
  unsigned int threads = 0;

  /// Bytes of working memory of one operation, beyond its output. Scratch that a few threads need to hold one
  /// point or one short row of every live value is taken in any case.
  std::size_t memoryBudget = std::size_t{64} << 20;

  /// Told how far Evaluate, EvaluateGradient and RenderSlices have got: 0, rising fractions, and 1 on success.
  /// Calls come from the thread that called the operation, so from several at once only when the caller runs
  /// several operations at once. An exception that it throws ends the operation and reaches the caller. May be
  /// null.
  SFProfilerItf* profiler = nullptr;

  /// Operations end with E_ABORT soon after it is set (well within 50 ms, unless one call of a host's resource
  /// takes longer). May be null.
  std::atomic<bool> const* cancel = nullptr;
};

} // namespace SF
