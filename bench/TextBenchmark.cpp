/// Measures how fast large expression texts are read and written, and the memory that their graphs take.

#include "AllocationCount.h"
#include "Stopwatch.h"
#include "Workloads.h"

#include "SFDagToExpression.h"
#include "graph/SFPageStore.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using namespace SFBench;

constexpr int Repetitions = 3;

/// The least processor time of the work of each kind; what disturbs a measurement only adds to it.
struct Seconds
{
  double reading = 1e300;
  double writing = 1e300;
  double releasing = 1e300;
};

std::string Write(SF::SFDagNode const& iRoot)
{
  SF::SFSWContext const context(SF::SFSemanticLevel::ESemanticLevel2);
  std::string text;
  if (Failed(SF::SFDagToExpression(context).Export(iRoot, text, false, false)))
    throw std::runtime_error("a graph cannot be written");
  return text;
}

void Measure(std::string const& iText, Seconds& ioLeast)
{
  Stopwatch const reading;
  auto root = BuildQuietly(iText);
  ioLeast.reading = std::min(ioLeast.reading, reading.Elapsed().cpu);

  Stopwatch const writing;
  std::string const written = Write(*root);
  ioLeast.writing = std::min(ioLeast.writing, writing.Elapsed().cpu);

  Stopwatch const releasing;
  root.reset();
  ioLeast.releasing = std::min(ioLeast.releasing, releasing.Elapsed().cpu);
}

void Report(std::size_t iMegabytes)
{
  std::string const text = SolidsText(iMegabytes * 1000000);

  Seconds least;
  for (int i = 0; i < Repetitions; ++i)
    Measure(text, least);

  // What the graph holds before and after it is written, and the most that reading took beside the text; with the
  // pages of its nodes fresh from the system, as in a process that reads its first text.
  SF::SFPageStore::Drop();
  AllocationCount const allocations;
  Stopwatch const reading;
  auto const root = BuildQuietly(text);
  double const first = reading.Elapsed().cpu;
  auto const held = static_cast<double>(allocations.Live());
  auto const peak = static_cast<double>(allocations.Peak());
  std::size_t const length = Write(*root).size();
  auto const heldAfterwards = static_cast<double>(allocations.Live());
  auto const nodes = static_cast<double>(CountNodes(*root));

  auto const rate = [](std::size_t iCharacters, double iSeconds) {
    return static_cast<double>(iCharacters) / 1e6 / iSeconds;
  };
  std::printf("%7zu MB %10.1f %10.1f %10.1f %10.1f %11.0f %10.0f %10.0f %10.0f\n", iMegabytes, rate(text.size(), first),
              rate(text.size(), least.reading), rate(length, least.writing), rate(text.size(), least.releasing), nodes,
              held / nodes, heldAfterwards / nodes, peak / nodes);
  std::fflush(stdout);
}

} // namespace

int main(int iCount, char** iArguments)
{
  try {
    std::vector<std::size_t> megabytes{1, 10, 100};
    if (iCount > 1) {
      megabytes.clear();
      for (int i = 1; i < iCount; ++i)
        megabytes.push_back(std::strtoul(iArguments[i], nullptr, 10));
    }
    if (std::find(megabytes.begin(), megabytes.end(), 0U) != megabytes.end()) {
      std::cerr << "usage: sf_text_bench [MEGABYTES...]\n";
      return 2;
    }
    std::printf("%10s %10s %10s %10s %10s %11s %10s %10s %10s\n", "text", "read first", "read", "written", "released",
                "nodes", "bytes", "written", "peak");
    std::printf("%10s %10s %10s %10s %10s %11s %10s %10s %10s\n", "", "MB/s", "MB/s", "MB/s", "MB/s", "", "a node",
                "a node", "a node");
    for (std::size_t const size : megabytes)
      Report(size);
  } catch (std::exception const& error) {
    std::cerr << "sf_text_bench: " << error.what() << '\n';
    return 1;
  }
}
