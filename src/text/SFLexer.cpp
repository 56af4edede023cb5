#include "text/SFLexer.h"

#include "SFOperatorTable.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>

namespace SF {
namespace {

constexpr char EndOfText = '$';
constexpr std::string_view RememberedCharacters = " []";

/// The kind that a character starts, NONE for a character that is skipped.
constexpr std::array<SFNodeType, 256> TokenKinds = [] {
  std::array<SFNodeType, 256> kinds{};
  for (SFOperatorRow const& row : SFOperatorTable)
    if (row.token != 0 && row.type != SFNodeType::UNRESOLVEDREF)
      kinds[static_cast<unsigned char>(row.token)] = row.type;
  return kinds;
}();

} // namespace

bool ReadTokenNumber(std::string_view iText, double& oValue)
{
  if (iText.find(',') == std::string_view::npos)
    return ReadSFNumber(iText, oValue);
  std::string text(iText);
  std::replace(text.begin(), text.end(), ',', '.');
  return ReadSFNumber(text, oValue);
}

SFLexer::SFLexer(std::string iExpression)
  : _current(iExpression.empty() ? ' ' : iExpression.front()), _text(std::move(iExpression))
{
}
SFLexer::~SFLexer() = default;

bool SFLexer::BeginsToken(char iCharacter)
{
  return TokenKinds[static_cast<unsigned char>(iCharacter)] != SFNodeType::NONE;
}

std::size_t SFLexer::Step(std::size_t& oPosition)
{
  MoveTo(_position + 1, oPosition);
  return _position;
}

void SFLexer::MoveTo(std::size_t iPosition, std::size_t& oPosition)
{
  _position = iPosition;
  _current = _position < _text.size() ? _text[_position] : EndOfText;
  oPosition = _position;
}

std::size_t SFLexer::Find(std::string const& iWhat, std::size_t iFrom) const { return _text.find(iWhat, iFrom); }

std::size_t SFLexer::FindRemembered(std::size_t iSlot, std::string_view iWhat, std::size_t iFrom) const
{
  Found& found = _found[iSlot];
  if (iFrom < found.from || iFrom > found.at)
    found = {iFrom, _text.find(iWhat, iFrom)};
  return found.at;
}

std::size_t SFLexer::FindCharacter(char iWhat, std::size_t iFrom) const
{
  auto const slot = RememberedCharacters.find(iWhat);
  return slot == std::string_view::npos ? _text.find(iWhat, iFrom) : FindRemembered(slot, {&iWhat, 1}, iFrom);
}

std::size_t SFLexer::FindListEnd(std::size_t iFrom) const
{
  return FindRemembered(RememberedCharacters.size(), "] ", iFrom);
}

std::string SFLexer::SubExpression(std::size_t iStart, std::size_t iEnd) const
{
  return _text.substr(iStart, iEnd - iStart);
}

SFNodeType SFLexer::Next(double& oValue, std::size_t& oStart, std::size_t& oEnd)
{
  oStart = oEnd = _position;
  if (_text.empty())
    return SFNodeType::NONE;
  SFNodeType kind = TokenKinds[static_cast<unsigned char>(_current)];
  while (kind == SFNodeType::NONE) {
    oStart = Step(oEnd);
    kind = TokenKinds[static_cast<unsigned char>(_current)];
  }

  switch (kind) {
  case SFNodeType::END:
    return kind;
  case SFNodeType::CONSTANT:
  case SFNodeType::BLEND:
  case SFNodeType::OFFSET:
    ReadNumberToken(oValue, oEnd);
    return kind;
  case SFNodeType::POLY:
    return ReadReference(oValue, oEnd);
  case SFNodeType::PARAMETER:
    MoveTo(std::min(FindCharacter(' ', _position), _text.size()), oEnd);
    return kind;
  default:
    if (FamilyOf(kind) == SFNodeFamily::Transform)
      MoveTo(std::min(FindCharacter(' ', _position), _text.size() - 1), oEnd);
    Step(oEnd);
    return kind;
  }
}

void SFLexer::ReadNumberToken(double& oValue, std::size_t& oEnd)
{
  oValue = 0.0;
  if (_position == _unreadableAt)
    return;
  std::string_view const rest = std::string_view(_text).substr(_position + 1);
  // A run of blanks right after the letter is not the end of the number; the end of the text is.
  std::size_t const first = std::min(rest.find_first_not_of(' '), rest.size());
  std::size_t const blank = std::min(FindCharacter(' ', _position + 1 + first), _text.size()) - (_position + 1);

  std::string_view const number = rest.substr(0, blank);
  bool const comma = number.find(',') != std::string_view::npos;
  bool const read = comma ? ReadTokenNumber(number, oValue) : ReadSFNumber(rest, oValue);
  if (!read) {
    _unreadableAt = _position;
    return;
  }
  _position += blank;
  _current = _text.at(_position);
  oEnd = _position;
}

SFNodeType SFLexer::ReadReference(double& oValue, std::size_t& oEnd)
{
  if (_position + 1 >= _text.size() || _text[_position + 1] != ' ') {
    std::size_t const blank = FindCharacter(' ', _position);
    MoveTo(blank, oEnd);
    return SFNodeType::UNRESOLVEDREF;
  }
  char const* const number = _text.c_str() + _position + 1;
  char* end = nullptr;
  int const callersErrno = errno;
  errno = 0;
  double const value = std::strtod(number, &end);
  bool const read = end != number && errno != ERANGE;
  errno = callersErrno;
  oValue = read ? value : 0.0;
  if (!read) {
    Step(oEnd);
    return SFNodeType::POLY;
  }
  _position += static_cast<std::size_t>(end - number);
  _current = _text.at(_position);
  oEnd = _position;
  return SFNodeType::POLY;
}

} // namespace SF
