#pragma once

#include "SFDagFromExpression.h"
#include "SFExport.h"
#include "SFTypes.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace SF {

/// What can be wrong at a place in an expression text.
enum class SFFindingKind
{
  EEncoding,          ///< the text is UTF-16 or UTF-32, not characters of 8 bits
  ECharactersSkipped, ///< characters that belong to no token, or that the token before them swallows
  ENumberNotRead,     ///< a number of which nothing, or not all, can be read
  ENumberOutOfRange,  ///< an infinite number, one that is not a number, or one too large for a double
  ELineBreakInToken,  ///< a line break, or a tab, inside a number, a bracket or a reference
  EBlankInToken,      ///< a blank before the closing bracket of a token, after which reading goes on
  EBadBrackets,       ///< brackets that are missing or do not hold what the token needs
  EOddName,           ///< a parameter or a reference without a name, or with control characters in it
  ENumberedResource,  ///< "#" and a blank: a resource by number, not a comment
  EMissingOperand,    ///< the text ends before the expression does
  ETextAfterEnd,      ///< the expression ends before the text does
  EMergedNode,        ///< a node that is taken for another one although they differ
  ENoValue            ///< a kind of node that has no value in an evaluation
};

/// One place in a text that a person may not mean as it is read.
struct SFTextFinding
{
  /// A place that there is not.
  static constexpr std::size_t Nowhere = std::string::npos;

  SFFindingKind kind{};               ///< what is wrong
  std::size_t position = 0;           ///< in bytes
  std::size_t length = 0;             ///< in bytes; 0 where something is missing
  std::string sentence;               ///< for people, with a full stop
  SFNodeType node = SFNodeType::NONE; ///< of the token that the finding is about, where there is one
  std::size_t related = Nowhere;      ///< of a merged node: where the one begins that is kept
};

/// Says where a text is read as something else than it looks like. The reader itself takes any bytes, skips what it
/// does not know and fills up what is missing; the check follows the reader through the text and reports that.
///
/// Writes no lines. Any sequence of bytes is safe; time and memory are linear in its length.
class SF_EXPORT SFExpressionCheck
{
public:
  /// How many findings are enough for a person.
  static constexpr std::size_t DefaultLimit = 100;

  /// The findings in a text, by position; none for a text that is what it looks like. No more than `iLimit` of them:
  /// that many say that there may be others. Under exact equality no node is merged with one that differs. White space
  /// between tokens and a byte order mark of UTF-8 are no findings.
  static std::vector<SFTextFinding> Check(std::string const& iExpression,
                                          SFNodeEquality iEquality = SFNodeEquality::EStructural,
                                          std::size_t iLimit = DefaultLimit);

  /// The findings as lines of warnings (see SFTextMessages), each with the note that belongs to it.
  static std::string Format(std::vector<SFTextFinding> const& iFindings, std::string const& iName,
                            std::string_view iExpression);
};

} // namespace SF
