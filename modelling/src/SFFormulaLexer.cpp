#include "SFFormulaLexer.h"

#include "SFTypes.h"

#include <algorithm>

namespace SF {
namespace {

bool IsDigit(char iCharacter) { return iCharacter >= '0' && iCharacter <= '9'; }
bool IsLetter(char iCharacter)
{
  return (iCharacter >= 'a' && iCharacter <= 'z') || (iCharacter >= 'A' && iCharacter <= 'Z') || iCharacter == '_';
}
bool IsBlank(char iCharacter) { return iCharacter == ' ' || iCharacter == '\t' || iCharacter == '\r'; }
/// A further byte of a character of UTF-8.
bool IsContinuation(char iCharacter) { return (static_cast<unsigned char>(iCharacter) & 0xC0U) == 0x80U; }

std::size_t CharacterCount(std::string_view iText)
{
  return iText.size() - static_cast<std::size_t>(std::count_if(iText.begin(), iText.end(), IsContinuation));
}

SFFormulaPlace PlaceIn(std::string_view iText, std::size_t iOffset, std::size_t iLength)
{
  std::string_view const before = iText.substr(0, iOffset);
  auto const lineStart = before.rfind('\n') + 1; // npos + 1 is 0
  return {iOffset, iLength, 1 + static_cast<std::size_t>(std::count(before.begin(), before.end(), '\n')),
          1 + CharacterCount(before.substr(lineStart))};
}

} // namespace

SFFormulaError::SFFormulaError(std::string const& iSentence, SFFormulaPlace const& iPlace, std::string_view iText)
  : std::invalid_argument(iSentence), _place(iPlace)
{
  // A line can be the whole of a huge text: what is shown of it is bounded.
  constexpr std::size_t most = 100;
  auto begin = iText.substr(0, iPlace.offset).rfind('\n') + 1;
  auto end = std::min(iText.find('\n', iPlace.offset), iText.size());
  if (iPlace.offset - begin > most)
    begin = iPlace.offset - most;
  if (end - iPlace.offset > most)
    end = iPlace.offset + most;
  while (begin < iPlace.offset && IsContinuation(iText[begin]))
    ++begin;
  while (end < iText.size() && IsContinuation(iText[end]))
    ++end;
  _line = iText.substr(begin, end - begin);
  _caret = CharacterCount(iText.substr(begin, iPlace.offset - begin));
  std::replace_if(
      _line.begin(), _line.end(), [](char iCharacter) { return static_cast<unsigned char>(iCharacter) < 0x20U; }, ' ');
}

SFFormulaError::~SFFormulaError() = default;

std::string SFFormulaError::Report(std::string_view iName) const
{
  std::string report(iName);
  report.append(":").append(std::to_string(_place.line)).append(":").append(std::to_string(_place.column));
  report.append(": error: ").append(what()).append("\n").append(_line).append("\n");
  auto const shown = _line.size() < _caret ? 0 : CharacterCount(_line) - _caret;
  auto const tail = std::min(_place.length, std::max<std::size_t>(shown, 1));
  report.append(_caret, ' ').append("^").append(tail > 1 ? tail - 1 : 0, '~').append("\n");
  return report;
}

void SFFormulaLexer::FailAt(Token const& iToken, std::string const& iSentence) const
{
  throw SFFormulaError(iSentence, PlaceIn(_text, iToken.offset, iToken.text.size()), _text);
}

std::string SFFormulaLexer::Quoted(Token const& iToken)
{
  if (iToken.kind == SFFormulaToken::End)
    return "the end of the text";
  if (iToken.kind == SFFormulaToken::NewLine)
    return iToken.text == ";" ? "';'" : "the end of the line";
  constexpr std::size_t most = 40;
  std::string shown(iToken.text.substr(0, most));
  std::replace_if(
      shown.begin(), shown.end(), [](char iCharacter) { return static_cast<unsigned char>(iCharacter) < 0x20U; }, ' ');
  return "'" + shown + (iToken.text.size() > most ? "..." : "") + "'";
}

void SFFormulaLexer::SkipBlanks()
{
  for (; _at < _text.size(); ++_at) {
    char const next = _text[_at];
    if (next == '#')
      _at = std::min(_text.find('\n', _at), _text.size()) - 1;
    else if (!IsBlank(next) && !(next == '\n' && _depth > 0))
      return;
  }
}

char SFFormulaLexer::Peek() const
{
  std::size_t at = _at;
  while (at < _text.size() && (IsBlank(_text[at]) || (_text[at] == '\n' && _depth > 0)))
    ++at;
  return at < _text.size() ? _text[at] : '\0';
}

void SFFormulaLexer::Take(SFFormulaToken iKind, std::size_t iLength)
{
  _current = {iKind, _text.substr(_at, iLength), 0.0, _at};
  _at += _current.text.size();
}

/// Digits with at most one point, which two points end, and an exponent.
std::size_t SFFormulaLexer::NumberLength() const
{
  auto const at = [&](std::size_t i) { return _at + i < _text.size() ? _text[_at + i] : '\0'; };
  std::size_t length = 0;
  while (IsDigit(at(length)))
    ++length;
  if (at(length) == '.' && at(length + 1) != '.') {
    ++length;
    while (IsDigit(at(length)))
      ++length;
  }
  if (at(length) == 'e' || at(length) == 'E') {
    std::size_t const digits = length + (at(length + 1) == '-' || at(length + 1) == '+' ? 2 : 1);
    if (IsDigit(at(digits)))
      for (length = digits; IsDigit(at(length)); ++length)
        ;
  }
  return length;
}

void SFFormulaLexer::TakeNumber()
{
  Take(SFFormulaToken::Number, NumberLength());
  double value = 0.0;
  if (!ReadSFNumber(_current.text, value))
    Fail(Quoted(_current) + " is too large or too small for a number");
  _current.number = value;
  if (_at < _text.size() && IsLetter(_text[_at]))
    Fail("a number and a name without an operator between them");
}

void SFFormulaLexer::TakeSign()
{
  constexpr std::string_view signs = "+-*/^()[],=";
  char const next = _text[_at];
  if (next == '\n' || next == ';')
    return Take(SFFormulaToken::NewLine, 1);
  if (_text.substr(_at, 2) == "..")
    return Take(SFFormulaToken::Sign, 2);
  Take(signs.find(next) == std::string_view::npos ? SFFormulaToken::Wrong : SFFormulaToken::Sign, 1);
  while (_current.kind == SFFormulaToken::Wrong && _at < _text.size() && IsContinuation(_text[_at]))
    _current.text = _text.substr(_current.offset, ++_at - _current.offset);
  if (next == '(' || next == '[')
    ++_depth;
  if ((next == ')' || next == ']') && _depth > 0)
    --_depth;
}

void SFFormulaLexer::Next()
{
  SkipBlanks();
  if (_at >= _text.size())
    return Take(SFFormulaToken::End, 0);
  char const next = _text[_at];
  char const after = _at + 1 < _text.size() ? _text[_at + 1] : '\0';
  if (IsDigit(next) || (next == '.' && IsDigit(after)))
    return TakeNumber();
  if (IsLetter(next)) {
    std::size_t length = 1;
    while (_at + length < _text.size() && (IsLetter(_text[_at + length]) || IsDigit(_text[_at + length])))
      ++length;
    return Take(SFFormulaToken::Name, length);
  }
  if (next == '"') {
    auto const end = _text.find_first_of("\"\n", _at + 1);
    if (end == std::string_view::npos || _text[end] != '"') {
      Take(SFFormulaToken::Wrong, 1);
      Fail("a text without its closing quote");
    }
    Take(SFFormulaToken::Text, end + 1 - _at);
    _current.text = _current.text.substr(1, _current.text.size() - 2);
    ++_current.offset;
    return;
  }
  TakeSign();
}

} // namespace SF
