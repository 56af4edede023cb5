#include "evaluation/SFFieldCall.h"

#include "SFProfilerItf.h"

#include <algorithm>
#include <exception>
#include <future>
#include <mutex>
#include <system_error>
#include <vector>

namespace SF {

SFFieldCall::SFFieldCall(SFCompiledFieldOptions const& iOptions, std::atomic<bool> const* iCancel,
                         char const* iOperation)
  : _options(iOptions), _cancel(iCancel), _operation(iOperation)
{
  _stop = [this] {
    auto const isSet = [](std::atomic<bool> const* iFlag) { return iFlag != nullptr && iFlag->load(); };
    if (isSet(_options.cancel) || isSet(_cancel))
      _cancelled = true;
    return _cancelled || _failed;
  };
  if (_options.profiler != nullptr)
    _options.profiler->OnProgress(_operation, 0.0);
}

void SFFieldCall::Report(double iFraction)
{
  if (_options.profiler == nullptr || !(iFraction > _reported))
    return;
  _reported = iFraction;
  _options.profiler->OnProgress(_operation, iFraction);
}

HRESULT SFFieldCall::Conclude(HRESULT iCode)
{
  if (Succeeded(iCode))
    Report(1.0);
  return iCode;
}

HRESULT SFFieldCall::Run(unsigned int iThreads, std::function<void(bool iIsCaller)> const& iWork)
{
  if (_stop())
    return E_ABORT;
  std::mutex mutex;
  std::exception_ptr first;
  auto const guarded = [&](bool iIsCaller) {
    try {
      iWork(iIsCaller);
    } catch (...) {
      std::lock_guard<std::mutex> const lock(mutex);
      if (first == nullptr)
        first = std::current_exception();
      _failed = true;
    }
  };
  std::vector<std::future<void>> others;
  others.reserve(iThreads);
  try {
    for (unsigned int t = 1; t < iThreads; ++t)
      others.push_back(std::async(std::launch::async, guarded, false));
  } catch (std::system_error const&) {
    // The system gives no more threads: those that run do all the work.
  }
  guarded(true);
  for (auto& other : others)
    other.get();
  if (first != nullptr)
    std::rethrow_exception(first);
  return _cancelled ? E_ABORT : S_OK;
}

// ---- memory ---------------------------------------------------------------------------------------------------

namespace {

/// The most values that are live at once while the tape runs, each until its last use.
std::size_t MostLiveValues(SFTape const& iTape)
{
  auto const& instructions = iTape.instructions;
  std::vector<char> live(instructions.size(), 0);
  for (SFValueId const result : iTape.results)
    live[result] = 1;
  std::size_t count = iTape.results.size();
  std::size_t most = count;
  for (std::size_t id = instructions.size(); id-- > 0;) {
    auto const& instruction = instructions[id];
    for (int i = 0; i < ArityOf(instruction.code); ++i) {
      char& operand = live[instruction.operands[static_cast<std::size_t>(i)]];
      count += operand == 0 ? 1 : 0;
      operand = 1;
    }
    most = std::max(most, count);
    count -= live[id] != 0 ? 1 : 0;
  }
  return most;
}

} // namespace

SFWorkPlan PlanWork(SFTape const& iTape, unsigned int iThreads, std::size_t iVolume, std::size_t iBudget)
{
  // Of the working arrays by value: views, slots, ranges, demands, the lists of the pruning levels, and the plan.
  constexpr std::size_t bytesPerValue = 384;
  constexpr std::size_t leastVolume = 64;
  std::size_t const fixed = iTape.instructions.size() * bytesPerValue;
  std::size_t const perElement = (MostLiveValues(iTape) + 1) * sizeof(double);
  SFWorkPlan plan{std::max(1U, iThreads), std::min(iVolume, leastVolume)};
  auto const perThread = [&] { return fixed + plan.volume * perElement; };
  while (plan.threads > 1 && plan.threads * perThread() > iBudget)
    --plan.threads;
  while (2 * plan.volume <= iVolume && plan.threads * (fixed + 2 * plan.volume * perElement) <= iBudget)
    plan.volume *= 2;
  plan.bytes = plan.threads * perThread();
  return plan;
}

unsigned int ThreadsWorth(unsigned int iThreads, std::size_t iCost, std::size_t iPoints)
{
  constexpr double worthStarting = 1 << 20; // a few times the start of a thread
  double const shares = static_cast<double>(iCost) * static_cast<double>(iPoints) / worthStarting;
  return static_cast<unsigned int>(std::min(static_cast<double>(std::max(1U, iThreads)), 1.0 + shares));
}

} // namespace SF
