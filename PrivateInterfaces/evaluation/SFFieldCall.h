#pragma once

#include "SFCompiledFieldOptions.h"
#include "tape/SFStopRequest.h"
#include "tape/SFTape.h"

#include <atomic>
#include <functional>

namespace SF {

/// One operation of a compiled field while it runs: its threads, its progress and its end before its time.
class SFFieldCall
{
public:
  /// Reports the start. `iOperation` is the name for the profiler and outlives the call.
  SFFieldCall(SFCompiledFieldOptions const& iOptions, std::atomic<bool> const* iCancel, char const* iOperation);
  SFFieldCall(SFFieldCall const&) = delete;
  SFFieldCall& operator=(SFFieldCall const&) = delete;

  /// Runs `iWork` on the calling thread and, where the system has them, on `iThreads` - 1 more. The argument tells
  /// the calling thread, which is the one to report progress. The first exception stops the others and is thrown
  /// again when all have ended. S_OK, or E_ABORT once the call has been cancelled.
  HRESULT Run(unsigned int iThreads, std::function<void(bool iIsCaller)> const& iWork);

  /// Of a fraction that is larger than the last one.
  void Report(double iFraction);
  /// Reports the end of a call that succeeded; passes the code on.
  HRESULT Conclude(HRESULT iCode);

  /// For the work of all threads; lives as long as the call.
  SFStopRequest const& GetStopRequest() const { return _stop; }

private:
  SFCompiledFieldOptions const& _options;
  std::atomic<bool> const* _cancel;
  char const* _operation;
  double _reported = 0.0;
  std::atomic<bool> _cancelled{false};
  std::atomic<bool> _failed{false};
  SFStopRequest _stop;
};

/// How an operation divides its memory.
struct SFWorkPlan
{
  unsigned int threads = 1;
  std::size_t volume = 1; ///< values of a tile, at most
  std::size_t bytes = 0;  ///< that the threads take
};

/// The most threads and the largest tiles up to `iVolume` values with which `iThreads` threads that run the list of
/// `iTape` stay within `iBudget` bytes; one thread and small tiles where nothing does.
SFWorkPlan PlanWork(SFTape const& iTape, unsigned int iThreads, std::size_t iVolume, std::size_t iBudget);

/// How many threads are worth their start for a list that costs `iCost` at each of `iPoints` points, in additions: small
/// work stays on the calling thread.
unsigned int ThreadsWorth(unsigned int iThreads, std::size_t iCost, std::size_t iPoints);

} // namespace SF
