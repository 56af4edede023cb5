/// Measures the library; README.md says what each figure means.

#include "ParseBenchmark.h"
#include "Report.h"
#include "Stopwatch.h"
#include "Workloads.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdlib>
#include <iomanip>
#include <iostream>
#include <memory>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using namespace SFBench;
using Workloads = std::vector<std::unique_ptr<Workload>>;

constexpr char const* NsPerVoxel = "ns_per_voxel";
constexpr char const* CpuNsPerVoxel = "cpu_ns_per_voxel";
constexpr std::size_t RecursionPoints = 2000;
constexpr unsigned SideOfCheck = 9;
constexpr std::size_t RecursionPointsOfCheck = 64;

struct Options
{
  bool checkOnly = false;
  unsigned side = 0; ///< 0: that of each workload
};

/// Repeats `iWork`, which returns how many values it has computed.
template <class Work>
void Measure(benchmark::State& ioState, Work iWork)
{
  Times total;
  std::size_t values = 0;
  try {
    for (auto _ : ioState) {
      Stopwatch const watch;
      values += iWork();
      Times const times = watch.Elapsed();
      ioState.SetIterationTime(times.wall);
      total += times;
    }
  } catch (std::exception const& error) {
    ioState.SkipWithError(error.what());
    return;
  }
  ioState.counters[NsPerVoxel] = 1e9 * total.wall / static_cast<double>(values);
  ioState.counters[CpuNsPerVoxel] = 1e9 * total.cpu / static_cast<double>(values);
  ioState.counters[CpuPerWall] = total.cpu / total.wall;
}

void Register(Workload& ioWorkload)
{
  auto const add = [&](char const* iWay, auto iWork) {
    benchmark::RegisterBenchmark((ioWorkload.Name() + "/" + iWay).c_str(), [iWork](benchmark::State& ioState) {
      Measure(ioState, iWork);
    })->UseManualTime();
  };
  add("render", [&ioWorkload] {
    ioWorkload.Render();
    return ioWorkload.GetGrid().Count();
  });
  if (ioWorkload.HasLoop())
    add("loop", [&ioWorkload] {
      ioWorkload.RunLoop();
      return ioWorkload.GetGrid().Count();
    });
  if (ioWorkload.Name() == "gyroid_shell") {
    ioWorkload.PrepareNormals();
    add("normals", [&ioWorkload] {
      ioWorkload.RenderNormals();
      return ioWorkload.GetGrid().Count();
    });
  }
  add("recursion", [&ioWorkload] { return ioWorkload.RunRecursion(RecursionPoints); });
}

std::string Text(std::optional<double> iValue)
{
  if (!iValue)
    return "-";
  std::ostringstream text;
  text << std::fixed << std::setprecision(*iValue < 100.0 ? 2 : 0) << *iValue;
  return text.str();
}

std::optional<double> Quotient(std::optional<double> iDividend, std::optional<double> iDivisor)
{
  return iDividend && iDivisor ? std::optional(*iDividend / *iDivisor) : std::nullopt;
}

/// "yes", or how many of the values that have been computed differ from those of Render.
std::string Sameness(std::size_t iDifferences)
{
  return iDifferences == 0 ? "yes" : std::to_string(iDifferences) + " differ";
}

void PrintRow(std::string const& iFirst, std::vector<std::string> const& iCells)
{
  std::cout << std::left << std::setw(15) << iFirst << std::right;
  for (std::string const& cell : iCells)
    std::cout << "  " << std::setw(11) << cell;
  std::cout << '\n';
}

void PrintTable(Workloads const& iWorkloads, Report const& iReport)
{
  std::cout << "\nns per voxel: Render and the loop by wall time on all processors, the recursion on one; by cpu: the\n"
               "quotient of the processor times, which holds on a busy machine too\n\n";
  PrintRow("workload",
           {"nodes", "grid", "Render", "loop", "Render/loop", "by cpu", "recursion", "rec/Render", "same floats"});
  for (auto const& workload : iWorkloads) {
    auto const median = [&](char const* iWay, char const* iCounter) {
      return iReport.Median(workload->Name() + "/" + iWay, iCounter);
    };
    auto const render = median("render", NsPerVoxel);
    auto const loop = median("loop", NsPerVoxel);
    auto const recursion = median("recursion", NsPerVoxel);
    if (!render && !loop && !recursion)
      continue;
    auto const& [nx, ny, nz] = workload->GetGrid().dims;
    PrintRow(workload->Name(), {std::to_string(workload->NodeCount()),
                                std::to_string(nx) + "x" + std::to_string(ny) + "x" + std::to_string(nz), Text(render),
                                Text(loop), Text(Quotient(render, loop)),
                                Text(Quotient(median("render", CpuNsPerVoxel), median("loop", CpuNsPerVoxel))),
                                Text(recursion), Text(Quotient(recursion, render)),
                                Sameness(workload->LoopDifferences() + workload->RecursionDifferences())});
  }
}

/// Computes every workload in every way once. Returns whether all ways agree.
bool Check(Workloads const& iWorkloads)
{
  bool allSame = true;
  for (auto const& workload : iWorkloads) {
    workload->Render();
    if (workload->HasLoop())
      workload->RunLoop();
    std::size_t const points = workload->RunRecursion(RecursionPointsOfCheck);
    std::cout << workload->Name() << ": " << workload->GetGrid().Count() << " values, ";
    if (workload->HasLoop())
      std::cout << "same as the loop's: " << Sameness(workload->LoopDifferences()) << ", ";
    std::cout << "same as the recursion's at " << points << " points: " << Sameness(workload->RecursionDifferences())
              << '\n';
    allSame = allSame && workload->LoopDifferences() + workload->RecursionDifferences() == 0;
  }
  return allSame;
}

/// Takes the options of this program out of the arguments. Throws std::invalid_argument.
Options TakeOptions(std::vector<char*>& ioArguments)
{
  Options options;
  std::erase_if(ioArguments, [&](char const* iArgument) {
    std::string const argument = iArgument;
    std::string const side = "--side=";
    if (argument == "--check")
      options.checkOnly = true;
    else if (argument.starts_with(side)) {
      options.side = static_cast<unsigned>(std::strtoul(argument.c_str() + side.size(), nullptr, 10));
      if (options.side < 2 || options.side > 1024)
        throw std::invalid_argument("--side takes 2 to 1024 points");
    } else
      return false;
    return true;
  });
  return options;
}

int Run(std::vector<char*> iArguments)
{
  Options const options = TakeOptions(iArguments);
  // Repetitions of all benchmarks take turns, so that what they are compared with ran at the same time. Options
  // of the caller come later and win.
  std::string repetitions = "--benchmark_repetitions=3";
  std::string interleaving = "--benchmark_enable_random_interleaving=true";
  iArguments.insert(iArguments.begin() + 1, {repetitions.data(), interleaving.data()});
  int count = static_cast<int>(iArguments.size());
  iArguments.push_back(nullptr);
  benchmark::Initialize(&count, iArguments.data());
  if (benchmark::ReportUnrecognizedArguments(count, iArguments.data()))
    return 2;

  Workloads workloads;
  for (auto const& description : Workload::All()) {
    unsigned const side = options.checkOnly && options.side == 0 ? SideOfCheck : options.side;
    workloads.push_back(std::make_unique<Workload>(description, side));
    workloads.back()->Touch();
  }
  if (options.checkOnly)
    return Check(workloads) ? 0 : 1;

  for (auto const& workload : workloads)
    Register(*workload);
  RegisterParseBenchmarks();
  Report report;
  benchmark::RunSpecifiedBenchmarks(&report);
  PrintTable(workloads, report);
  bool const allSame = std::all_of(workloads.begin(), workloads.end(), [](auto const& workload) {
    return workload->LoopDifferences() + workload->RecursionDifferences() == 0;
  });
  return report.HasFailures() || !allSame ? 1 : 0;
}

} // namespace

int main(int iCount, char** iArguments)
{
  try {
    return Run(std::vector<char*>(iArguments, iArguments + iCount));
  } catch (std::invalid_argument const& error) {
    std::cerr << "sf_bench: " << error.what() << '\n';
    return 2;
  } catch (std::exception const& error) {
    std::cerr << "sf_bench: " << error.what() << '\n';
    return 1;
  }
}
