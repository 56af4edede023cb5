#pragma once

#include <string>

namespace SFHost {

/// A GraphViz drawing as an SVG picture, laid out by the program `dot`. Throws a Failure when that is not installed
/// or does not succeed; it has then said why on the standard error stream.
std::string LayOutAsSvg(std::string const& iDrawing);

} // namespace SFHost
