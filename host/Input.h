#pragma once

#include <string>

namespace SFHost {

/// The name by which messages call an input: "-" is the standard input.
std::string InputName(std::string const& iPath);

/// The bytes of a file, or of the standard input for "-". Throws a Failure that names the file when it cannot be
/// read or holds more than `MaxInput` bytes, which also ends the reading of endless devices.
std::string ReadInput(std::string const& iPath);

/// Whether an input is the very file of a path, so that writing there would replace it. Devices and pipes never are.
bool IsFileOf(std::string const& iInput, std::string const& iPath);

/// Whether a name is that of a listing, one that ends in ".vm".
bool IsListing(std::string const& iPath);

/// Whether it is that of a formula, one that ends in ".sfm".
bool IsFormula(std::string const& iPath);

constexpr std::size_t MaxInput = std::size_t{256} << 20;

} // namespace SFHost
