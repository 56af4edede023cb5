#pragma once

#include <functional>
#include <string>

namespace SFHost {

/// Runs something, and runs it again each time that a file has changed; never returns. A file that is away for a while, as
/// when an editor replaces it, is waited for.
[[noreturn]] void RunWhenChanged(std::string const& iPath, std::function<void()> const& iRun);

} // namespace SFHost
