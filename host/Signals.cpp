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

/// Only calls that are safe in a handler. The disposition is the default one again by now, and the signal is
/// delivered a second time when this returns.
void Handle(int iSignal)
{
  bool const anyRemoved = SF::SFOutputFile::RemoveUnfinished();
  if (iSignal != SIGPIPE) {
    if (isBarDrawn)
      WriteError("\r\x1b[K");
    WriteError(anyRemoved ? "sfdag: interrupted, the output is not written\n" : "sfdag: interrupted\n");
  }
  if (iSignal == SIGINT)
    _exit(CancelledStatus);
  raise(iSignal);
}

} // namespace

void CatchSignals()
{
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

void SetBarDrawn(bool iIsDrawn) { isBarDrawn = iIsDrawn; }

} // namespace SFHost
