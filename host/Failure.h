#pragma once

#include "ZULResultCodes.h"

#include <stdexcept>
#include <string>

namespace SFHost {

/// What the process ends with.
enum ExitStatus
{
  DoneStatus = 0,
  FailureStatus = 1,
  UsageStatus = 2,
  ModelStatus = 3,
  MemoryStatus = 4,
  CancelledStatus = 130 ///< as shells number the end by SIGINT
};

/// Why the tool cannot do what it was asked: the line that the user reads, without the tool's name.
class Failure : public std::runtime_error
{
public:
  using std::runtime_error::runtime_error;
  /// "<subject>: <what is wrong>"; an empty subject is shown as ''.
  Failure(std::string const& iSubject, std::string const& iWrong);
};

/// The model is to blame: its text cannot be read, or what it describes cannot be worked on.
class ModelFailure : public Failure
{
public:
  using Failure::Failure;
};

/// The command line itself is wrong.
class UsageError : public std::runtime_error
{
public:
  using std::runtime_error::runtime_error;
};

/// Ends the tool without another line, with a status of its own.
struct Ending
{
  int status;
};

/// A failure of a system call on a file, in the system's words.
Failure SystemFailure(std::string const& iFile, int iErrorNumber);

/// Throws the failure of a library operation on a model, named by what it could not do, when the code is one.
void Require(HRESULT iCode, std::string const& iModelName, std::string const& iWrong);

/// A piece of input as it may be shown in a message: in quotes, cut when long.
std::string Quoted(std::string const& iText);

/// The text as one line that a terminal shows harmlessly: control characters become "?".
std::string OneLine(std::string iText);

} // namespace SFHost
