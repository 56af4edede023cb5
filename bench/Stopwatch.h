#pragma once

#include <chrono>
#include <ctime>

namespace SFBench {

/// Wall time, and the processor time of all threads of the process, in seconds. Their quotient tells how many
/// processors a measurement really had.
struct Times
{
  double wall = 0.0;
  double cpu = 0.0;

  Times& operator+=(Times const& iOther)
  {
    wall += iOther.wall;
    cpu += iOther.cpu;
    return *this;
  }
};

class Stopwatch
{
public:
  Times Elapsed() const
  {
    return {std::chrono::duration<double>(std::chrono::steady_clock::now() - _start).count(), CpuNow() - _cpuStart};
  }

private:
  static double CpuNow()
  {
    std::timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
  }

  double _cpuStart = CpuNow();
  std::chrono::steady_clock::time_point _start = std::chrono::steady_clock::now();
};

} // namespace SFBench
