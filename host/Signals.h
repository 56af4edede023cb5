#pragma once

namespace SFHost {

/// From here on, a signal that asks the process to stop (SIGINT, SIGTERM, SIGHUP) first removes the file under
/// construction and writes one line; a closed pipe (SIGPIPE) removes it in silence. The process then dies of the
/// signal as it would have. A file that outgrows the user's limit is an ordinary write error instead of SIGXFSZ.
/// Signals that the caller had ignored stay ignored.
void CatchSignals();

/// Holds those signals back in this thread while it lives.
class SignalsHeld
{
public:
  SignalsHeld();
  SignalsHeld(SignalsHeld const&) = delete;
  SignalsHeld& operator=(SignalsHeld const&) = delete;
  ~SignalsHeld();
};

/// A file that a signal must remove, and what to say then (a line with its newline). One at a time.
struct FileAtRisk
{
  char const* path;
  char const* line;
};

/// Sets the file at risk, null for none. The record stays the caller's and must live until it is replaced.
void SetFileAtRisk(FileAtRisk const* iFile);

} // namespace SFHost
