#pragma once

#include <array>
#include <functional>
#include <optional>
#include <string>

namespace SFHost {

/// What changes with the content of a file.
using FileState = std::array<long long, 4>;

/// Nothing where there is no such file.
std::optional<FileState> StateOf(std::string const& iPath);

/// Runs something, and runs it again each time that a file has changed; never returns. A file that is away for a while, as
/// when an editor replaces it, is waited for.
[[noreturn]] void RunWhenChanged(std::string const& iPath, std::function<void()> const& iRun);

} // namespace SFHost
