#pragma once

#include "Verbs.h"

#include <functional>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace SFHost {

struct Verb
{
  char const* name;
  char const* summary;
  Action (*add)(Arguments&);
  bool isWatcher = false; ///< looks after --watch itself
};

/// What the help says of a program, and its verbs.
struct Program
{
  char const* name;
  char const* purpose;
  char const* footer;
  std::span<Verb const> verbs;
};

/// What a command line asks for.
struct Task
{
  Action action;
  std::shared_ptr<CommonOptions> options;
  bool isWatcher = false;
};

/// How something ended: the exit status, and the line that tells why it failed, if one is to be told.
struct Outcome
{
  int status = 0;
  std::string line;
};

/// The command line of a program, and the verb that it chose.
class CommandLine
{
public:
  explicit CommandLine(Program const& iProgram);
  CommandLine(CommandLine const&) = delete;
  CommandLine& operator=(CommandLine const&) = delete;
  ~CommandLine();

  /// What is to be done; the printing of a help text where one was asked for. Throws a UsageError.
  Task Read(std::vector<std::string> iWords);
  /// Does something that throws as actions do.
  Outcome OutcomeOf(std::function<void()> const& iRun) const;

private:
  struct Content;
  std::unique_ptr<Content> _content;
};

} // namespace SFHost
