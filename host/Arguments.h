#pragma once

#include "Numbers.h"

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace CLI {
class App;
class Option;
} // namespace CLI

namespace SFHost {

/// What the help says of one option.
struct Option
{
  std::string names;  ///< "-o,--output"; a name without a dash is a positional argument
  std::string values; ///< placeholders of its values, "NX NY NZ"
  std::string help;
  bool required = false;
};

enum class NumberRange
{
  Finite,
  Positive ///< finite and above 0
};

struct WholeRange
{
  std::uint32_t least = 0;
  std::uint32_t most = UINT32_MAX;
};

/// Declares the options of one verb. The targets are written when the command line is read and must live until
/// then; what is optional and not given stays as it is. Bad values end the reading as usage errors.
class Arguments
{
public:
  explicit Arguments(CLI::App& ioVerb) : _verb(ioVerb) {}

  /// The options that follow stand under this title in the help.
  void Group(std::string iTitle) { _group = std::move(iTitle); }

  void Text(Option const& iOption, std::optional<std::string>& oText);
  void Text(Option const& iOption, std::string& oText);
  /// As many numbers as the span has places.
  void Numbers(Option const& iOption, std::span<double> oNumbers, NumberRange iRange);
  void Number(Option const& iOption, std::optional<double>& oNumber, NumberRange iRange);
  void WholeNumbers(Option const& iOption, std::span<std::uint32_t> oNumbers, WholeRange iRange);
  void WholeNumber(Option const& iOption, std::optional<std::uint32_t>& oNumber, WholeRange iRange);
  /// One of some words; `oChoice` is its number among them.
  void Choice(Option const& iOption, std::span<std::string_view const> iWords, std::size_t& oChoice);
  /// An option that may be given many times.
  void Texts(Option const& iOption, std::vector<std::string>& oTexts);
  /// An option without a value.
  void Flag(Option const& iOption, bool& oGiven);
  /// An option that may be given many times, each time with one point; infinities and NaN are allowed.
  void Points(Option const& iOption, std::vector<Point>& oPoints);
  /// The examples that end the verb's help.
  void Examples(std::string const& iLines);

  /// The words of a command line, with those that hold all numbers of an option, as "4x4x4" and "4,4,4", taken apart.
  std::vector<std::string> Split(std::vector<std::string> const& iWords) const;

private:
  CLI::Option* Add(Option const& iOption, std::size_t iCount,
                   std::function<void(std::vector<std::string> const&)> iTake);

  CLI::App& _verb;
  std::string _group = "Options";
  std::map<std::string, std::size_t> _counts; ///< of the values of options that have several, by each of their names
};

} // namespace SFHost
