#pragma once

#include "Field.h"

#include <atomic>
#include <functional>
#include <memory>

namespace SF {
class SFProfilerItf;
}

namespace SFPython {

/// What an operation needs to end early and to say how far it is, while Python waits for it.
class Call
{
public:
  /// To be given to the operation.
  std::atomic<bool> const* GetCancel() const { return &_cancel; }

  void Cancel() { _cancel = true; }
  void SetFraction(double iFraction) { _fraction = iFraction; }
  double GetFraction() const { return _fraction; }

private:
  std::atomic<bool> _cancel{false};
  std::atomic<double> _fraction{0.0};
};

/// Tells the call that the operating thread works for how far it is. One object serves all calls.
SF::SFProfilerItf* GetProfiler();

/// Runs an operation without the interpreter lock. Where the caller is Python's main thread the operation runs in another
/// one, and signals are looked for meanwhile: what a handler raises, as KeyboardInterrupt, cancels the operation and
/// reaches the caller. `iProgress` is None or is called with fractions. A `iIsQuick` operation runs in the calling thread.
void Run(std::function<void(Call&)> const& iOperation, py::object const& iProgress, bool iIsQuick);

/// The same for an operation that has no way to end early: after a signal it goes on in the background, and its result is
/// dropped. It must own all that it uses.
void RunOwning(std::function<void()> iOperation);

/// `iOperation()` by RunOwning or, where that is not worth it, at once.
template <class Operation>
auto Result(Operation iOperation, bool iIsQuick)
{
  using Value = decltype(iOperation());
  if (iIsQuick)
    return iOperation();
  auto const value = std::make_shared<std::unique_ptr<Value>>();
  RunOwning([value, iOperation] { *value = std::make_unique<Value>(iOperation()); });
  return Value(std::move(**value));
}

/// Parts that are worked on within a few milliseconds.
constexpr std::size_t FewParts = 10'000;

/// Whether what visits all nodes of a field ends at once.
inline bool IsSmall(Field const& iField) { return iField.GetNodeCount() <= FewParts; }

void AddCalls(py::module_& ioModule);

} // namespace SFPython
