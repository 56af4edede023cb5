/// Any bytes as a formula: they give a field whose formula is a fixed point of writing and reading, or an error with a
/// place inside the text.

#include "Harness.h"
#include "Support.h"

#include "SFFormula.h"

#include <optional>
#include <stdexcept>
#include <string_view>

namespace {

using namespace SFFuzz;

constexpr std::size_t LongestInput = 2048;

/// Definitions can double a field and arrays multiply it: not what is looked for here.
bool IsLarge(std::string_view iText)
{
  constexpr std::size_t mostDefinitions = 8;
  std::size_t definitions = 0;
  for (char const character : iText)
    definitions += character == '=' ? 1 : 0;
  for (std::string_view const multiplies : {"array", "lattice"})
    if (iText.find(multiplies) != std::string_view::npos)
      return true;
  return definitions > mostDefinitions;
}

std::optional<SF::SFField> Read(std::string const& iText)
{
  try {
    return SF::SFFormula::Read(iText);
  } catch (SF::SFFormulaError const& error) {
    auto const& place = error.GetPlace();
    Require(place.offset + place.length <= iText.size(), "an error lies inside the text");
    Require(place.line >= 1 && place.column >= 1, "lines and columns count from 1");
    Require(!error.Report("formula").empty(), "an error has a report");
    return std::nullopt;
  }
}

} // namespace

int TestOneInput(std::uint8_t const* iData, std::size_t iSize)
{
  std::string const text(reinterpret_cast<char const*>(iData), iSize);
  if (iSize > LongestInput || IsLarge(text))
    return 0;
  auto const field = Read(text);
  if (!field)
    return 0;
  (*field)(0.1, 0.2, 0.3);
  std::string written;
  try {
    written = field->ToFormula();
  } catch (std::domain_error const&) {
    return 0; // a parameter whose name begins like those of definitions
  }
  auto const again = Read(written);
  Require(again.has_value(), "what has been written can be read");
  Require(again->ToFormula() == written, "a written formula is a fixed point");
  return 0;
}
