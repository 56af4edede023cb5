#pragma once

#include <string>

namespace SFHost {

/// How much the tool says on the standard error stream beside what is wrong.
enum class Loudness
{
  Quiet,  ///< nothing
  Normal, ///< warnings
  Verbose ///< warnings, and notes on what it does
};

/// For the whole process, from here on. Quiet silences the library's own lines, too.
void SetLoudness(Loudness iLoudness);

/// Lines that end in newlines, unless quiet.
void Warn(std::string const& iLines);
/// One line, without its newline, when verbose.
void Note(std::string const& iLine);

} // namespace SFHost
