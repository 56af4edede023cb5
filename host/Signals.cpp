#include "Signals.h"

#include "Failure.h"
#include "SFOutputFile.h"

#include <array>
#include <atomic>
#include <csignal>
#include <string_view>
#include <unistd.h>

namespace SFHost {
namespace {

constexpr std::array Caught{SIGINT, SIGTERM, SIGHUP, SIGPIPE};

std::atomic<char const*> program{""};
std::atomic<char const*> keptNote{nullptr};
std::atomic<bool> isHelping{false};
std::atomic<bool> isBarDrawn{false};
static_assert(std::atomic<bool>::is_always_lock_free, "read in a signal handler");

sigset_t CaughtSet()
{
  sigset_t set;
  sigemptyset(&set);
  for (int const signal : Caught)
    sigaddset(&set, signal);
  return set;
}

void WriteError(std::string_view iText)
{
  [[maybe_unused]] ssize_t const written = write(STDERR_FILENO, iText.data(), iText.size());
}

/// In one piece, behind the program's name.
void WriteLine(std::string_view iText)
{
  std::array<char, 160> line{};
  std::size_t length = 0;
  for (std::string_view const part : {std::string_view(program.load()), iText})
    for (char const character : part.substr(0, line.size() - length))
      line[length++] = character;
  WriteError({line.data(), length});
}

/// Only calls that are safe in a handler. The disposition is the default one again by now, and the signal is
/// delivered a second time when this returns.
void Handle(int iSignal)
{
  using Unfinished = SF::SFOutputFile::Unfinished;
  auto const found = SF::SFOutputFile::RemoveUnfinished();
  if (iSignal != SIGPIPE && (found == Unfinished::Removed || (found == Unfinished::None && !isHelping))) {
    if (isBarDrawn)
      WriteError("\r\x1b[K");
    if (char const* const note = keptNote)
      WriteLine(note);
    else
      WriteLine(found == Unfinished::Removed ? ": interrupted, the output is not written\n" : ": interrupted\n");
  }
  if (iSignal == SIGINT)
    _exit(CancelledStatus);
  raise(iSignal);
}

} // namespace

void CatchSignals(char const* iProgram, bool iIsHelper)
{
  program = iProgram;
  isHelping = iIsHelper;
  struct sigaction action
  {
  };
  action.sa_handler = Handle;
  action.sa_flags = static_cast<int>(SA_RESETHAND);
  action.sa_mask = CaughtSet();
  for (int const signal : Caught) {
    struct sigaction before
    {
    };
    sigaction(signal, nullptr, &before);
    if (before.sa_handler != SIG_IGN)
      sigaction(signal, &action, nullptr);
  }
  std::signal(SIGXFSZ, SIG_IGN);
}

void SetInterruptionNote(char const* iNote) { keptNote = iNote; }

void SetBarDrawn(bool iIsDrawn) { isBarDrawn = iIsDrawn; }

} // namespace SFHost
