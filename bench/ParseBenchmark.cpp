#include "ParseBenchmark.h"

#include "AllocationCount.h"
#include "Report.h"
#include "Stopwatch.h"
#include "Workloads.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <string>

namespace SFBench {
namespace {

/// Unions of spheres that all differ, each on the right of the one before.
std::string Solids(std::size_t iLength)
{
  std::string text;
  unsigned state = 1;
  auto const next = [&state] { // a linear congruential generator
    state = state * 1664525u + 1013904223u;
    return (state >> 8) % 100000 * 0.001;
  };
  constexpr std::size_t longest = 80; // characters of a sphere
  constexpr std::string_view last = "X ";
  while (text.size() + longest < iLength) {
    char sphere[longest];
    int const size = std::snprintf(sphere, longest, "U - r + + q - X f%.3f q - Y f%.3f q - Z f%.3f f%.3f ", next(),
                                   next(), next(), next());
    text.append(sphere, static_cast<std::size_t>(size));
  }
  text += last;
  text.resize(iLength, ' ');
  return text;
}

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
  for (Kind const& kind : {Kind{"solids", Solids}, {"nested", Nested}, {"transforms", Transforms}})
    for (std::size_t const length : {std::size_t{100'000}, std::size_t{1'000'000}})
      benchmark::RegisterBenchmark(("parse/" + std::string(kind.name) + "/" + std::to_string(length)).c_str(),
                                   [text = kind.make(length)](benchmark::State& ioState) { Parse(ioState, text); })
          ->UseManualTime();
}

} // namespace SFBench
