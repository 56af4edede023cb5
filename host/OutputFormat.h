#pragma once

#include "Arguments.h"
#include "CommonOptions.h"

#include <span>
#include <string>
#include <string_view>

namespace SFHost {

/// Declares -o for files of some formats.
void AddOutputFile(Arguments& ioArguments, std::string const& iValues, std::string& oPath);

/// The extension that a file name has of some, whatever the case; the first one for a name without extension, such as a
/// device. Throws a UsageError for any other extension.
std::string_view ExtensionFor(std::string const& iPath, std::span<std::string_view const> iExtensions);

/// What can be known to be wrong with an output before the work: it is the model's own file, or standard output that
/// --json is to have. Throws a UsageError.
void RequireUsable(CommonOptions const& iCommon, std::string const& iOutput);

} // namespace SFHost
