#include "ParseBenchmark.h"

#include "AllocationCount.h"
#include "Report.h"
#include "Stopwatch.h"
#include "Workloads.h"

#include <benchmark/benchmark.h>

#include <string>

namespace SFBench {
namespace {

/// One unary operator in the other, without blanks.
std::string Nested(std::size_t iLength) { return std::string(iLength - 2, 'q') + "X "; }

/// One affine transform in the other.
std::string Transforms(std::size_t iLength)
{
  constexpr std::string_view transform = "m[0.866025;-0.5;0;1.25;0.5;0.866025;0;-2.5;0;0;1;3.75;0;0;0;1] ";
  std::string text;
  while (text.size() + transform.size() + 2 < iLength)
    text += transform;
  text += "X ";
  text.resize(iLength, ' ');
  return text;
}

void Parse(benchmark::State& ioState, std::string const& iText)
{
  Times total;
  for (auto _ : ioState) {
    Stopwatch const watch;
    auto const root = BuildQuietly(iText);
    Times const times = watch.Elapsed();
    ioState.SetIterationTime(times.wall);
    total += times;
    // The graph is released here, outside of the measured time.
  }
  ioState.counters[CpuPerWall] = total.cpu / total.wall;
  ioState.counters["ms"] = 1e3 * total.wall / static_cast<double>(ioState.iterations());

  // What the graph holds, and the most that reading took, apart from the text itself.
  AllocationCount const allocations;
  auto const root = BuildQuietly(iText);
  auto const live = static_cast<double>(allocations.Live());
  auto const peak = static_cast<double>(allocations.Peak());
  auto const nodes = static_cast<double>(CountNodes(*root));
  ioState.counters["nodes"] = nodes;
  ioState.counters["bytes_per_node"] = live / nodes;
  ioState.counters["peak_bytes_per_node"] = peak / nodes;
}

} // namespace

void RegisterParseBenchmarks()
{
  struct Kind
  {
    char const* name;
    std::string (*make)(std::size_t);
  };
  for (Kind const& kind : {Kind{"solids", SolidsText}, {"nested", Nested}, {"transforms", Transforms}})
    for (std::size_t const length : {std::size_t{100'000}, std::size_t{1'000'000}})
      benchmark::RegisterBenchmark(("parse/" + std::string(kind.name) + "/" + std::to_string(length)).c_str(),
                                   [text = kind.make(length)](benchmark::State& ioState) { Parse(ioState, text); })
          ->UseManualTime();
}

} // namespace SFBench
