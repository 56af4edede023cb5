#include "CommandLine.h"

#include "Failure.h"
#include "SFInstructionSets.h"
#include "SFOutputFile.h"
#include "SFToolsErrors.h"
#include "SFVersion.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cstdlib>
#include <map>
#include <new>
#include <sstream>

namespace SFHost {
namespace {

constexpr char const* ExitCodes =
    "\n\nUnits: lengths are in the model's unit (mm unless --units says otherwise), angles in radians.\n\n"
    "Exit codes: 0 done; 1 failure, as of a file; 2 wrong command line; 3 the model cannot be read or\n"
    "worked on; 4 too little memory; 130 cancelled (SIGINT).";

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

} // namespace

struct CommandLine::Content
{
  explicit Content(Program const& iProgram);
  void Add(Verb const& iVerb);
  /// "grid " once that verb has been read.
  std::string ChosenVerb() const;
  std::string VerbList() const;

  Program program;
  CLI::App app;
  std::map<std::string, Arguments> verbs;
  Task task;
};

CommandLine::Content::Content(Program const& iProgram) : program(iProgram), app(iProgram.purpose, iProgram.name)
{
  app.set_version_flag("--version", std::string(iProgram.name) + " " SF_VERSION_STRING);
  app.get_formatter()->label("SUBCOMMAND", "VERB");
  app.footer(std::string(iProgram.footer) + ExitCodes);
  for (Verb const& verb : iProgram.verbs)
    Add(verb);
}

void CommandLine::Content::Add(Verb const& iVerb)
{
  CLI::App& command = *app.add_subcommand(iVerb.name, iVerb.summary)->group("Verbs");
  Arguments& arguments = verbs.emplace(iVerb.name, Arguments(command)).first->second;
  Task const added{iVerb.add(arguments), std::make_shared<CommonOptions>(), iVerb.isWatcher};
  added.options->AddTo(arguments);
  command.footer(command.get_footer() + ExitCodes);
  command.callback([this, added] { task = added; });
}

std::string CommandLine::Content::ChosenVerb() const
{
  auto const chosen = app.get_subcommands();
  return chosen.empty() ? "" : chosen.front()->get_name() + " ";
}

std::string CommandLine::Content::VerbList() const
{
  std::string list;
  for (Verb const& verb : program.verbs)
    list.append(list.empty() ? "" : ", ").append(verb.name);
  return list;
}

CommandLine::CommandLine(Program const& iProgram) : _content(std::make_unique<Content>(iProgram)) {}
CommandLine::~CommandLine() = default;

Task CommandLine::Read(std::vector<std::string> iWords)
{
  CLI::App& app = _content->app;
  auto& verbs = _content->verbs;
  // "help VERB" is "VERB --help".
  if (!iWords.empty() && iWords.front() == "help") {
    iWords.erase(iWords.begin());
    iWords.emplace_back("--help");
  }
  try {
    auto const verb = verbs.find(iWords.empty() ? "" : iWords.front());
    auto words = verb == verbs.end() ? iWords : verb->second.Split(iWords);
    std::reverse(words.begin(), words.end()); // as the parser takes them
    app.parse(std::move(words));
  } catch (CLI::Success const& request) {
    std::ostringstream text;
    app.exit(request, text, text);
    return {[bytes = text.str()](CommonOptions const&) {
              SF::SFOutputFile output("-");
              output.Write(bytes);
              output.Commit();
            },
            std::make_shared<CommonOptions>()};
  } catch (CLI::ParseError const& error) {
    bool const misnamedVerb = !iWords.empty() && _content->ChosenVerb().empty() && iWords.front()[0] != '-';
    throw UsageError(misnamedVerb ? "unknown verb " + Quoted(iWords.front()) + ", there are: " + _content->VerbList()
                                  : error.what());
  }
  if (_content->task.action == nullptr)
    throw UsageError("give a verb: " + _content->VerbList());
  RequireKnownInstructionSet();
  if (_content->task.options->isWatching &&
      (!_content->task.options->model.file || *_content->task.options->model.file == "-"))
    throw UsageError("--watch needs a MODEL that is a file");
  return _content->task;
}

Outcome CommandLine::OutcomeOf(std::function<void()> const& iRun) const
{
  auto const failed = [this](int iStatus, std::string const& iWrong) {
    return Outcome{iStatus, OneLine(std::string(_content->program.name) + ": " + iWrong)};
  };
  try {
    iRun();
    return {};
  } catch (Ending const& ending) {
    return {ending.status, ""};
  } catch (UsageError const& error) {
    return failed(UsageStatus, std::string(error.what()) + " (see " + _content->program.name + " " +
                                   _content->ChosenVerb() + "--help)");
  } catch (ModelFailure const& error) {
    return failed(ModelStatus, error.what());
  } catch (SF::SFModelError const& error) {
    return failed(ModelStatus, error.what());
  } catch (SF::SFMemoryLimit const& error) {
    return failed(MemoryStatus, error.what());
  } catch (std::bad_alloc const&) {
    return failed(MemoryStatus, "out of memory");
  } catch (std::exception const& error) {
    return failed(FailureStatus, error.what());
  }
}

} // namespace SFHost
