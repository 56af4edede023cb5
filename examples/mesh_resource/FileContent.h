#pragma once

#include <filesystem>
#include <string>

namespace SFExample {

/// The bytes of a file. Throws std::runtime_error, without the file's name, when it cannot be read.
std::string ReadFile(std::filesystem::path const& iFile);

} // namespace SFExample
