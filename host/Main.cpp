#include "CommandLine.h"
#include "Failure.h"
#include "Messages.h"
#include "Signals.h"
#include "Streams.h"
#include "Watch.h"

#include <algorithm>
#include <iostream>

namespace SFHost {
namespace {

constexpr Verb Verbs[] = {
    {"info", "Tell what a model is made of, and what is known of it", AddInfo},
    {"mesh", "Mesh the surface of a model, for printing, viewing and computing", AddMesh},
    {"measure", "Measure a solid: volume, area, box, centre of mass, holes, walls", AddMeasure},
    {"text", "Write a model's canonical text", AddText},
    {"eval", "Evaluate a model at points, one value a line", AddEval},
    {"render", "Draw the part in 3-D, as a PNG picture", AddRender},
    {"grid", "Sample a model on a voxel grid, into a volume file", AddGrid},
    {"slice", "Draw a plane section, as a PNG or SVG picture", AddSlice},
    {"derive", "Differentiate a model along an axis, into text", AddDerive},
    {"gradient", "Write the three components of a model's gradient, one a line", AddGradient},
    {"simplify", "Simplify a model, into text", AddSimplify},
    {"curvature", "Find the extreme curvatures of a model's surface on a voxel grid", AddCurvature},
    {"graph", "Draw the graph of a model, for GraphViz or as an SVG picture", AddGraph},
    {"bench", "Time a model on this machine", AddBench},
    {"check", "Tell where a model's text is read as something else than it looks like", AddCheck},
    {"offset", "Write the text of a model whose surface is moved, or made a shell", AddOffset},
    {"view", "Show a model on a page for the browser, with its parameters and its text", AddView, true},
};

constexpr Program Sfdag{
    "sfdag", "Works with solid geometry given as scalar fields.",
    "MODEL is a file with an expression, a formula (.sfm) or a listing (.vm), - for the standard input,\n"
    "-x 'EXPR', or -e 'FORMULA'. sfdag help VERB explains a verb and shows examples.\n\n"
    "A model has its plain meaning: a transform places its operand and nothing else, blends blend, offsets\n"
    "move all surfaces, derivatives follow the rules of calculus, and numbers keep all their digits. With\n"
    "--strict a model is read and computed by the letter of the library's SFDag classes instead, six digits,\n"
    "merged parts and grid-dependent values included: for programs that must agree with hosts built on them.",
    Verbs};

/// The exit status of something; one line where it fails.
int StatusOf(CommandLine const& iCommandLine, std::function<void()> const& iRun)
{
  auto const [status, line] = iCommandLine.OutcomeOf(iRun);
  if (!line.empty())
    std::cerr << line + "\n";
  return status;
}

void Run(CommandLine const& iCommandLine, Task const& iTask)
{
  CommonOptions const& options = *iTask.options;
  SetLoudness(options.isQuiet ? Loudness::Quiet : options.isVerbose ? Loudness::Verbose : Loudness::Normal);
  if (!options.isWatching || iTask.isWatcher)
    return iTask.action(options);
  RunWhenChanged(*options.model.file, [&] {
    int const status = StatusOf(iCommandLine, [&] { iTask.action(options); });
    Warn(OneLine(*options.model.file) + (status == DoneStatus ? ": done, " : ": not done, ") + "waiting for changes\n");
  });
}

int Main(int iCount, char const* const* iTexts)
{
  CommandLine commandLine(Sfdag);
  return StatusOf(commandLine, [&] {
    Run(commandLine, commandLine.Read({iTexts + std::min(iCount, 1), iTexts + iCount}));
  });
}

} // namespace
} // namespace SFHost

int main(int iCount, char** iTexts)
{
  SFHost::OpenMissingStreams();
  SFHost::CatchSignals("sfdag");
  // The standard output is for results; the library's lines go where people look for them.
  std::cout.rdbuf(std::cerr.rdbuf());
  return SFHost::Main(iCount, iTexts);
}
