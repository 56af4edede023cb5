#include "SFWork.h"

#include <algorithm>
#include <cstdio>
#include <exception>
#include <fstream>
#include <limits>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace SF {
namespace {

/// What new work may take without swapping; infinite where the system does not tell.
double AvailableMemory()
{
  std::ifstream file("/proc/meminfo");
  for (std::string line; std::getline(file, line);) {
    double kibibytes = 0.0;
    if (std::sscanf(line.c_str(), "MemAvailable: %lf kB", &kibibytes) == 1)
      return kibibytes * 1024.0;
  }
  return std::numeric_limits<double>::infinity();
}

/// The work of ForEach, shared by its threads.
class TaskLoop
{
public:
  TaskLoop(std::size_t iCount, SFWorkOptions const& iOptions,
           std::function<void(std::size_t, unsigned int)> const& iTask)
    : _count(iCount), _options(iOptions), _task(iTask)
  {
  }

  void Run(unsigned int iWorker)
  {
    try {
      for (std::size_t index = 0; !_isStopped && (index = _next++) < _count;) {
        ThrowIfCancelled(_options);
        _task(index, iWorker);
      }
    } catch (...) {
      std::lock_guard const lock(_mutex);
      if (_error == nullptr)
        _error = std::current_exception();
      _isStopped = true;
    }
  }

  void Finish() const
  {
    if (_error != nullptr)
      std::rethrow_exception(_error);
  }

private:
  std::size_t _count;
  SFWorkOptions const& _options;
  std::function<void(std::size_t, unsigned int)> const& _task;
  std::atomic<std::size_t> _next{0};
  std::atomic<bool> _isStopped{false};
  std::mutex _mutex;
  std::exception_ptr _error;
};

} // namespace

void RequireMemory(SFWorkOptions const& iOptions, double iBytes, std::string const& iWhat)
{
  bool const isAllowance = iOptions.maxMemory > 0.0;
  double const limit = isAllowance ? iOptions.maxMemory : AvailableMemory();
  if (iBytes > limit)
    throw SFMemoryLimit(iWhat, iBytes, limit, isAllowance);
}

void Require(HRESULT iCode)
{
  if (iCode == E_ABORT)
    throw SFCancelled();
  if (Failed(iCode))
    throw SFModelError("the field cannot be evaluated");
}

void ThrowIfCancelled(SFWorkOptions const& iOptions)
{
  if (iOptions.cancel != nullptr && iOptions.cancel->load(std::memory_order_relaxed))
    throw SFCancelled();
}

std::shared_ptr<SFCompiledField> CompileFor(SFField const& iField, SFWorkOptions const& iOptions)
{
  SFCompiledFieldOptions options = iOptions;
  options.profiler = nullptr;
  return iField.Compile(options);
}

unsigned int ThreadsOf(SFWorkOptions const& iOptions)
{
  return iOptions.threads != 0 ? iOptions.threads : std::max(1U, std::thread::hardware_concurrency());
}

void ForEach(std::size_t iCount, SFWorkOptions const& iOptions,
             std::function<void(std::size_t, unsigned int)> const& iTask)
{
  auto const workers = static_cast<unsigned int>(std::min<std::size_t>(ThreadsOf(iOptions), iCount));
  TaskLoop loop(iCount, iOptions, iTask);
  std::vector<std::thread> threads;
  threads.reserve(workers);
  for (unsigned int worker = 1; worker < workers; ++worker)
    try {
      threads.emplace_back([&loop, worker] { loop.Run(worker); });
    } catch (std::system_error const&) {
      break; // fewer threads do the work as well
    }
  loop.Run(0);
  for (std::thread& thread : threads)
    thread.join();
  loop.Finish();
}

void SFProgress::Report(double iFraction) const
{
  if (_profiler != nullptr)
    _profiler->OnProgress(_operation, _from + std::clamp(iFraction, 0.0, 1.0) * (_to - _from));
}

SFProgress SFProgress::Part(double iFrom, double iTo) const
{
  SFProgress part = *this;
  part._from = _from + iFrom * (_to - _from);
  part._to = _from + iTo * (_to - _from);
  return part;
}

} // namespace SF
