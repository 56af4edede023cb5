/// Measures meshing: seconds, processor time and the peak of the resident memory, each in a process of its own, as a peak
/// never goes down again. `sf_mesh_bench [NAME]` runs the cases whose name holds NAME; the largest one only when named.

#include "Stopwatch.h"

#include "SFMeshFiles.h"
#include "SFMeshing.h"
#include "SFSampling.h"
#include "SFShapes.h"

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <exception>
#include <filesystem>
#include <functional>
#include <iostream>
#include <string>
#include <string_view>
#include <vector>

namespace {

using namespace SF;

struct Case
{
  char const* name;
  std::function<SFField()> field;
  std::uint32_t cells;
  bool isStreamed = false;
  bool isLarge = false; ///< takes minutes and gigabytes of disk
};

SFField Gyroid() { return PeriodicSheet(SFPeriodicSurface::Gyroid, 0.5, 0.1); }

std::vector<Case> Cases()
{
  auto const struts = [] { return Lattice(SFLattice::Bcc, {14, 14, 13}, {0.15, 0.15, 0.15}, 0.012); };
  return {{"gyroid ball", [] { return Intersection(Gyroid(), Sphere(1.0)); }, 256},
          {"20,384 struts", struts, 256},
          {"box",
           [] {
             return Box({1.0, 1.0, 1.0});
           },
           256},
          {"gyroid block",
           [] {
             return Intersection(Gyroid(), Box({2.0, 2.0, 2.0}));
           },
           512, true},
          {"large gyroid block",
           [] {
             return Intersection(Gyroid(), Box({2.0, 2.0, 2.0}));
           },
           2048, true, true}};
}

SFMeshingReport MeshToStl(Case const& iCase, std::string const& iPath)
{
  SFField const field = iCase.field();
  ZULMathBox const box = RequireBounds(field);
  double const voxel = VoxelFor(box, iCase.cells);
  SFMeshingReport report;
  SFOutputFile file(iPath);
  if (iCase.isStreamed) {
    SFMeshFileSink sink(SFMeshFormat::Stl, file);
    MeshField(field, box, voxel, sink, {}, &report);
    sink.Finish();
  } else
    WriteMesh(MeshField(field, box, voxel, {}, &report), SFMeshFormat::Stl, file);
  file.Commit();
  return report;
}

int Measure(Case const& iCase)
{
  std::string const path =
      (std::filesystem::temp_directory_path() / ("sf_mesh_bench." + std::to_string(getpid()) + ".stl")).string();
  try {
    SFBench::Stopwatch const watch;
    SFMeshingReport const report = MeshToStl(iCase, path);
    SFBench::Times const times = watch.Elapsed();
    std::filesystem::remove(path);
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    auto const triangles = static_cast<double>(report.triangles);
    std::printf("%-20s %6u %12.0f %8.2f %8.2f %10.0f %8.2f %10.1e\n", iCase.name, iCase.cells, triangles, times.wall,
                times.cpu, 1e9 * times.cpu / triangles, static_cast<double>(usage.ru_maxrss) / (1024.0 * 1024.0),
                report.vertexDistance / report.voxel);
    return 0;
  } catch (std::exception const& error) {
    std::filesystem::remove(path);
    std::cerr << iCase.name << ": " << error.what() << '\n';
    return 1;
  }
}

/// In a process of its own.
bool MeasureApart(Case const& iCase)
{
  std::fflush(stdout);
  pid_t const child = fork();
  if (child == 0) {
    int const code = Measure(iCase);
    std::fflush(stdout);
    _exit(code);
  }
  int status = 0;
  return child > 0 && waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

} // namespace

int main(int iCount, char** iArguments)
{
  std::string_view const wanted = iCount > 1 ? iArguments[1] : "";
  std::printf("%-20s %6s %12s %8s %8s %10s %8s %10s\n", "to STL", "cells", "triangles", "s", "cpu s", "ns/tri", "GiB",
              "dist/voxel");
  bool isWell = true;
  for (Case const& one : Cases())
    if (one.isLarge ? wanted == one.name : std::string_view(one.name).find(wanted) != std::string_view::npos)
      isWell = MeasureApart(one) && isWell;
  return isWell ? 0 : 1;
}
