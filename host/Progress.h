#pragma once

#include "SFProfilerItf.h"

#include <chrono>
#include <string>

namespace SFHost {

enum class ProgressMode
{
  Auto, ///< where the standard error stream is a terminal
  On,
  Off
};

/// A bar on the standard error stream: how far long work has got, how fast it goes, how long it will take. It appears when
/// the work has lasted for half a second, at once where it is asked for, and goes with the object.
class Progress : public SF::SFProfilerItf
{
public:
  Progress(ProgressMode iMode, std::string iWhat);
  Progress(Progress const&) = delete;
  Progress& operator=(Progress const&) = delete;
  ~Progress() override;

  /// The whole work in units that a rate is told of, "voxels".
  void SetAmount(double iAmount, std::string iUnit);
  /// The operations that follow are this part of the work.
  void Begin(double iFrom, double iTo);
  void OnProgress(char const* iOperation, double iFraction) override;

private:
  using Clock = std::chrono::steady_clock;

  std::string Line(double iFraction, Clock::time_point iNow) const;

  std::string _what;
  bool _isShown;
  bool _isDrawn = false;
  double _amount = 0.0;
  std::string _unit;
  double _from = 0.0;
  double _to = 1.0;
  Clock::time_point _begin = Clock::now();
  Clock::time_point _next; ///< when the bar is drawn again
};

} // namespace SFHost
