#pragma once

#include <functional>

namespace SF {

/// Asked again and again during long work: whether to end it early.
using SFStopRequest = std::function<bool()>;

/// Whether one thread has been stopped. Once it has, its request is not asked again.
class SFStopState
{
public:
  /// `iRequest` may be null, and outlives the work.
  void Restart(SFStopRequest const* iRequest)
  {
    _request = iRequest;
    _stopped = false;
  }
  /// Asks the request.
  bool MustStop()
  {
    _stopped = _stopped || (_request != nullptr && *_request && (*_request)());
    return _stopped;
  }
  /// Whether it has been stopped: what was being computed is then incomplete.
  bool IsStopped() const { return _stopped; }

private:
  SFStopRequest const* _request = nullptr;
  bool _stopped = false;
};

} // namespace SF
