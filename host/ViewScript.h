#pragma once

#include "ViewText.h"

#include <string>

namespace SFHost {

/// What the Python program of a file prints: the formula of its part. Throws TextProblems, at the line of `iText`, the
/// program's text, that Python names, when it fails, takes longer than half a minute or prints too much.
std::string RunScript(std::string const& iPath, std::string const& iText);

} // namespace SFHost
