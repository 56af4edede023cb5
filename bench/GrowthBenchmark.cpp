/// Measures how compiling and rendering grow with the nodes of a field and with the grid, and what memory a large
/// rendering takes beside its output. Writes two tables, nodes.csv and grid.csv, into the folder that it is given.

#include "Stopwatch.h"
#include "Workloads.h"

#include "SFCompiledField.h"

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using namespace SFBench;

constexpr int Repetitions = 5;

SF::SFSWContext const& Level2()
{
  static SF::SFSWContext const context(SF::SFSemanticLevel::ESemanticLevel2);
  return context;
}

/// The least wall time of a few repetitions, in milliseconds: what disturbs a measurement only adds to it.
template <class Work>
double LeastMilliseconds(int iRepetitions, Work iWork)
{
  double least = 1e300;
  for (int i = 0; i < iRepetitions; ++i) {
    Stopwatch const watch;
    iWork();
    least = std::min(least, watch.Elapsed().wall);
  }
  return 1e3 * least;
}

/// A balanced union of spheres that all differ, spread over a cube of edge 100; 14 nodes each at most.
std::string Spheres(std::size_t iFirst, std::size_t iCount, double iRadius)
{
  if (iCount > 1)
    return "U " + Spheres(iFirst, iCount / 2, iRadius) + Spheres(iFirst + iCount / 2, iCount - iCount / 2, iRadius);
  auto const place = [&](double iStep) { // additive recurrences fill the cube evenly
    double const at = iStep * static_cast<double>(iFirst + 1);
    return 100.0 * (at - static_cast<double>(static_cast<long>(at)));
  };
  char text[128];
  std::snprintf(text, sizeof text, "- r + + q - X f%.6g q - Y f%.6g q - Z f%.6g f%.6g ", place(0.8191725134),
                place(0.6710436067), place(0.5497004779), iRadius);
  return text;
}

void GrowWithNodes(std::string const& iFolder)
{
  std::ofstream table(iFolder + "/nodes.csv");
  table << "nodes,compile ms,render ms\n";
  constexpr unsigned side = 128;
  for (std::size_t const parts : {9U, 26U, 86U, 260U, 860U, 2600U, 8600U}) {
    auto const root = BuildQuietly(Spheres(0, parts, 30.0 / std::cbrt(static_cast<double>(parts))) + "$");
    std::shared_ptr<SF::SFCompiledField> field;
    double const compiling = LeastMilliseconds(Repetitions, [&] {
      if (Failed(SF::SFCompiledField::Compile(Level2(), root, {}, field)))
        throw std::runtime_error("a field cannot be compiled");
    });
    std::vector<float> values(side * side * side);
    unsigned const dims[3] = {side, side, side};
    double const origin[3] = {0.0, 0.0, 0.0};
    double const rendering = LeastMilliseconds(Repetitions, [&] {
      if (Failed(field->RenderSlices(dims, 0, side, values, 100.0 / (side - 1), origin)))
        throw std::runtime_error("a field cannot be rendered");
    });
    table << CountNodes(*root) << ',' << compiling << ',' << rendering << '\n' << std::flush;
  }
}

void GrowWithGrid(std::string const& iFolder)
{
  std::vector<std::string> const names{"sphere", "gyroid_shell", "csg_balanced"};
  std::ofstream table(iFolder + "/grid.csv");
  table << "side";
  for (auto const& name : names)
    table << ',' << name;
  table << '\n';
  for (unsigned const side : {32U, 48U, 64U, 96U, 128U, 192U, 256U, 384U, 512U}) {
    table << side;
    for (auto const& description : Workload::All())
      if (std::find(names.begin(), names.end(), description.name) != names.end()) {
        Workload workload(description, side);
        workload.Touch();
        table << ',' << LeastMilliseconds(Repetitions, [&] { workload.Render(); });
      }
    table << '\n' << std::flush;
  }
}

/// The peak of the resident memory of a process that renders a workload on 512^3 points, less its arrays of values,
/// in MiB.
double MemoryBesideOutput(Workload::Description const& iDescription)
{
  constexpr unsigned side = 512;
  pid_t const child = fork();
  if (child < 0)
    throw std::runtime_error("a process cannot be started");
  if (child == 0) {
    try {
      Workload workload(iDescription, side);
      workload.Touch();
      workload.Render();
    } catch (std::exception const& error) {
      std::cerr << "sf_growth_bench: " << error.what() << '\n';
      _exit(1);
    }
    _exit(0);
  }
  int status = 0;
  rusage usage{};
  if (wait4(child, &status, 0, &usage) != child || status != 0)
    throw std::runtime_error("a process has failed");
  double const arrays = iDescription.makeLoop != nullptr ? 2.0 : 1.0; // that of the loop is there, if not computed
  return static_cast<double>(usage.ru_maxrss) / 1024.0 - arrays * side * side * side * sizeof(float) / 1048576.0;
}

} // namespace

int main(int iCount, char** iArguments)
{
  if (iCount != 2) {
    std::cerr << "usage: sf_growth_bench FOLDER\n";
    return 2;
  }
  try {
    // First, while this process is small: a child begins with what its parent has.
    for (auto const& description : Workload::All())
      if (!description.flat && description.name != "rotated_gyroid" && description.name != "bracket")
        std::cout << description.name << ", 512^3: " << static_cast<int>(MemoryBesideOutput(description))
                  << " MiB beside the output, the program included" << std::endl;
    GrowWithNodes(iArguments[1]);
    GrowWithGrid(iArguments[1]);
  } catch (std::exception const& error) {
    std::cerr << "sf_growth_bench: " << error.what() << '\n';
    return 1;
  }
}
