#pragma once

#include "SFField.h"

#include <map>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace SF {

/// What is wrong with a formula, and where.
struct SFFormulaPlace
{
  std::size_t offset = 0; ///< bytes before the place
  std::size_t length = 0; ///< bytes of the place; 0 at the end of the text
  std::size_t line = 1;   ///< from 1
  std::size_t column = 1; ///< in characters of UTF-8, from 1
};

/// A formula that cannot be read. `what()` is one sentence; Report adds the place as compilers show it.
class SF_MODELLING_EXPORT SFFormulaError : public std::invalid_argument
{
public:
  /// A sentence without place, the place, and the text, of which the line is copied.
  SFFormulaError(std::string const& iSentence, SFFormulaPlace const& iPlace, std::string_view iText);
  ~SFFormulaError() override;

  /// The place in the text that was read.
  SFFormulaPlace const& GetPlace() const { return _place; }
  /// "name:line:column: error: sentence", the line of the text, and a caret under the place; each line ends in a
  /// newline.
  std::string Report(std::string_view iName) const;

private:
  SFFormulaPlace _place;
  std::string _line;      ///< the part of the text's line around the place
  std::size_t _caret = 0; ///< characters of it before the place
};

/// An argument of a function of formulae.
struct SFFormulaArgument
{
  std::string_view name;     ///< as in calls with names
  std::string_view fallback; ///< as a formula; empty where the argument must be given
};

/// A function of formulae, for documents and editors.
struct SFFormulaFunction
{
  std::string_view name;                    ///< as it is called
  std::vector<SFFormulaArgument> arguments; ///< in the order of calls without names
  bool isVariadic = false;                  ///< the first argument may be given any number of times
};

/// The language in which people write fields: definitions, parameters, infix arithmetic, and every operation and shape
/// under its name. docs/formulae.md has the grammar.
class SF_MODELLING_EXPORT SFFormula
{
public:
  /// The model of a formula: its last line. The values of parameters may be replaced by name; a name that the formula
  /// does not define is an std::invalid_argument. The resolver answers `resource("#id")` and may be null.
  /// SFFormulaError for a text that is no formula, and for what its functions refuse. Time and memory are proportional
  /// to the text, apart from what its functions make; any bytes are safe.
  static SFField Read(std::string_view iText, std::map<std::string, double> const& iValues = {},
                      SFResourceResolver* iResolver = nullptr);

  /// The parameters that a formula defines, in their order, with the values and ranges of the text.
  static std::vector<SFParameterInfo> ReadParameters(std::string_view iText);

  /// All functions, in alphabetical order.
  static std::vector<SFFormulaFunction> const& Functions();
};

} // namespace SF
