#pragma once

#include "SFFormula.h"

#include <string>
#include <string_view>

namespace SF {

enum class SFFormulaToken
{
  End,
  NewLine, ///< outside of brackets, and ";"
  Number,
  Name,
  Text, ///< between double quotes
  Sign, ///< one character, and ".."
  Wrong ///< what starts no token
};

/// Cuts a formula into tokens. Line ends within brackets are blanks.
class SFFormulaLexer
{
public:
  explicit SFFormulaLexer(std::string_view iText) : _text(iText) { Next(); }

  struct Token
  {
    SFFormulaToken kind = SFFormulaToken::End;
    std::string_view text;
    double number = 0.0;
    std::size_t offset = 0;
  };

  Token const& Current() const { return _current; }
  void Next();
  bool IsSign(std::string_view iSign) const { return _current.kind == SFFormulaToken::Sign && _current.text == iSign; }
  bool IsName(std::string_view iName) const { return _current.kind == SFFormulaToken::Name && _current.text == iName; }
  /// The character that follows the current token, blanks left out; 0 at the end.
  char Peek() const;
  /// An error at the current token.
  [[noreturn]] void Fail(std::string const& iSentence) const { FailAt(_current, iSentence); }
  [[noreturn]] void FailAt(Token const& iToken, std::string const& iSentence) const;
  /// How a message names a token.
  static std::string Quoted(Token const& iToken);

private:
  void SkipBlanks();
  std::size_t NumberLength() const;
  void Take(SFFormulaToken iKind, std::size_t iLength);
  void TakeNumber();
  void TakeSign();

  std::string_view _text;
  std::size_t _at = 0;
  std::size_t _depth = 0; ///< of brackets
  Token _current;
};

} // namespace SF
