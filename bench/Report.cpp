#include "Report.h"

#include <algorithm>
#include <iomanip>
#include <iostream>

namespace SFBench {
namespace {

constexpr double LeastShareOfProcessors = 0.95;

double MedianOf(std::vector<double> iValues)
{
  auto const middle = iValues.begin() + static_cast<std::ptrdiff_t>(iValues.size() / 2);
  std::nth_element(iValues.begin(), middle, iValues.end());
  if (iValues.size() % 2 == 1)
    return *middle;
  return (*middle + *std::max_element(iValues.begin(), middle)) / 2.0;
}

double CpuPerWallOf(benchmark::BenchmarkReporter::Run const& iRun) { return iRun.counters.at(CpuPerWall).value; }

} // namespace

bool Report::ReportContext(Context const& iContext)
{
  benchmark::CPUInfo const& cpu = iContext.cpu_info;
  std::cout << cpu.num_cpus << " processors, " << cpu.cycles_per_second * 1e-6 << " MHz; load";
  for (double const load : cpu.load_avg)
    std::cout << ' ' << load;
  std::cout << std::endl;
  return true;
}

void Report::ReportRuns(std::vector<Run> const& iRuns)
{
  std::vector<Run> runs;
  for (Run const& run : iRuns) {
    if (run.error_occurred) {
      std::cout << run.run_name.function_name << ": " << run.error_message << std::endl;
      _hasFailures = true;
    } else if (run.run_type == Run::RT_Iteration)
      runs.push_back(run);
  }
  if (runs.empty())
    return;
  double best = 0.0;
  for (Run const& run : runs)
    best = std::max(best, CpuPerWallOf(run));
  std::size_t const all = runs.size();
  std::erase_if(runs, [&](Run const& run) { return CpuPerWallOf(run) < LeastShareOfProcessors * best; });

  std::string const& name = runs.front().run_name.function_name;
  std::cout << std::left << std::setw(26) << name << std::right;
  for (auto const& [counter, ignored] : runs.front().counters) {
    std::vector<double> values;
    for (Run const& run : runs)
      values.push_back(run.counters.at(counter).value);
    double const median = MedianOf(values);
    _medians[name][counter] = median;
    std::cout << "  " << counter << ' ' << std::setprecision(4) << median;
  }
  std::cout << "  (" << runs.size() << " of " << all << " repetitions)" << std::endl;
}

std::optional<double> Report::Median(std::string const& iBenchmark, std::string const& iCounter) const
{
  auto const medians = _medians.find(iBenchmark);
  if (medians == _medians.end())
    return std::nullopt;
  auto const median = medians->second.find(iCounter);
  return median == medians->second.end() ? std::nullopt : std::optional(median->second);
}

} // namespace SFBench
