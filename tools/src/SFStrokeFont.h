#pragma once

#include <array>
#include <string_view>
#include <vector>

namespace SF {

/// A line through points (x, y), y upwards.
using SFStroke = std::vector<std::array<double, 2>>;

/// The strokes of a text that begins at (0, 0), on its base line, for a font of size 1, and how long it is. Lower case
/// letters, digits and a few signs; others become a box.
struct SFStrokeText
{
  explicit SFStrokeText(std::string_view iText);

  static constexpr double PenWidth = 0.105;

  std::vector<SFStroke> strokes;
  double length = 0.0;
};

} // namespace SF
