/// Measures how evenly the threads of a sweep share its work, on any number of processors: by the processor time of each
/// thread. README.md says what each figure means.

#include "Workloads.h"

#include "tape/SFTapeCompiler.h"
#include "tape/SFTapeSinks.h"

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <exception>
#include <numeric>
#include <stdexcept>
#include <vector>

namespace {

using namespace SFBench;

double ThreadSeconds()
{
  std::timespec now{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

/// The processor time of each thread of one sweep, without what is prepared before it, on as many processors as threads:
/// what is drawn together is timed on one thread, and goes to the thread that would be the next one free.
std::vector<double> Sweep(SF::SFTapeInvariants const& iTape, unsigned int iThreads, std::vector<float>& oValues)
{
  auto const output = SF::ValueOutput(iTape, true, oValues);
  SF::SFSweepContext context(iTape, output.Limit());
  SF::SFTapeSweep sweep(context, 0, iTape.GetGrid().dims[2], iThreads);
  std::vector<double> ends(sweep.GetRegionCount() + 1, 0.0); // by draw: when it ended
  ends[0] = ThreadSeconds();
  sweep.Work(output, {}, [&] { ends[sweep.GetRegionsDone() + 1] = ThreadSeconds(); });
  std::vector<double> threads(iThreads, 0.0);
  double last = ends[0];
  for (double const end : ends)
    if (end > last) {
      *std::min_element(threads.begin(), threads.end()) += end - last;
      last = end;
    }
  return threads;
}

void Report(Workload::Description const& iDescription, unsigned int iSide)
{
  auto const root = BuildQuietly(ReadText(SF_BENCH_MODELS "/" + iDescription.file));
  unsigned int const dims[3] = {iSide, iSide, iDescription.flat ? 1 : iSide};
  SF::SFGrid const grid(dims, iDescription.extent / (iSide - 1), iDescription.origin);
  SF::SFTapeCompiler compiler(true);
  if (!compiler.AddRoot(*root, SF::EFieldLimit))
    throw std::runtime_error("a model cannot be compiled");
  SF::SFTapeInvariants tape(compiler.Finish(), grid, {});
  tape.Prepare(1);
  std::vector<float> values(std::size_t{dims[0]} * dims[1] * dims[2]);
  std::vector<float> alone(values.size());
  auto const total = [](std::vector<double> const& iSeconds) {
    return std::accumulate(iSeconds.begin(), iSeconds.end(), 0.0);
  };
  Sweep(tape, 1, alone); // warms up
  double const single = total(Sweep(tape, 1, alone));
  for (unsigned int const threads : {2U, 4U, 8U, 16U}) {
    auto const seconds = Sweep(tape, threads, values);
    double const mean = total(seconds) / threads;
    std::printf("%-14s %5u %8u %14.2f %14.2f  %s\n", iDescription.name.c_str(), iSide, threads,
                *std::max_element(seconds.begin(), seconds.end()) / mean, total(seconds) / single,
                values == alone ? "same floats" : "DIFFERENT");
  }
}

} // namespace

int main()
{
  try {
    std::printf("%-14s %5s %8s %14s %14s\n", "workload", "side", "threads", "slowest/mean", "all/one thread");
    for (auto const& description : Workload::All())
      if (description.name == "csg_balanced" || description.name == "bracket")
        Report(description, 128);
      else if (description.name == "panel")
        Report(description, 1024);
  } catch (std::exception const& error) {
    std::fprintf(stderr, "sf_balance_bench: %s\n", error.what());
    return 1;
  }
}
