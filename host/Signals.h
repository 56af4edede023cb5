#pragma once

namespace SFHost {

/// From here on, a signal that asks the process to stop (SIGINT, SIGTERM, SIGHUP) first removes the files under
/// construction and writes one line; a closed pipe (SIGPIPE) removes them in silence. SIGINT then ends the process with
/// CancelledStatus, at once; of the others it dies as it would have. A file that outgrows the user's limit is an ordinary
/// write error instead of SIGXFSZ. Signals that the caller had ignored stay ignored.
///
/// `iProgram` begins the line. Of several processes that build a file together the one that removes it writes the line; where
/// there is no file, the one that is no helper.
void CatchSignals(char const* iProgram, bool iIsHelper = false);

/// What the line of an interruption says of what is kept, instead of what is not written; lives as long as the program.
void SetInterruptionNote(char const* iNote);

/// Whether the line of such a signal must first wipe a bar that is drawn on the standard error stream.
void SetBarDrawn(bool iIsDrawn);

} // namespace SFHost
