#pragma once

#include <array>
#include <string>

namespace SFHost {

/// The colour of "#rgb", "#rrggbb" or a plain name, as sRGB from 0 to 1. Throws a UsageError that begins with the option's
/// name.
std::array<double, 3> ParseColour(std::string const& iText, std::string const& iOption);

} // namespace SFHost
