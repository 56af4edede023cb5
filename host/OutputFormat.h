#pragma once

#include "Arguments.h"

#include <span>
#include <string>
#include <string_view>

namespace SFHost {

/// Declares -o for files of some formats, named by their extensions without the dot.
void AddOutputFile(Arguments& ioArguments, std::string const& iValues, std::string& oPath);

/// The format that a file name asks for by its extension, whatever the case; the first one for a name without
/// extension, such as a device. Throws a UsageError for any other extension.
std::string_view FormatOf(std::string const& iPath, std::span<std::string_view const> iFormats);

} // namespace SFHost
