#include "Failure.h"
#include "Messages.h"
#include "SFInstructionSets.h"
#include "SFOutputFile.h"
#include "SFToolsErrors.h"
#include "SFVersion.h"
#include "Signals.h"
#include "Verbs.h"
#include "Watch.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cstdlib>
#include <fcntl.h>
#include <functional>
#include <iostream>
#include <map>
#include <memory>
#include <new>
#include <sstream>
#include <unistd.h>

namespace SFHost {
namespace {

struct Verb
{
  char const* name;
  char const* summary;
  Action (*add)(Arguments&);
  bool isWatcher = false; ///< looks after --watch itself
};

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

constexpr char const* ExitCodes =
    "\n\nUnits: lengths are in the model's unit (mm unless --units says otherwise), angles in radians.\n\n"
    "Exit codes: 0 done; 1 failure, as of a file; 2 wrong command line; 3 the model cannot be read or\n"
    "worked on; 4 too little memory; 130 cancelled (SIGINT).";

/// A file opened later must not take the place of a closed standard stream, where the library writes its lines.
/// What takes it instead is opened the wrong way round, so that its use fails as that of the closed one.
void OpenMissingStreams()
{
  for (int const stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
    if (fcntl(stream, F_GETFD) == -1)
      open("/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY);
}

/// Throws a UsageError when the environment forces a set of instructions by a name that does not exist: the library
/// would take another one.
void RequireKnownInstructionSet()
{
  using Sets = SF::SFInstructionSets;
  char const* const forced = std::getenv(Sets::Variable);
  if (forced == nullptr || *forced == '\0' || Sets::IsName(forced))
    return;
  std::string names;
  for (std::string const& name : Sets::GetNames())
    names.append(names.empty() ? "" : "|").append(name);
  throw UsageError(std::string(Sets::Variable) + ": " + Quoted(forced) + " is not one of " + names);
}

/// What a command line asks for.
struct Task
{
  Action action;
  std::shared_ptr<CommonOptions> options;
  bool isWatcher = false;
};

/// The command line, and the verb that it chose.
class CommandLine
{
public:
  CommandLine() : _app("Works with solid geometry given as scalar fields.", "sfdag")
  {
    _app.set_version_flag("--version", "sfdag " SF_VERSION_STRING);
    _app.get_formatter()->label("SUBCOMMAND", "VERB");
    _app.footer(
        std::string(
            "MODEL is a file with an expression, a formula (.sfm) or a listing (.vm), - for the standard input,\n"
            "-x 'EXPR', or -e 'FORMULA'. sfdag help VERB explains a verb and shows examples.\n\n"
            "A model has its plain meaning: a transform places its operand and nothing else, blends blend, offsets\n"
            "move all surfaces, derivatives follow the rules of calculus, and numbers keep all their digits. With\n"
            "--strict a model is read and computed by the letter of the library's SFDag classes instead, six digits,\n"
            "merged parts and grid-dependent values included: for programs that must agree with hosts built on them.") +
        ExitCodes);
    for (Verb const& verb : Verbs)
      Add(verb);
  }

  /// What is to be done; the printing of a help text where one was asked for.
  Task Read(std::vector<std::string> iWords)
  {
    // "help VERB" is "VERB --help".
    if (!iWords.empty() && iWords.front() == "help") {
      iWords.erase(iWords.begin());
      iWords.emplace_back("--help");
    }
    try {
      auto const verb = _verbs.find(iWords.empty() ? "" : iWords.front());
      auto words = verb == _verbs.end() ? iWords : verb->second.Split(iWords);
      std::reverse(words.begin(), words.end()); // as the parser takes them
      _app.parse(std::move(words));
    } catch (CLI::Success const& request) {
      std::ostringstream text;
      _app.exit(request, text, text);
      return {[bytes = text.str()](CommonOptions const&) {
                SF::SFOutputFile output("-");
                output.Write(bytes);
                output.Commit();
              },
              std::make_shared<CommonOptions>()};
    } catch (CLI::ParseError const& error) {
      bool const misnamedVerb = !iWords.empty() && ChosenVerb().empty() && iWords.front()[0] != '-';
      throw UsageError(misnamedVerb ? "unknown verb " + Quoted(iWords.front()) + ", there are: " + VerbList()
                                    : error.what());
    }
    if (_task.action == nullptr)
      throw UsageError("give a verb: " + VerbList());
    RequireKnownInstructionSet();
    if (_task.options->isWatching && (!_task.options->model.file || *_task.options->model.file == "-"))
      throw UsageError("--watch needs a MODEL that is a file");
    return _task;
  }

  /// "grid " once that verb has been read.
  std::string ChosenVerb() const
  {
    auto const chosen = _app.get_subcommands();
    return chosen.empty() ? "" : chosen.front()->get_name() + " ";
  }

private:
  void Add(Verb const& iVerb)
  {
    CLI::App& command = *_app.add_subcommand(iVerb.name, iVerb.summary)->group("Verbs");
    Arguments& arguments = _verbs.emplace(iVerb.name, Arguments(command)).first->second;
    Task const task{iVerb.add(arguments), std::make_shared<CommonOptions>(), iVerb.isWatcher};
    task.options->AddTo(arguments);
    command.footer(command.get_footer() + ExitCodes);
    command.callback([this, task] { _task = task; });
  }

  static std::string VerbList()
  {
    std::string list;
    for (Verb const& verb : Verbs)
      list.append(list.empty() ? "" : ", ").append(verb.name);
    return list;
  }

  CLI::App _app;
  std::map<std::string, Arguments> _verbs;
  Task _task;
};

int Complain(std::string const& iWrong, int iStatus)
{
  std::cerr << OneLine("sfdag: " + iWrong) + "\n";
  return iStatus;
}

/// The exit status of something; one line where it fails.
int StatusOf(CommandLine const& iCommandLine, std::function<void()> const& iRun)
{
  try {
    iRun();
    return DoneStatus;
  } catch (Ending const& ending) {
    return ending.status;
  } catch (UsageError const& error) {
    return Complain(std::string(error.what()) + " (see sfdag " + iCommandLine.ChosenVerb() + "--help)", UsageStatus);
  } catch (ModelFailure const& error) {
    return Complain(error.what(), ModelStatus);
  } catch (SF::SFModelError const& error) {
    return Complain(error.what(), ModelStatus);
  } catch (SF::SFMemoryLimit const& error) {
    return Complain(error.what(), MemoryStatus);
  } catch (std::bad_alloc const&) {
    return Complain("out of memory", MemoryStatus);
  } catch (std::exception const& error) {
    return Complain(error.what(), FailureStatus);
  }
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
  CommandLine commandLine;
  return StatusOf(commandLine, [&] {
    Run(commandLine, commandLine.Read({iTexts + std::min(iCount, 1), iTexts + iCount}));
  });
}

} // namespace
} // namespace SFHost

int main(int iCount, char** iTexts)
{
  SFHost::OpenMissingStreams();
  SFHost::CatchSignals();
  // The standard output is for results; the library's lines go where people look for them.
  std::cout.rdbuf(std::cerr.rdbuf());
  return SFHost::Main(iCount, iTexts);
}
