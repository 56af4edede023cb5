#include "Failure.h"
#include "Output.h"
#include "SFInstructionSets.h"
#include "SFVersion.h"
#include "Signals.h"
#include "Verbs.h"

#include <CLI/CLI.hpp>

#include <cstdlib>
#include <fcntl.h>
#include <iostream>
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
};

constexpr Verb Verbs[] = {
    {"text", "Write a model's canonical text", AddText},
    {"eval", "Evaluate a model at points, one value a line", AddEval},
    {"grid", "Sample a model on a voxel grid, into a NumPy or raw file", AddGrid},
    {"slice", "Draw one slice of a voxel grid as a PNG picture", AddSlice},
    {"derive", "Differentiate a model along an axis, into text", AddDerive},
    {"gradient", "Write the three components of a model's gradient, one a line", AddGradient},
    {"simplify", "Simplify a model, into text", AddSimplify},
    {"curvature", "Find the extreme curvatures of a model's surface on a voxel grid", AddCurvature},
    {"graph", "Draw the graph of a model, for GraphViz or as an SVG picture", AddGraph},
    {"check", "Tell where a model's text is read as something else than it looks like", AddCheck},
    {"offset", "Write the text of a model whose surface is moved, or made a shell", AddOffset},
};

constexpr int FailureStatus = 1;
constexpr int UsageStatus = 2;

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

/// The command line, and the verb that it chose.
class CommandLine
{
public:
  CommandLine() : _app("Works with solid geometry given as scalar fields.", "sfdag")
  {
    _app.set_version_flag("--version", "sfdag " SF_VERSION_STRING);
    _app.get_formatter()->label("SUBCOMMAND", "VERB");
    _app.footer(
        "MODEL is a file with an expression or a listing (.vm), - for the standard input, or -x 'EXPR'.\n"
        "sfdag VERB --help explains a verb and shows examples.\n\n"
        "A model has its plain meaning: a transform places its operand and nothing else, blends blend, offsets\n"
        "move all surfaces, derivatives follow the rules of calculus, and numbers keep all their digits. With\n"
        "--strict a model is read and computed by the letter of the library's SFDag classes instead, six digits,\n"
        "merged parts and grid-dependent values included: for programs that must agree with hosts built on them.");
    for (Verb const& verb : Verbs) {
      CLI::App& command = *_app.add_subcommand(verb.name, verb.summary)->group("Verbs");
      Arguments arguments(command);
      command.callback([this, action = verb.add(arguments)] { _action = action; });
    }
  }

  /// What is to be done; the printing of a help text where one was asked for.
  Action Read(int iCount, char const* const* iTexts)
  {
    try {
      _app.parse(iCount, iTexts);
    } catch (CLI::Success const& request) {
      std::ostringstream text;
      _app.exit(request, text, text);
      return [bytes = text.str()] {
        Output output("-");
        output.Write(bytes);
        output.Commit();
      };
    } catch (CLI::ParseError const& error) {
      bool const misnamedVerb = iCount > 1 && ChosenVerb().empty() && iTexts[1][0] != '-';
      throw UsageError(misnamedVerb ? "unknown verb " + Quoted(iTexts[1]) + ", there are: " + VerbList()
                                    : error.what());
    }
    if (_action == nullptr)
      throw UsageError("give a verb: " + VerbList());
    RequireKnownInstructionSet();
    return _action;
  }

  /// "grid " once that verb has been read.
  std::string ChosenVerb() const
  {
    auto const chosen = _app.get_subcommands();
    return chosen.empty() ? "" : chosen.front()->get_name() + " ";
  }

private:
  static std::string VerbList()
  {
    std::string list;
    for (Verb const& verb : Verbs)
      list.append(list.empty() ? "" : ", ").append(verb.name);
    return list;
  }

  CLI::App _app;
  Action _action;
};

int Complain(std::string const& iWrong, int iStatus)
{
  std::cerr << OneLine("sfdag: " + iWrong) + "\n";
  return iStatus;
}

int Main(int iCount, char const* const* iTexts)
{
  CommandLine commandLine;
  try {
    commandLine.Read(iCount, iTexts)();
    return 0;
  } catch (Ending const& ending) {
    return ending.status;
  } catch (UsageError const& error) {
    return Complain(std::string(error.what()) + " (see sfdag " + commandLine.ChosenVerb() + "--help)", UsageStatus);
  } catch (std::bad_alloc const&) {
    return Complain("out of memory", FailureStatus);
  } catch (std::exception const& error) {
    return Complain(error.what(), FailureStatus);
  }
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
