#include "Signals.h"

#include <array>
#include <atomic>
#include <csignal>
#include <cstring>
#include <string_view>
#include <unistd.h>

namespace SFHost {
namespace {

constexpr std::array Caught{SIGINT, SIGTERM, SIGHUP, SIGPIPE};

std::atomic<FileAtRisk const*> fileAtRisk{nullptr};
static_assert(std::atomic<FileAtRisk const*>::is_always_lock_free, "read in a signal handler");

sigset_t CaughtSet()
{
  sigset_t set;
  sigemptyset(&set);
  for (int const signal : Caught)
    sigaddset(&set, signal);
  return set;
}

/// Only calls that are safe in a handler. The disposition is the default one again by now, and the signal is
/// delivered a second time when this returns.
void Handle(int iSignal)
{
  FileAtRisk const* const file = fileAtRisk.exchange(nullptr);
  if (file != nullptr)
    unlink(file->path);
  if (iSignal != SIGPIPE) {
    constexpr char const* nothingToRemove = "sfdag: interrupted\n";
    char const* const line = file != nullptr ? file->line : nothingToRemove;
    [[maybe_unused]] ssize_t const written = write(STDERR_FILENO, line, std::strlen(line));
  }
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

SignalsHeld::SignalsHeld()
{
  sigset_t const set = CaughtSet();
  pthread_sigmask(SIG_BLOCK, &set, nullptr);
}

SignalsHeld::~SignalsHeld()
{
  sigset_t const set = CaughtSet();
  pthread_sigmask(SIG_UNBLOCK, &set, nullptr);
}

void SetFileAtRisk(FileAtRisk const* iFile) { fileAtRisk = iFile; }

} // namespace SFHost
