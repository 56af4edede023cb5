#include "Colour.h"

#include "Failure.h"

#include <algorithm>
#include <iterator>
#include <string_view>

namespace SFHost {
namespace {

struct NamedColour
{
  std::string_view name;
  std::string_view digits;
};

constexpr NamedColour Names[] = {{"white", "#ffffff"}, {"black", "#000000"}, {"grey", "#9aa0a6"},
                                 {"steel", "#9eb0c2"}, {"brass", "#d0b06a"}, {"clay", "#cf9f80"},
                                 {"green", "#8fb58a"}, {"red", "#c8685c"},   {"blue", "#6f97c4"}};

int DigitOf(char iCharacter)
{
  constexpr std::string_view digits = "0123456789abcdefABCDEF";
  auto const place = digits.find(iCharacter);
  return place == std::string_view::npos ? -1 : static_cast<int>(place < 16 ? place : place - 6);
}

} // namespace

std::array<double, 3> ParseColour(std::string const& iText, std::string const& iOption)
{
  auto const named =
      std::find_if(std::begin(Names), std::end(Names), [&](NamedColour const& iName) { return iName.name == iText; });
  std::string_view const text = named == std::end(Names) ? std::string_view(iText) : named->digits;
  bool const isHexadecimal = (text.size() == 4 || text.size() == 7) && text[0] == '#' &&
                             std::all_of(text.begin() + 1, text.end(), [](char i) { return DigitOf(i) >= 0; });
  if (!isHexadecimal) {
    std::string names;
    for (NamedColour const& colour : Names)
      names.append(", ").append(colour.name);
    throw UsageError(iOption + ": " + Quoted(iText) + " is not a colour, as #rrggbb" + names);
  }
  std::size_t const each = text.size() / 3;
  std::array<double, 3> colour{};
  for (std::size_t channel = 0; channel < 3; ++channel)
    colour[channel] = (16 * DigitOf(text[1 + channel * each]) + DigitOf(text[channel * each + each])) / 255.0;
  return colour;
}

} // namespace SFHost
