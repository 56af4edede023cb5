#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace SFHost {

using Point = std::array<double, 3>;

/// Reads a double at `ioText` (C's notation; "inf" and "nan" are numbers), skipping leading white space, and moves
/// behind it. False when there is none or when it is beyond the range of a double.
bool TakeNumber(char const*& ioText, double& oValue);

/// A text that is one number and nothing else.
std::optional<double> ParseNumber(std::string const& iText);
std::optional<std::uint64_t> ParseWholeNumber(std::string const& iText);

/// The points of a text of lines, each with three numbers separated by blanks, tabs or a comma. Empty lines and
/// lines that begin with "#" are skipped. Throws a Failure that names the first line that is neither.
std::vector<Point> ParsePoints(std::string const& iText, std::string const& iName);

} // namespace SFHost
