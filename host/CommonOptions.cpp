#include "CommonOptions.h"

namespace SFHost {
namespace {

constexpr std::string_view ProgressWords[] = {"auto", "on", "off"};

} // namespace

void CommonOptions::AddTo(Arguments& ioArguments)
{
  ioArguments.Group("Model");
  model.AddTo(ioArguments);
  ioArguments.Group("Common options");
  ioArguments.WholeNumbers({.names = "-j,--threads",
                            .values = "N",
                            .help = "Threads that work (one for each of the machine); not for --strict"},
                           std::span(&threads, 1), {.least = 1, .most = 1024});
  ioArguments.Number({.names = "--max-memory",
                      .values = "GB",
                      .help = "Refuse what needs more memory, in 10^9 bytes (what the machine has free)"},
                     maxMemory, NumberRange::Positive);
  ioArguments.Choice({.names = "--progress",
                      .values = "auto|on|off",
                      .help = "A bar on the standard error stream (auto: where that is a terminal)"},
                     ProgressWords, progress);
  ioArguments.Flag({.names = "-q,--quiet", .values = "", .help = "No warnings, only what is wrong"}, isQuiet);
  ioArguments.Flag({.names = "-v,--verbose", .values = "", .help = "Notes on what is done"}, isVerbose);
  ioArguments.Flag({.names = "--json", .values = "", .help = "Report on the standard output, as one JSON object"},
                   asJson);
  ioArguments.Flag({.names = "--watch", .values = "", .help = "Run again each time that the file MODEL changes"},
                   isWatching);
}

SF::SFWorkOptions CommonOptions::ForTools(Progress* ioProgress) const
{
  constexpr double gigabyte = 1e9;
  SF::SFWorkOptions options;
  options.threads = threads;
  options.profiler = ioProgress;
  options.maxMemory = maxMemory.value_or(0.0) * gigabyte;
  return options;
}

void CommonOptions::RequireMemory(double iBytes, std::string const& iWhat) const
{
  SF::RequireMemory(ForTools(), iBytes, iWhat);
}

} // namespace SFHost
