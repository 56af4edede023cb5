#include "Call.h"

#include "SFProfilerItf.h"

#include <chrono>
#include <condition_variable>
#include <exception>
#include <mutex>
#include <optional>
#include <thread>

namespace SFPython {
namespace {

/// How long a signal may wait.
constexpr std::chrono::milliseconds Period{10};

thread_local Call* currentCall = nullptr;

class CurrentCall
{
public:
  explicit CurrentCall(Call& iCall) : _outer(currentCall) { currentCall = &iCall; }
  CurrentCall(CurrentCall const&) = delete;
  CurrentCall& operator=(CurrentCall const&) = delete;
  ~CurrentCall() { currentCall = _outer; }

private:
  Call* _outer;
};

class Profiler : public SF::SFProfilerItf
{
public:
  void OnProgress(char const*, double iFraction) override
  {
    if (currentCall != nullptr)
      currentCall->SetFraction(iFraction);
  }
};

bool IsMainThread()
{
  static py::handle const mainThread = py::object(py::module_::import("threading").attr("main_thread")).release();
  return mainThread().attr("ident").cast<unsigned long>() == PyThread_get_thread_ident();
}

/// An operation in a thread of its own.
class Background
{
public:
  explicit Background(std::function<void()> iOperation) : _operation(std::move(iOperation)) {}

  /// `iSelf` lives until the operation has ended.
  static std::thread Start(std::shared_ptr<Background> iSelf)
  {
    ++running;
    return std::thread([self = std::move(iSelf)]() mutable {
      self->Work();
      self.reset();
      std::lock_guard<std::mutex> const lock(runningMutex);
      --running;
      runningChanged.notify_all();
    });
  }

  /// Whether the operation has ended, after at most a time.
  bool WaitFor(std::chrono::milliseconds iTime)
  {
    std::unique_lock<std::mutex> lock(_mutex);
    return _changed.wait_for(lock, iTime, [this] { return _hasEnded; });
  }
  void Wait()
  {
    std::unique_lock<std::mutex> lock(_mutex);
    _changed.wait(lock, [this] { return _hasEnded; });
  }
  /// Throws what the operation has thrown.
  void Conclude() const
  {
    if (_failure != nullptr)
      std::rethrow_exception(_failure);
  }

  /// Waits for what goes on in the background, so that the program may end.
  static void WaitForAll()
  {
    std::unique_lock<std::mutex> lock(runningMutex);
    runningChanged.wait(lock, [] { return running == 0; });
  }

private:
  void Work()
  {
    try {
      _operation();
    } catch (...) {
      _failure = std::current_exception();
    }
    _operation = nullptr;
    std::lock_guard<std::mutex> const lock(_mutex);
    _hasEnded = true;
    _changed.notify_all();
  }

  inline static std::atomic<int> running{0};
  inline static std::mutex runningMutex;
  inline static std::condition_variable runningChanged;

  std::function<void()> _operation;
  std::mutex _mutex;
  std::condition_variable _changed;
  bool _hasEnded = false;
  std::exception_ptr _failure;
};

/// Called with the fraction when it has grown.
class Progress
{
public:
  explicit Progress(py::object const& iFunction) : _function(iFunction) {}
  void Report(double iFraction)
  {
    if (_function.is_none() || !(iFraction > _last))
      return;
    _last = iFraction;
    _function(iFraction);
  }

private:
  py::object const& _function;
  double _last = -1.0;
};

/// Waits without the interpreter lock; with it looks for signals and reports progress. What these raise is thrown.
void Attend(Background& ioOperation, Call const& iCall, Progress& ioProgress)
{
  for (;;) {
    {
      py::gil_scoped_release const released;
      if (ioOperation.WaitFor(Period))
        return;
    }
    if (PyErr_CheckSignals() != 0)
      throw py::error_already_set();
    ioProgress.Report(iCall.GetFraction());
  }
}

} // namespace

SF::SFProfilerItf* GetProfiler()
{
  static Profiler profiler;
  return &profiler;
}

void Run(std::function<void(Call&)> const& iOperation, py::object const& iProgress, bool iIsQuick)
{
  Call call;
  auto const operation = [&] {
    CurrentCall const current(call);
    iOperation(call);
  };
  Progress progress(iProgress);
  progress.Report(0.0);
  if ((iIsQuick || !IsMainThread()) && iProgress.is_none()) {
    py::gil_scoped_release const released;
    return operation();
  }
  auto const background = std::make_shared<Background>(operation);
  std::thread thread = Background::Start(background);
  std::optional<py::error_already_set> raised;
  try {
    Attend(*background, call, progress);
  } catch (py::error_already_set const& error) {
    raised = error;
  }
  {
    py::gil_scoped_release const released;
    if (raised)
      call.Cancel();
    thread.join();
  }
  if (raised)
    throw py::error_already_set(*raised);
  background->Conclude();
  progress.Report(1.0);
}

void RunOwning(std::function<void()> iOperation)
{
  if (!IsMainThread()) {
    py::gil_scoped_release const released;
    return iOperation();
  }
  auto const background = std::make_shared<Background>(std::move(iOperation));
  Background::Start(background).detach();
  py::object const none = py::none();
  Progress progress(none);
  Attend(*background, Call(), progress);
  background->Conclude();
}

void AddCalls(py::module_& ioModule)
{
  ioModule.def("_wait_for_background", [] {
    py::gil_scoped_release const released;
    Background::WaitForAll();
  });
  py::module_::import("atexit").attr("register")(ioModule.attr("_wait_for_background"));
}

} // namespace SFPython
