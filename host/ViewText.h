#pragma once

#include "SFField.h"

#include <cstddef>
#include <exception>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace SFHost {

enum class ViewNotation
{
  Expression,
  Listing,
  Formula,
  Script ///< a Python program; what it prints is the formula
};

std::string_view NameOf(ViewNotation iNotation);

/// Something about a text that its writer should see.
struct TextProblem
{
  std::string sentence;
  std::size_t offset = 0; ///< in bytes
  std::size_t length = 0;
  bool hasPlace = true;
  bool isError = true;
};

/// A text that is no model.
class TextProblems : public std::exception
{
public:
  explicit TextProblems(std::vector<TextProblem> iProblems) : problems(std::move(iProblems)) {}
  char const* what() const noexcept override { return "the text has problems"; }

  std::vector<TextProblem> problems;
};

/// What a text means with some values of its parameters.
struct ViewField
{
  SF::SFField field;
  std::vector<SF::SFParameterInfo> parameters; ///< with the values of the text
  std::vector<TextProblem> warnings;
};

/// Reads a text. Values of parameters that it does not have are left out. Throws TextProblems.
ViewField ReadViewField(ViewNotation iNotation, std::string const& iText, std::map<std::string, double> const& iValues);

} // namespace SFHost
