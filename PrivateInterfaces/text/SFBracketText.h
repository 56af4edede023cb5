#pragma once

#include "text/SFLexer.h"
#include "text/SFToken.h"

#include <cstddef>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

namespace SF {

// Lists between the brackets of a token. Elements refer to the text of the list.

/// The elements between separators; an empty text is one empty element.
std::vector<std::string_view> SplitList(std::string_view iText, char iSeparator);

/// The numbers of a list, separated by ";"; one that cannot be read is 0.
std::vector<double> ReadNumberList(std::string_view iText);

/// The ids of groups "[id;id]" that follow one another, group by group; "[]" is a group without ids. False, with
/// the groups up to there, when the text is not made of such groups.
bool ReadIdGroups(std::string_view iText, std::vector<std::vector<std::string_view>>& oGroups);

/// Finds the brackets that belong to tokens.
class SFBracketFinder
{
public:
  /// Positions of "[" and "]".
  using Brackets = std::pair<std::size_t, std::size_t>;

  /// Of the tokens of a lexer, which lives as long.
  explicit SFBracketFinder(SFLexer const& iLexer) : _lexer(iLexer), _budget(2 * iLexer.GetTextSize() + 64) {}

  /// The "[" after the letter of a token and the "]" after that letter, in this order. The "]" of a guided transform
  /// is the first that a blank follows.
  std::optional<Brackets> Find(SFToken const& iToken);

private:
  SFLexer const& _lexer;
  /// Bracketed texts never overlap in a well-formed text, so together they are shorter than it. The budget
  /// stops texts whose every token claims the same far bracket from costing the square of their length.
  std::size_t _budget;
};

} // namespace SF
