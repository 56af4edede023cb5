#include "Arguments.h"

#include "Failure.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <functional>

namespace SFHost {
namespace {

using Words = std::vector<std::string>;

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

/// The parts of "4x4x4" or "4,4,4"; none of a text that holds anything but numbers.
Words JoinedNumbers(std::string const& iText)
{
  Words numbers(1);
  for (char const character : iText)
    if (character == 'x' || character == ',')
      numbers.emplace_back();
    else
      numbers.back() += character;
  bool const all = std::all_of(numbers.begin(), numbers.end(),
                               [](std::string const& iNumber) { return ParseNumber(iNumber).has_value(); });
  return all ? numbers : Words();
}

/// The option of a word and its value: "--name=value", "-nvalue", or a value alone behind the word of its option.
std::pair<std::string, std::string> OptionAndValue(std::string const& iBefore, std::string const& iWord)
{
  std::size_t const equals = iWord.find('=');
  if (iWord.starts_with("--") && equals != std::string::npos)
    return {iWord.substr(0, equals), iWord.substr(equals + 1)};
  bool const isShort = iWord.size() > 2 && iWord[0] == '-' && std::isalpha(static_cast<unsigned char>(iWord[1])) != 0;
  if (isShort)
    return {iWord.substr(0, 2), iWord.substr(2)};
  return {iBefore, iWord};
}

} // namespace

CLI::Option* Arguments::Add(Option const& iOption, std::size_t iCount,
                            std::function<void(std::vector<std::string> const&)> iTake)
{
  if (iCount > 1)
    for (std::string const& name : CLI::detail::split(iOption.names, ','))
      _counts[name] = iCount;
  std::string const text = iOption.required ? iOption.values + " (required)" : iOption.values;
  return _verb.add_option_function<Words>(iOption.names, std::move(iTake), iOption.help)
      ->type_size(static_cast<int>(iCount))
      ->expected(1)
      ->allow_extra_args(false)
      ->required(iOption.required)
      ->type_name("")
      ->option_text(text)
      ->group(_group);
}

void Arguments::Text(Option const& iOption, std::optional<std::string>& oText)
{
  Add(iOption, 1, [&oText](Words const& iTexts) { oText = iTexts.at(0); });
}

void Arguments::Text(Option const& iOption, std::string& oText)
{
  Add(iOption, 1, [&oText](Words const& iTexts) { oText = iTexts.at(0); });
}

void Arguments::Numbers(Option const& iOption, std::span<double> oNumbers, NumberRange iRange)
{
  Add(iOption, oNumbers.size(), [=](Words const& iTexts) {
    for (std::size_t n = 0; n < oNumbers.size(); ++n)
      oNumbers[n] = ReadNumber(iOption, iTexts.at(n), iRange);
  });
}

void Arguments::Number(Option const& iOption, std::optional<double>& oNumber, NumberRange iRange)
{
  Add(iOption, 1, [=, &oNumber](Words const& iTexts) { oNumber = ReadNumber(iOption, iTexts.at(0), iRange); });
}

void Arguments::WholeNumbers(Option const& iOption, std::span<std::uint32_t> oNumbers, WholeRange iRange)
{
  Add(iOption, oNumbers.size(), [=](Words const& iTexts) {
    for (std::size_t n = 0; n < oNumbers.size(); ++n)
      oNumbers[n] = ReadWholeNumber(iOption, iTexts.at(n), iRange);
  });
}

void Arguments::WholeNumber(Option const& iOption, std::optional<std::uint32_t>& oNumber, WholeRange iRange)
{
  Add(iOption, 1, [=, &oNumber](Words const& iTexts) { oNumber = ReadWholeNumber(iOption, iTexts.at(0), iRange); });
}

void Arguments::Points(Option const& iOption, std::vector<Point>& oPoints)
{
  auto const take = [=, &oPoints](Words const& iTexts) {
    for (std::size_t n = 0; n < iTexts.size(); ++n) {
      auto const number = ParseNumber(iTexts[n]);
      if (!number)
        Reject(iOption, iTexts[n], "a number");
      if (n % 3 == 0)
        oPoints.emplace_back();
      oPoints.back()[n % 3] = *number;
    }
  };
  Add(iOption, 3, take)->expected(1, CLI::detail::expected_max_vector_size)->allow_extra_args(false);
}

void Arguments::Choice(Option const& iOption, std::span<std::string_view const> iWords, std::size_t& oChoice)
{
  Add(iOption, 1, [=, &oChoice](Words const& iTexts) {
    auto const word = std::find(iWords.begin(), iWords.end(), iTexts.at(0));
    if (word == iWords.end())
      Reject(iOption, iTexts.at(0), "one of " + iOption.values);
    oChoice = static_cast<std::size_t>(word - iWords.begin());
  });
}

void Arguments::Texts(Option const& iOption, std::vector<std::string>& oTexts)
{
  Add(iOption, 1, [&oTexts](Words const& iTexts) { oTexts = iTexts; })
      ->expected(1, CLI::detail::expected_max_vector_size)
      ->allow_extra_args(false);
}

void Arguments::Flag(Option const& iOption, bool& oGiven)
{
  _verb.add_flag(iOption.names, oGiven, iOption.help)->group(_group);
}

void Arguments::Examples(std::string const& iLines) { _verb.footer("Examples:\n" + iLines); }

std::vector<std::string> Arguments::Split(std::vector<std::string> const& iWords) const
{
  Words words;
  for (std::string const& word : iWords) {
    auto const [option, value] = OptionAndValue(words.empty() ? "" : words.back(), word);
    auto const found = _counts.find(option);
    Words const numbers = found == _counts.end() ? Words() : JoinedNumbers(value);
    if (numbers.empty() || numbers.size() != found->second) {
      words.push_back(word);
      continue;
    }
    if (words.empty() || words.back() != option)
      words.push_back(option);
    words.insert(words.end(), numbers.begin(), numbers.end());
  }
  return words;
}

} // namespace SFHost
