#pragma once

#include "SFField.h"
#include "SFProfilerItf.h"
#include "SFToolsErrors.h"
#include "SFWorkOptions.h"
#include "ZULResultCodes.h"

#include <atomic>
#include <cstddef>
#include <functional>
#include <memory>

namespace SF {

/// Throws for the code of an operation of a compiled field: SFCancelled for E_ABORT, SFModelError for other failures.
void Require(HRESULT iCode);
void ThrowIfCancelled(SFWorkOptions const& iOptions);

/// The field compiled for work whose progress is told by the tool itself: threads, memory and cancelling as in `iOptions`,
/// no profiler. SFModelError for a field that cannot be compiled.
std::shared_ptr<SFCompiledField> CompileFor(SFField const& iField, SFWorkOptions const& iOptions);

/// How many threads work is done by.
unsigned int ThreadsOf(SFWorkOptions const& iOptions);

/// Calls `iTask(index, worker)` for all indices below `iCount`, drawn from one counter by up to ThreadsOf(iOptions)
/// workers, the calling thread being worker 0. Returns when all have ended. An exception of a task ends the others soon and
/// is thrown again; the cancel flag likewise, as SFCancelled.
void ForEach(std::size_t iCount, SFWorkOptions const& iOptions,
             std::function<void(std::size_t iIndex, unsigned int iWorker)> const& iTask);

/// Tells the host's profiler how far a part of an operation has got. Rising fractions; only the thread of the operation
/// may call.
class SFProgress
{
public:
  SFProgress(SFWorkOptions const& iOptions, char const* iOperation, double iFrom = 0.0, double iTo = 1.0)
    : _profiler(iOptions.profiler), _operation(iOperation), _from(iFrom), _to(iTo)
  {
  }
  /// `iFraction` of this part is done.
  void Report(double iFraction) const;
  /// A part of this part.
  SFProgress Part(double iFrom, double iTo) const;

private:
  SFProfilerItf* _profiler;
  char const* _operation;
  double _from;
  double _to;
};

} // namespace SF
