// What pictures cost: seconds of a picture of 1024 x 768 pixels with four samples each, the best of several.
//
// Usage: sf_render_bench [THREADS]

#include "SFRenderer.h"
#include "SFSampling.h"
#include "SFShapes.h"
#include "Stopwatch.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

namespace {

using namespace SF;

void Report(char const* iName, SFField const& iField, unsigned int iThreads)
{
  constexpr int rounds = 3;
  SFWorkOptions work;
  work.threads = iThreads;
  SFBench::Times best{1e300, 1e300};
  for (int round = 0; round < rounds; ++round) {
    SFBench::Stopwatch const watch;
    Render(iField, RequireBounds(iField), {}, work);
    SFBench::Times const took = watch.Elapsed();
    best = {std::min(best.wall, took.wall), std::min(best.cpu, took.cpu)};
  }
  std::printf("%-20s %7.2f s, %7.2f s of processor time\n", iName, best.wall, best.cpu);
}

} // namespace

int main(int iCount, char** iTexts)
{
  auto const threads = iCount > 1 ? static_cast<unsigned int>(std::strtoul(iTexts[1], nullptr, 10)) : 2U;
  SFField const gyroid = Intersection(PeriodicSheet(SFPeriodicSurface::Gyroid, 8.0, 1.0), Sphere(18.0));
  SFField const lattice = Lattice(SFLattice::Octet, {10, 10, 10}, {1.0, 1.0, 1.0}, 0.05);
  Report("gyroid in a ball", gyroid, threads);
  Report("octet 10 x 10 x 10", lattice, threads);
  return 0;
}
