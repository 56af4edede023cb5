#pragma once

#include "SFExpressionCheck.h"
#include "text/SFBracketText.h"
#include "text/SFLexer.h"
#include "text/SFToken.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace SF {

/// Findings up to a limit.
class SFFindings
{
public:
  explicit SFFindings(std::size_t iLimit) : _limit(iLimit) {}

  void Add(SFTextFinding iFinding)
  {
    if (_all.size() < _limit)
      _all.push_back(std::move(iFinding));
  }
  /// By position; the object is empty afterwards.
  std::vector<SFTextFinding> Take();

private:
  std::size_t _limit;
  std::vector<SFTextFinding> _all;
};

/// Finds what is wrong within the tokens of a text and between them. What is missing, too much or merged is for the one
/// who sees how tokens become nodes.
class SFTokenCheck
{
public:
  /// The text and the findings live as long.
  SFTokenCheck(std::string const& iText, SFFindings& ioFindings)
    : _text(iText), _lexer(iText), _brackets(_lexer), _findings(ioFindings)
  {
  }

  /// The tokens in the order in which the lexer gives them.
  void Check(SFToken const& iToken);

  /// The bytes from the letter of a token on that are its own.
  std::size_t OwnLength(SFToken const& iToken) const;
  /// Where what follows the tokens begins that have been checked.
  std::size_t GetEnd() const { return _end; }
  std::string_view GetText() const { return _text; }

private:
  void CheckGap(std::size_t iEnd);
  void CheckNumberToken(SFToken const& iToken);
  void CheckNumberTail(SFToken const& iToken, std::size_t iNumberEnd);
  void CheckStuckNumber(SFToken const& iToken);
  void CheckResource(SFToken const& iToken);
  void CheckReference(SFToken const& iToken);
  void CheckBrackets(SFToken const& iToken);
  void CheckInside(SFToken const& iToken, std::size_t iOpen, std::size_t iClose);
  void CheckNumbers(SFToken const& iToken, std::size_t iFrom, std::size_t iEnd);
  bool CheckIds(SFToken const& iToken, std::string_view iInside);
  void CheckName(SFToken const& iToken, std::size_t iPosition, std::string_view iName);
  void CheckSwallowed(SFToken const& iToken, std::size_t iFrom, std::size_t iTo);
  void Add(SFFindingKind iKind, std::size_t iFrom, std::size_t iTo, std::string iSentence,
           SFNodeType iNode = SFNodeType::NONE);
  std::size_t WordEnd(std::size_t iFrom) const;
  std::string_view Piece(std::size_t iFrom, std::size_t iTo) const { return _text.substr(iFrom, iTo - iFrom); }

  std::string_view _text;
  SFLexer _lexer; ///< for searches alone
  SFBracketFinder _brackets;
  SFFindings& _findings;
  std::size_t _end = 0;
};

/// White space: what separates tokens without being a finding.
constexpr bool IsWhiteSpace(char iCharacter) { return iCharacter == ' ' || (iCharacter >= '\t' && iCharacter <= '\r'); }

} // namespace SF
