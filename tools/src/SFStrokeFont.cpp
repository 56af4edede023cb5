#include "SFStrokeFont.h"

#include <cstdlib>
#include <string>

namespace SF {
namespace {

/// A letter on a grid in which capitals are 7 high, small letters 5, and descenders reach to -2: strokes, each "l" for
/// straight lines or "c" for a smooth curve through its points.
struct Glyph
{
  char character;
  double advance;
  char const* strokes;
};

#define SF_BOWL "c 1.75 5 0.45 4.2 0 2.5 0.45 0.8 1.75 0 3.05 0.8 3.5 2.5 3.05 4.2 1.75 5"
#define SF_ARCH "c 0 3.3 0.6 4.6 1.8 5 2.8 4.6 3.2 3.2 l 3.2 3.2 3.2 0"

constexpr Glyph Glyphs[] = {
    {' ', 2.6, ""},
    {'0', 5.2, "c 2 7 0.5 5.8 0 3.5 0.5 1.2 2 0 3.5 1.2 4 3.5 3.5 5.8 2 7"},
    {'1', 5.2, "l 0.8 5.7 2.4 7 2.4 0"},
    {'2', 5.2, "c 0.2 5.3 0.7 6.5 2 7 3.3 6.5 3.7 5.2 3.1 3.7 1.7 1.9 0.1 0 l 0.1 0 4 0"},
    {'3', 5.2,
     "c 0.3 5.9 0.9 6.7 2 7 3.2 6.5 3.6 5.4 3 4.2 1.6 3.75 c 1.6 3.75 3.2 3.3 3.9 2 3.3 0.6 2 0 0.8 0.3 0.1 1.2"},
    {'4', 5.2, "l 3.1 0 3.1 7 0 2.1 4.2 2.1"},
    {'5', 5.2, "l 3.6 7 0.7 7 0.4 3.8 c 0.4 3.8 1.1 4.3 2 4.4 3.3 3.8 3.9 2.3 3.3 0.7 1.9 0 0.8 0.3 0.1 1.1"},
    {'6', 5.2, "c 3.4 6.4 2.3 7 0.9 6.1 0.2 4 0.2 2 0.8 0.6 2 0 3.3 0.6 3.8 2.2 3.2 3.8 2 4.35 0.8 3.7 0.2 2.2"},
    {'7', 5.2, "l 0 7 4 7 1.4 0"},
    {'8', 5.2,
     "c 2 3.8 0.8 4.4 0.4 5.45 0.9 6.6 2 7 3.1 6.6 3.6 5.45 3.2 4.4 2 3.8 0.6 3.1 0 1.9 0.6 0.5 2 0 3.4 0.5 4 "
     "1.9 3.4 3.1 2 3.8"},
    {'9', 5.2, "c 0.6 0.6 1.7 0 3.1 0.9 3.8 3 3.8 5 3.2 6.4 2 7 0.7 6.4 0.2 4.8 0.8 3.2 2 2.65 3.2 3.3 3.8 4.8"},
    {'.', 2.2, "l 0.6 0.25 0.6 0"},
    {',', 2.2, "l 0.8 0.3 0.3 -1.2"},
    {'-', 3.8, "l 0.4 2.8 3 2.8"},
    {'+', 5.2, "l 0.2 3 3.8 3 l 2 1.2 2 4.8"},
    {'=', 5.2, "l 0.2 4 3.8 4 l 0.2 2.2 3.8 2.2"},
    {':', 2.2, "l 0.6 0.25 0.6 0 l 0.6 4.5 0.6 4.25"},
    {'/', 3.6, "l 0 -0.6 2.8 7.4"},
    {'[', 2.6, "l 1.6 7.6 0.4 7.6 0.4 -1.4 1.6 -1.4"},
    {']', 2.6, "l 0.2 7.6 1.4 7.6 1.4 -1.4 0.2 -1.4"},
    {'(', 2.8, "c 1.6 7.6 0.6 5.6 0.3 3.1 0.6 0.6 1.6 -1.4"},
    {')', 2.8, "c 0.3 7.6 1.3 5.6 1.6 3.1 1.3 0.6 0.3 -1.4"},
    {'a', 4.9, SF_BOWL " l 3.5 5 3.5 0"},
    {'b', 4.9, "l 0 7 0 0 " SF_BOWL},
    {'c', 4.4, "c 3.3 4.1 2.6 4.85 1.75 5 0.45 4.2 0 2.5 0.45 0.8 1.75 0 2.6 0.15 3.3 0.9"},
    {'d', 4.9, SF_BOWL " l 3.5 7 3.5 0"},
    {'e', 4.8, "l 0 2.6 3.5 2.6 c 3.5 2.6 3.05 4.2 1.75 5 0.45 4.2 0 2.5 0.45 0.8 1.75 0 2.7 0.2 3.4 1"},
    {'f', 3.0, "c 2.6 6.9 1.7 6.9 1 5.8 l 1 5.8 1 0 l 0 5 2.3 5"},
    {'g', 4.9, SF_BOWL " l 3.5 5 3.5 -0.3 c 3.5 -0.3 3 -1.6 1.8 -2 0.4 -1.5"},
    {'h', 4.7, "l 0 7 0 0 " SF_ARCH},
    {'i', 2.0, "l 0.4 5 0.4 0 l 0.4 7 0.4 6.75"},
    {'j', 2.2, "l 0.8 5 0.8 -0.9 c 0.8 -0.9 0.4 -1.9 -0.5 -2 l 0.8 7 0.8 6.75"},
    {'k', 4.4, "l 0 7 0 0 l 3 5 0 2 l 1.1 3.1 3.3 0"},
    {'l', 2.0, "l 0.4 7 0.4 0"},
    {'m', 7.0,
     "l 0 5 0 0 c 0 3.3 0.6 4.6 1.6 5 2.5 4.6 2.8 3.2 l 2.8 3.2 2.8 0 c 2.8 3.3 3.4 4.6 4.4 5 5.3 4.6 5.6 3.2 l "
     "5.6 3.2 5.6 0"},
    {'n', 4.7, "l 0 5 0 0 " SF_ARCH},
    {'o', 4.9, SF_BOWL},
    {'p', 4.9, "l 0 5 0 -2 " SF_BOWL},
    {'q', 4.9, SF_BOWL " l 3.5 5 3.5 -2"},
    {'r', 3.1, "l 0 5 0 0 c 0 3.1 0.6 4.5 1.5 5 2.3 4.9"},
    {'s', 4.3,
     "c 2.9 4.2 2.3 4.85 1.5 5 0.5 4.6 0.2 3.75 0.8 2.95 1.6 2.55 2.6 2.1 3.1 1.3 2.6 0.4 1.5 0 0.6 0.2 0 0.9"},
    {'t', 3.2, "l 1 6.6 1 1.2 c 1 1.2 1.4 0.2 2.4 0.1 l 0 5 2.3 5"},
    {'u', 4.7, "l 0 5 0 1.8 c 0 1.8 0.4 0.4 1.4 0 2.6 0.4 3.2 1.7 l 3.2 5 3.2 0"},
    {'v', 4.6, "l 0 5 1.7 0 3.4 5"},
    {'w', 6.4, "l 0 5 1.3 0 2.6 4.6 3.9 0 5.2 5"},
    {'x', 4.4, "l 0 5 3.2 0 l 3.2 5 0 0"},
    {'y', 4.6, "l 0 5 1.75 0.1 l 3.4 5 1.4 -1 0.8 -1.9 0 -2"},
    {'z', 4.4, "l 0.1 5 3.2 5 0 0 3.3 0"},
};
constexpr Glyph Unknown{'?', 5.2, "l 0 0 4 0 4 7 0 7 0 0"};

#undef SF_BOWL
#undef SF_ARCH

constexpr double Unit = 0.103;  ///< of the grid, in sizes of the font
constexpr double Spacing = 0.4; ///< more of it than letters have in themselves, in units

Glyph const& GlyphOf(char iCharacter)
{
  for (Glyph const& glyph : Glyphs)
    if (glyph.character == iCharacter)
      return glyph;
  return Unknown;
}

/// A curve through points. (E. Catmull and R. Rom, "A class of local interpolating splines", 1974.)
SFStroke Curve(SFStroke const& iPoints)
{
  constexpr int pieces = 6;
  std::size_t const last = iPoints.size() - 1;
  bool const isClosed = iPoints.front() == iPoints.back();
  SFStroke curve;
  for (std::size_t i = 0; i < last; ++i) {
    auto const& before = i > 0 ? iPoints[i - 1] : isClosed ? iPoints[last - 1] : iPoints[0];
    auto const& after = i + 2 <= last ? iPoints[i + 2] : isClosed ? iPoints[1] : iPoints[last];
    for (int piece = 0; piece < pieces; ++piece) {
      double const t = static_cast<double>(piece) / pieces;
      std::array<double, 2> point{};
      for (std::size_t axis = 0; axis < 2; ++axis) {
        double const a = iPoints[i][axis];
        double const b = iPoints[i + 1][axis];
        double const slopeA = 0.5 * (b - before[axis]);
        double const slopeB = 0.5 * (after[axis] - a);
        point[axis] =
            a + t * (slopeA + t * (3.0 * (b - a) - 2.0 * slopeA - slopeB + t * (2.0 * (a - b) + slopeA + slopeB)));
      }
      curve.push_back(point);
    }
  }
  curve.push_back(iPoints.back());
  return curve;
}

/// Adds the strokes of a letter that begins at `iX`.
void AddGlyph(Glyph const& iGlyph, double iX, std::vector<SFStroke>& ioStrokes)
{
  for (char const* text = iGlyph.strokes; *text != '\0';) {
    bool const isCurve = *text++ == 'c';
    SFStroke points;
    for (;;) {
      char* end = nullptr;
      double const x = std::strtod(text, &end);
      if (end == text)
        break;
      double const y = std::strtod(end, &end);
      text = end;
      points.push_back({iX + x * Unit, y * Unit});
    }
    ioStrokes.push_back(isCurve ? Curve(points) : points);
    while (*text == ' ')
      ++text;
  }
}

} // namespace

SFStrokeText::SFStrokeText(std::string_view iText)
{
  for (char const character : iText) {
    Glyph const& glyph = GlyphOf(character);
    AddGlyph(glyph, length, strokes);
    length += (glyph.advance + Spacing) * Unit;
  }
}

} // namespace SF
