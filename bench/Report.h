#pragma once

#include <benchmark/benchmark.h>

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace SFBench {

/// The counter by which a repetition tells how many processors it had: processor time divided by wall time.
inline constexpr char const* CpuPerWall = "cpu_wall";

/// Writes one line for each benchmark: the medians of its counters over the repetitions that had their processors.
/// A repetition counts as robbed of them when its cpu_wall is below 0.95 of the best one's.
class Report : public benchmark::BenchmarkReporter
{
public:
  bool ReportContext(Context const& iContext) override;
  void ReportRuns(std::vector<Run> const& iRuns) override;

  /// The median of a counter of a benchmark that has run.
  std::optional<double> Median(std::string const& iBenchmark, std::string const& iCounter) const;
  bool HasFailures() const { return _hasFailures; }

private:
  using Counters = std::map<std::string, double>;
  std::map<std::string, Counters> _medians;
  bool _hasFailures = false;
};

} // namespace SFBench
