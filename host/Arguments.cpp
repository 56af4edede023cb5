#include "Arguments.h"

#include "Failure.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cmath>
#include <functional>

namespace SFHost {
namespace {

using Texts = std::vector<std::string>;

/// An option with `iCount` values each time that it is given; `iTake` receives them all.
CLI::Option* Add(CLI::App& ioVerb, Option const& iOption, int iCount, std::function<void(Texts const&)> iTake)
{
  std::string const text = iOption.required ? iOption.values + " (required)" : iOption.values;
  return ioVerb.add_option_function<Texts>(iOption.names, std::move(iTake), iOption.help)
      ->type_size(iCount)
      ->expected(1)
      ->allow_extra_args(false)
      ->required(iOption.required)
      ->type_name("")
      ->option_text(text);
}

[[noreturn]] void Reject(Option const& iOption, std::string const& iText, std::string const& iExpected)
{
  std::string const name = iOption.names.substr(iOption.names.find(',') + 1);
  throw CLI::ValidationError(name, Quoted(iText) + " is not " + iExpected);
}

double ReadNumber(Option const& iOption, std::string const& iText, NumberRange iRange)
{
  bool const mustBePositive = iRange == NumberRange::Positive;
  auto const number = ParseNumber(iText);
  if (!number || !std::isfinite(*number) || (mustBePositive && *number <= 0.0))
    Reject(iOption, iText, mustBePositive ? "a positive number" : "a finite number");
  return *number;
}

std::uint32_t ReadWholeNumber(Option const& iOption, std::string const& iText, WholeRange iRange)
{
  auto const number = ParseWholeNumber(iText);
  if (!number || *number < iRange.least || *number > iRange.most)
    Reject(iOption, iText,
           "a whole number from " + std::to_string(iRange.least) + " to " + std::to_string(iRange.most));
  return static_cast<std::uint32_t>(*number);
}

} // namespace

void Arguments::Text(Option const& iOption, std::optional<std::string>& oText)
{
  Add(_verb, iOption, 1, [&oText](Texts const& iTexts) { oText = iTexts.at(0); });
}

void Arguments::Text(Option const& iOption, std::string& oText)
{
  Add(_verb, iOption, 1, [&oText](Texts const& iTexts) { oText = iTexts.at(0); });
}

void Arguments::Numbers(Option const& iOption, std::span<double> oNumbers, NumberRange iRange)
{
  Add(_verb, iOption, static_cast<int>(oNumbers.size()), [=](Texts const& iTexts) {
    for (std::size_t n = 0; n < oNumbers.size(); ++n)
      oNumbers[n] = ReadNumber(iOption, iTexts.at(n), iRange);
  });
}

void Arguments::Number(Option const& iOption, std::optional<double>& oNumber, NumberRange iRange)
{
  Add(_verb, iOption, 1, [=, &oNumber](Texts const& iTexts) { oNumber = ReadNumber(iOption, iTexts.at(0), iRange); });
}

void Arguments::WholeNumbers(Option const& iOption, std::span<std::uint32_t> oNumbers, WholeRange iRange)
{
  Add(_verb, iOption, static_cast<int>(oNumbers.size()), [=](Texts const& iTexts) {
    for (std::size_t n = 0; n < oNumbers.size(); ++n)
      oNumbers[n] = ReadWholeNumber(iOption, iTexts.at(n), iRange);
  });
}

void Arguments::WholeNumber(Option const& iOption, std::optional<std::uint32_t>& oNumber, WholeRange iRange)
{
  Add(_verb, iOption, 1,
      [=, &oNumber](Texts const& iTexts) { oNumber = ReadWholeNumber(iOption, iTexts.at(0), iRange); });
}

void Arguments::Points(Option const& iOption, std::vector<Point>& oPoints)
{
  auto const take = [=, &oPoints](Texts const& iTexts) {
    for (std::size_t n = 0; n < iTexts.size(); ++n) {
      auto const number = ParseNumber(iTexts[n]);
      if (!number)
        Reject(iOption, iTexts[n], "a number");
      if (n % 3 == 0)
        oPoints.emplace_back();
      oPoints.back()[n % 3] = *number;
    }
  };
  Add(_verb, iOption, 3, take)->expected(1, CLI::detail::expected_max_vector_size)->allow_extra_args(false);
}

void Arguments::Choice(Option const& iOption, std::span<std::string_view const> iWords, std::size_t& oChoice)
{
  Add(_verb, iOption, 1, [=, &oChoice](Texts const& iTexts) {
    auto const word = std::find(iWords.begin(), iWords.end(), iTexts.at(0));
    if (word == iWords.end())
      Reject(iOption, iTexts.at(0), "one of " + iOption.values);
    oChoice = static_cast<std::size_t>(word - iWords.begin());
  });
}

void Arguments::Flag(Option const& iOption, bool& oGiven) { _verb.add_flag(iOption.names, oGiven, iOption.help); }

void Arguments::Examples(std::string const& iLines) { _verb.footer("Examples:\n" + iLines); }

} // namespace SFHost
