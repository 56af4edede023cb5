#include "CommandLine.h"
#include "Input.h"
#include "Messages.h"
#include "OverRanks.h"
#include "Ranks.h"
#include "Signals.h"
#include "Streams.h"

#include <algorithm>
#include <csignal>
#include <fcntl.h>
#include <iostream>
#include <unistd.h>

namespace SFMpi {
namespace {

SFHost::Action AddGrid(SFHost::Arguments& ioArguments)
{
  auto const action = SFHost::AddGridBy(ioArguments, GridOverRanks, false);
  ioArguments.Examples("  mpirun -n 64 sfdag-mpi grid plate.sfm -n 4096 -o plate.nrrd\n\n"
                       "As sfdag grid, to the byte, but for .vdb, which one process writes.");
  return action;
}

SFHost::Action AddMesh(SFHost::Arguments& ioArguments)
{
  auto const action = SFHost::AddMeshBy(ioArguments, MeshOverRanks);
  ioArguments.Examples(
      "  mpirun -n 64 sfdag-mpi mesh plate.sfm -n 2048 -o plate.stl\n\n"
      "As sfdag mesh, to the byte, into .stl and .ply. The mesh is in the memory of all processes together.");
  return action;
}

SFHost::Action AddMeasure(SFHost::Arguments& ioArguments)
{
  auto const action = SFHost::AddMeasureBy(ioArguments, MeasureOverRanks);
  ioArguments.Examples(
      "  mpirun -n 64 sfdag-mpi measure plate.sfm -n 1024\n\n"
      "As sfdag measure, to the last digit. All make the mesh; the first process holds and measures it.");
  return action;
}

constexpr SFHost::Verb Verbs[] = {
    {"grid", "Sample a model on a voxel grid, into a volume file", AddGrid},
    {"mesh", "Mesh the surface of a model, for printing, viewing and computing", AddMesh},
    {"measure", "Measure a solid: volume, area, box, centre of mass, holes, walls", AddMeasure},
};

constexpr SFHost::Program SfdagMpi{
    "sfdag-mpi", "Works with solid geometry given as scalar fields, by the processes of an MPI job.",
    "mpirun -n R sfdag-mpi VERB ... does what sfdag VERB ... does, with the same options, and with the same result, "
    "to\n"
    "the byte, for every R. The first process reads the model and hands it out. Without -j the processes of a machine\n"
    "share its processors. When one process fails, all end with one line; mpirun -q adds none of its own. -v tells how "
    "evenly they have worked.",
    Verbs};

/// Processes but the first one say nothing, unless by the line of a signal.
void BeSilent()
{
  int const nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
  if (nowhere >= 0)
    dup2(nowhere, STDOUT_FILENO);
  std::cerr.rdbuf(nullptr);
}

/// From here on mpirun may end the processes that are left, as others of the job have gone.
void LetSignalsEnd()
{
  for (int const signal : {SIGINT, SIGTERM, SIGHUP})
    std::signal(signal, SIG_DFL);
}

void Run(Ranks const& iRanks, SFHost::Task const& iTask)
{
  SFHost::CommonOptions& options = *iTask.options;
  SFHost::SetLoudness(options.isQuiet || !iRanks.IsFirst() ? SFHost::Loudness::Quiet
                      : options.isVerbose                  ? SFHost::Loudness::Verbose
                                                           : SFHost::Loudness::Normal);
  if (options.isWatching)
    throw SFHost::UsageError("--watch is for sfdag");
  SFHost::RequirePlain(options.model);
  if (options.threads == 0)
    options.threads = iRanks.CountThreads();
  if (options.model.file) {
    std::string content;
    iRanks.Together([&] {
      if (iRanks.IsFirst())
        content = SFHost::ReadInput(*options.model.file);
    });
    options.model.content = iRanks.Broadcast(std::move(content));
  }
  iTask.action(options);
}

int Main(Ranks& ioRanks, int iCount, char const* const* iTexts)
{
  SFHost::CommandLine commandLine(SfdagMpi);
  ioRanks.SetJudge([&](std::function<void()> const& iWork) { return commandLine.OutcomeOf(iWork); });
  try {
    ioRanks.Together([&] { Run(ioRanks, commandLine.Read({iTexts + std::min(iCount, 1), iTexts + iCount})); });
    return 0;
  } catch (AgreedFailure const& failure) {
    LetSignalsEnd();
    if (ioRanks.IsFirst() && !failure.outcome.line.empty())
      std::cerr << failure.outcome.line + "\n";
    return failure.outcome.status;
  }
}

} // namespace
} // namespace SFMpi

int main(int iCount, char** iTexts)
{
  SFHost::OpenMissingStreams();
  SFMpi::Ranks ranks(iCount, iTexts);
  SFHost::CatchSignals("sfdag-mpi", !ranks.IsFirst());
  if (!ranks.IsFirst())
    SFMpi::BeSilent();
  std::cout.rdbuf(std::cerr.rdbuf());
  return SFMpi::Main(ranks, iCount, iTexts);
}
