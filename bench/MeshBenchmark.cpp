/// Measures the making of meshes and of narrow bands: seconds, processor time and the peak of the resident memory, each in a process of its own, as a peak
/// never goes down again. `sf_mesh_bench [NAME]` runs the cases whose name holds NAME; the large ones only when named.

#include "Stopwatch.h"

#include "SFMeshFiles.h"
#include "SFMeshing.h"
#include "SFSampling.h"
#include "SFShapes.h"
#include "SFVolumeFiles.h"

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

enum class Output
{
  Mesh,
  MeshInPieces,
  Volume
};

struct Case
{
  char const* name;
  std::function<SFField()> field;
  std::uint32_t cells;
  Output output = Output::Mesh;
  bool isLarge = false; ///< takes minutes, or gigabytes of disk
};

SFField Gyroid() { return PeriodicSheet(SFPeriodicSurface::Gyroid, 0.5, 0.1); }
SFField GyroidBall() { return Intersection(Gyroid(), Sphere(1.0)); }
SFField GyroidBlock() { return Intersection(Gyroid(), Box({2.0, 2.0, 2.0})); }
SFField Struts() { return Lattice(SFLattice::Bcc, {14, 14, 13}, {0.15, 0.15, 0.15}, 0.012); }
SFField Cube() { return Box({1.0, 1.0, 1.0}); }

std::vector<Case> Cases()
{
  return {{"gyroid ball", GyroidBall, 256},
          {"20,384 struts", Struts, 256},
          {"box", Cube, 256},
          {"gyroid block", GyroidBlock, 512, Output::MeshInPieces},
          {"large gyroid block", GyroidBlock, 2048, Output::MeshInPieces, true},
          {"gyroid ball to VDB", GyroidBall, 256, Output::Volume},
          {"gyroid block to VDB", GyroidBlock, 512, Output::Volume},
          {"large block to VDB", GyroidBlock, 1024, Output::Volume, true}};
}

/// What a file holds, and how far its vertices are off, in voxels.
struct Made
{
  double items; ///< triangles, or points of a band
  double distance = 0.0;
};

Made MakeMesh(SFField const& iField, double iVoxel, bool iIsInPieces, SFOutputFile& ioFile)
{
  ZULMathBox const box = RequireBounds(iField);
  SFMeshingReport report;
  if (iIsInPieces) {
    SFMeshFileSink sink(SFMeshFormat::Stl, ioFile);
    MeshField(iField, box, iVoxel, sink, {}, &report);
    sink.Finish();
  } else
    WriteMesh(MeshField(iField, box, iVoxel, {}, &report), SFMeshFormat::Stl, ioFile);
  return {static_cast<double>(report.triangles), report.vertexDistance / report.voxel};
}

Made MakeFile(Case const& iCase, std::string const& iPath)
{
  SFField const field = iCase.field();
  double const voxel = VoxelFor(RequireBounds(field), iCase.cells);
  SFOutputFile file(iPath);
  Made made{};
  if (iCase.output == Output::Volume)
    made.items = static_cast<double>(
        WriteVolume(field, FrameOver(RequireBounds(field), voxel), SFVolumeFormat::Vdb, file).activePoints);
  else
    made = MakeMesh(field, voxel, iCase.output == Output::MeshInPieces, file);
  file.Commit();
  return made;
}

int Measure(Case const& iCase)
{
  std::string const path =
      (std::filesystem::temp_directory_path() / ("sf_mesh_bench." + std::to_string(getpid()))).string();
  try {
    SFBench::Stopwatch const watch;
    Made const made = MakeFile(iCase, path);
    SFBench::Times const times = watch.Elapsed();
    std::filesystem::remove(path);
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    std::printf("%-20s %6u %12.0f %8.2f %8.2f %10.0f %8.2f %10.1e\n", iCase.name, iCase.cells, made.items, times.wall,
                times.cpu, 1e9 * times.cpu / made.items, static_cast<double>(usage.ru_maxrss) / (1024.0 * 1024.0),
                made.distance);
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
  std::printf("%-20s %6s %12s %8s %8s %10s %8s %10s\n", "file", "cells", "triangles", "s", "cpu s", "ns each", "GiB",
              "dist/voxel");
  bool isWell = true;
  for (Case const& one : Cases())
    if (one.isLarge ? wanted == one.name : std::string_view(one.name).find(wanted) != std::string_view::npos)
      isWell = MeasureApart(one) && isWell;
  return isWell ? 0 : 1;
}
