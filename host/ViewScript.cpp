#include "ViewScript.h"

#include "Failure.h"
#include "Input.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <poll.h>
#include <stdexcept>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace SFHost {
namespace {

using Clock = std::chrono::steady_clock;

constexpr auto MostTime = std::chrono::seconds(30);
constexpr std::size_t MostMessages = 64 << 10;

/// The reading end of a pipe, and the one that a child writes to.
struct Pipe
{
  Pipe()
  {
    if (pipe2(ends, O_CLOEXEC) != 0)
      throw SystemFailure("pipe", errno);
  }
  Pipe(Pipe const&) = delete;
  Pipe& operator=(Pipe const&) = delete;
  ~Pipe()
  {
    close(ends[0]);
    CloseInput();
  }

  void CloseInput()
  {
    if (ends[1] != -1)
      close(ends[1]);
    ends[1] = -1;
  }

  int ends[2] = {-1, -1};
};

/// A running program, which does not outlive this one. Ends with the object.
class Child
{
public:
  Child(std::string const& iPath, Pipe& ioResult, Pipe& ioMessages)
  {
    std::filesystem::path const path(iPath);
    std::string const folder = path.has_parent_path() ? path.parent_path().string() : ".";
    std::string const name = path.filename().string();
    _process = fork();
    if (_process < 0)
      throw SystemFailure(iPath, errno);
    if (_process == 0) // only calls that are safe beside other threads' locks
      Become(folder.c_str(), name.c_str(), ioResult.ends[1], ioMessages.ends[1]);
    ioResult.CloseInput();
    ioMessages.CloseInput();
  }
  Child(Child const&) = delete;
  Child& operator=(Child const&) = delete;
  ~Child()
  {
    if (_process > 0) {
      kill(_process, SIGKILL);
      Wait();
    }
  }

  bool Wait()
  {
    int status = 0;
    while (waitpid(_process, &status, 0) < 0 && errno == EINTR)
      continue;
    _process = -1;
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
  }

private:
  [[noreturn]] static void Become(char const* iFolder, char const* iName, int iResult, int iMessages)
  {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    dup2(iResult, STDOUT_FILENO);
    dup2(iMessages, STDERR_FILENO);
    close(STDIN_FILENO);
    if (chdir(iFolder) == 0)
      execlp("python3", "python3", "--", iName, static_cast<char*>(nullptr));
    constexpr char message[] = "python3 cannot be started\n";
    [[maybe_unused]] ssize_t const written = write(STDERR_FILENO, message, sizeof message - 1);
    _exit(127);
  }

  pid_t _process = -1;
};

[[noreturn]] void Fail(std::string const& iSentence) { throw TextProblems({{iSentence, 0, 0, false}}); }

struct Output
{
  int file;
  std::string text{};
  bool isOpen = true;
};

/// What is to be read now. What goes beyond the limit is dropped.
void Take(Output& ioOutput, std::size_t iMost)
{
  char buffer[65536];
  ssize_t const count = read(ioOutput.file, buffer, sizeof buffer);
  ioOutput.isOpen = count > 0;
  if (count > 0 && ioOutput.text.size() <= iMost)
    ioOutput.text.append(buffer, static_cast<std::size_t>(count));
}

/// Reads both outputs to their ends.
void TakeAll(Output& ioResult, Output& ioMessages)
{
  auto const end = Clock::now() + MostTime;
  while (ioResult.isOpen || ioMessages.isOpen) {
    auto const left = std::chrono::duration_cast<std::chrono::milliseconds>(end - Clock::now()).count();
    pollfd files[] = {{ioResult.isOpen ? ioResult.file : -1, POLLIN, 0},
                      {ioMessages.isOpen ? ioMessages.file : -1, POLLIN, 0}};
    if (left <= 0 || poll(files, 2, static_cast<int>(left)) == 0)
      Fail("the program takes longer than half a minute");
    if (files[0].revents != 0)
      Take(ioResult, MaxInput);
    if (files[1].revents != 0)
      Take(ioMessages, MostMessages);
    if (ioResult.text.size() > MaxInput)
      Fail("the program prints more than 256 MiB");
  }
}

/// The bytes of a line of a text, counted from 1, without its indentation.
TextProblem AtLine(std::string const& iText, std::size_t iLine, std::string const& iSentence)
{
  std::size_t begin = 0;
  for (std::size_t line = 1; line < iLine && begin < iText.size(); ++line)
    begin = std::min(iText.find('\n', begin), iText.size() - 1) + 1;
  std::size_t const end = std::min(iText.find('\n', begin), iText.size());
  begin = std::min(iText.find_first_not_of(" \t", begin), end);
  return {iSentence, begin, end - begin};
}

/// The last line of Python's messages, at the innermost line of the program that they name.
TextProblem ProblemOf(std::string const& iName, std::string const& iText, std::string iMessages)
{
  while (iMessages.ends_with('\n'))
    iMessages.pop_back();
  std::string const last = iMessages.substr(iMessages.rfind('\n') + 1);
  std::string const sentence = last.empty() ? "the program failed" : last;
  for (std::size_t place = iMessages.rfind("File \""); place != std::string::npos && place != 0;
       place = iMessages.rfind("File \"", place - 1)) {
    std::string const line = iMessages.substr(place, iMessages.find('\n', place) - place);
    std::size_t const number = line.find("\", line ");
    if (number != std::string::npos && line.substr(0, number).ends_with(iName))
      return AtLine(iText, std::strtoul(line.c_str() + number + 8, nullptr, 10), sentence);
  }
  return {sentence, 0, 0, false};
}

} // namespace

std::string RunScript(std::string const& iPath, std::string const& iText)
{
  Pipe results;
  Pipe messages;
  Child child(iPath, results, messages);
  Output result{results.ends[0]};
  Output message{messages.ends[0]};
  TakeAll(result, message);
  if (!child.Wait())
    throw TextProblems({ProblemOf(std::filesystem::path(iPath).filename().string(), iText, message.text)});
  return result.text;
}

} // namespace SFHost
