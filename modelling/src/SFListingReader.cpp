#include "ResourceToSF.h"
#include "SFArgument.h"
#include "SFFieldNode.h"
#include "SFListing.h"
#include "SFListingKinds.h"
#include "SFResourceResolver.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <limits>
#include <memory>
#include <optional>
#include <unordered_map>

namespace SF {
namespace {

std::string AtPlace(std::size_t iLine, std::size_t iColumn, std::string const& iWhy)
{
  return "line " + std::to_string(iLine) + ", column " + std::to_string(iColumn) + ": " + iWhy;
}

/// A word as an error shows it: not more than its first characters, and none that a terminal would act on.
std::string Shown(std::string_view iWord)
{
  constexpr std::size_t longest = 40;
  std::string shown(iWord.substr(0, longest));
  for (char& character : shown)
    if (static_cast<unsigned char>(character) < ' ' || character == 0x7f)
      character = '?';
  return "'" + shown + (iWord.size() > longest ? "...'" : "'");
}

bool IsBlank(char iCharacter) { return iCharacter == ' ' || (iCharacter >= '\t' && iCharacter <= '\r'); }

/// A number in full, and what a decimal cannot say: "inf", "-inf", "nan", and "nan:" with the 16 digits of its bits.
bool ReadNumber(std::string_view iWord, double& oValue)
{
  constexpr std::string_view bitsOfNan = "nan:";
  if (iWord == "inf" || iWord == "-inf")
    oValue = iWord == "inf" ? Infinity : -Infinity;
  else if (iWord == "nan")
    oValue = std::numeric_limits<double>::quiet_NaN();
  else if (iWord.starts_with(bitsOfNan)) {
    std::string_view const digits = iWord.substr(bitsOfNan.size());
    std::uint64_t bits = 0;
    auto const [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), bits, 16);
    oValue = std::bit_cast<double>(bits);
    return error == std::errc{} && end == digits.data() + digits.size() && oValue != oValue;
  } else
    return SFNumberRun(iWord) == iWord && ReadSFNumber(iWord, oValue);
  return true;
}

/// The names of lines. Those that count the lines, as files are written, need no table.
class Names
{
public:
  static constexpr std::size_t None = SIZE_MAX;

  std::size_t Find(std::string_view iName) const
  {
    std::size_t const counted = Counted(iName);
    if (counted < _isCounted.size() && _isCounted[counted])
      return counted;
    auto const found = _others.find(iName);
    return found == _others.end() ? None : found->second;
  }

  /// Names the next line.
  void Add(std::string_view iName)
  {
    bool const isCounted = Counted(iName) == _isCounted.size();
    if (!isCounted)
      _others.emplace(iName, _isCounted.size());
    _isCounted.push_back(isCounted);
  }

private:
  /// The number in a name such as "_12"; None in any other.
  static std::size_t Counted(std::string_view iName)
  {
    std::size_t number = 0;
    auto const [end, error] = std::from_chars(iName.data() + 1, iName.data() + iName.size(), number);
    bool const isCounted = iName[0] == '_' && error == std::errc{} && end == iName.data() + iName.size() &&
                           (iName[1] != '0' || iName.size() == 2);
    return isCounted ? number : None;
  }

  std::vector<bool> _isCounted; ///< of each line
  std::unordered_map<std::string_view, std::size_t> _others;
};

/// Reads the lines of a listing one after the other.
class Reader
{
public:
  Reader(std::string_view iText, SFResourceResolver* iResolver) : _text(iText), _resolver(iResolver) {}
  Reader(std::string_view iText, SFListingResources const& iKnown) : _text(iText), _resolver(nullptr), _known(&iKnown)
  {
  }

  SFField Read()
  {
    while (NextLine())
      ReadLine();
    if (_fields.empty())
      Fail({_text.size(), 0}, "the listing has no line");
    return _fields.back();
  }

private:
  /// A part of the text.
  struct Word
  {
    std::size_t position = 0;
    std::size_t length = 0;
  };

  std::string_view TextOf(Word const& iWord) const { return _text.substr(iWord.position, iWord.length); }

  [[noreturn]] void Fail(Word const& iWord, std::string const& iWhy) const
  {
    throw SFListingError(iWhy, iWord.position, iWord.length, _line, iWord.position - _lineStart + 1);
  }

  bool NextLine()
  {
    if (_next > _text.size())
      return false;
    _lineStart = _position = _next;
    _lineEnd = std::min(_text.find('\n', _lineStart), _text.size());
    _next = _lineEnd + 1;
    ++_line;
    return true;
  }

  /// The next word of the line; one of length 0 at its end.
  Word NextWord()
  {
    while (_position < _lineEnd && IsBlank(_text[_position]))
      ++_position;
    if (_position < _lineEnd && _text[_position] == '#')
      _position = _lineEnd;
    std::size_t const start = _position;
    if (_position < _lineEnd && _text[_position] == '"')
      SkipQuoted();
    else
      while (_position < _lineEnd && !IsBlank(_text[_position]) && _text[_position] != '#')
        ++_position;
    return {start, _position - start};
  }

  void SkipQuoted()
  {
    std::size_t const start = _position++;
    while (_position < _lineEnd && _text[_position] != '"')
      _position += _text[_position] == '\\' ? 2 : 1;
    if (_position >= _lineEnd)
      Fail({start, _lineEnd - start}, "the text in quotes has no end");
    ++_position;
  }

  bool IsAtEnd()
  {
    std::size_t const position = _position;
    bool const isAtEnd = NextWord().length == 0;
    _position = position;
    return isAtEnd;
  }

  void ReadLine()
  {
    Word const name = NextWord();
    if (name.length == 0)
      return;
    if (_fields.size() == SFField::MaxNodes)
      throw std::length_error("a listing of more than " + std::to_string(SFField::MaxNodes) + " lines");
    SFField field = ReadNode();
    Word const more = NextWord();
    if (more.length != 0)
      Fail(more, Shown(TextOf(more)) + " follows the last operand");
    if (_names.Find(TextOf(name)) != Names::None)
      Fail(name, Shown(TextOf(name)) + " is the name of an earlier line");
    _names.Add(TextOf(name));
    _fields.push_back(std::move(field));
  }

  SFField ReadNode()
  {
    Word const word = NextWord();
    SFListingKind const& kind = KindOf(word);
    switch (kind.type) {
    case SFNodeType::CONSTANT:
      return ReadNumberWord("a number");
    case SFNodeType::PARAMETER:
      return ReadParameter();
    case SFNodeType::RESOLVEDREF:
    case SFNodeType::POLYGRADIENT:
      return ReadResource(kind);
    default:
      break;
    }
    if (kind.operands == 0)
      return SFField(MakeCoordinate(kind.type));
    SFField const a = ReadOperand();
    return SFField(MakeNode(kind.type, a.GetNode(), kind.operands == 2 ? ReadOperand().GetNode() : SFFieldNodePtr()));
  }

  SFListingKind const& KindOf(Word const& iWord) const
  {
    std::string_view const name = TextOf(iWord);
    for (SFListingKind const& kind : SFListingKinds)
      if (kind.name == name)
        return kind;
    Fail(iWord, name.empty() ? "a kind is expected after the name" : Shown(name) + " is no kind of node");
  }

  SFField const& ReadOperand()
  {
    Word const word = NextWord();
    if (word.length == 0)
      Fail(word, "an operand is expected");
    std::size_t const found = _names.Find(TextOf(word));
    if (found == Names::None)
      Fail(word, Shown(TextOf(word)) + " is not the name of an earlier line");
    return _fields[found];
  }

  Word RequireWord(char const* iExpected)
  {
    Word const word = NextWord();
    if (word.length == 0)
      Fail(word, std::string(iExpected) + " is expected");
    return word;
  }

  double ReadNumberWord(char const* iExpected)
  {
    Word const word = RequireWord(iExpected);
    double value = 0.0;
    if (!ReadNumber(TextOf(word), value))
      Fail(word, Shown(TextOf(word)) + " is no number");
    return value;
  }

  /// What a text in quotes stands for; another word stands for itself.
  std::string Unquoted(Word const& iWord) const
  {
    std::string_view const written = TextOf(iWord);
    if (written.front() != '"')
      return std::string(written);
    std::string text;
    for (std::size_t i = 1; i + 1 < written.size(); ++i)
      text += written[i] == '\\' ? ReadEscape(iWord, i) : written[i];
    return text;
  }

  /// The character of an escape, which begins at `ioAt`; moves to its last character.
  char ReadEscape(Word const& iWord, std::size_t& ioAt) const
  {
    std::string_view const written = TextOf(iWord);
    char const kind = written[++ioAt];
    if (kind == '"' || kind == '\\')
      return kind;
    unsigned int code = 0;
    char const* const digits = written.data() + ioAt + 1;
    bool const hasDigits = kind == 'x' && ioAt + 3 < written.size();
    if (!hasDigits || std::from_chars(digits, digits + 2, code, 16).ptr != digits + 2)
      Fail({iWord.position + ioAt - 1, 2}, "a backslash stands before a quote, a backslash or x and two digits");
    ioAt += 2;
    return static_cast<char>(code);
  }

  SFField ReadParameter()
  {
    Word const word = RequireWord("the name of the parameter");
    std::string name = Unquoted(word);
    double const value = ReadNumberWord("the value of the parameter");
    double low = -Infinity;
    double high = Infinity;
    if (!IsAtEnd()) {
      low = ReadNumberWord("the lower end of the range");
      high = ReadNumberWord("the upper end of the range");
    }
    try {
      return SFField::Parameter(std::move(name), value, low, high);
    } catch (std::invalid_argument const& error) {
      Fail(word, error.what());
    }
  }

  SFField ReadResource(SFListingKind const& iKind)
  {
    Word const word = RequireWord("the id of the resource");
    std::string const id = Unquoted(word);
    SFFieldNode const* const known = KnownResource(id);
    bool const isAtThePoint = IsAtEnd();
    if (known != nullptr && isAtThePoint && iKind.type == SFNodeType::RESOLVEDREF)
      return _known->at(id);
    auto detail = std::make_unique<SFFieldDetail>();
    detail->resource = known != nullptr ? known->GetDetail()->resource : ResolvedResource(word, id);
    SFFieldNode::Operands position;
    for (std::size_t axis = 0; axis < position.size(); ++axis)
      position[axis] =
          isAtThePoint
              ? MakeCoordinate(static_cast<SFNodeType>(static_cast<int>(SFNodeType::X) + static_cast<int>(axis)))
              : ReadOperand().GetNode();
    return SFField(MakeResource(iKind.type, iKind.component, std::move(position), std::move(detail)));
  }

  SFFieldNode const* KnownResource(std::string const& iId) const
  {
    if (_known == nullptr || !_known->contains(iId))
      return nullptr;
    SFFieldNode const& node = *_known->at(iId).GetNode();
    return node.GetType() == SFNodeType::RESOLVEDREF ? &node : nullptr;
  }

  std::shared_ptr<ResourceToSF> ResolvedResource(Word const& iWord, std::string const& iId)
  {
    auto const [at, isNew] = _resources.try_emplace(iId);
    if (isNew && _resolver != nullptr)
      at->second.reset(_resolver->Resolve(iId));
    if (at->second == nullptr)
      Fail(iWord, "the reference " + Shown(iId) + " has no resource");
    if (isNew) {
      at->second->SetTypeTag(SFNodeType::RESOLVEDREF);
      if (iId.find('#') == std::string::npos || Failed(at->second->SetExpressionId(iId)))
        Fail(iWord, "the reference " + Shown(iId) + " has no \"#\"");
    }
    return at->second;
  }

  std::string_view _text;
  SFResourceResolver* _resolver;
  SFListingResources const* _known = nullptr;
  std::size_t _next = 0;
  std::size_t _line = 0;
  std::size_t _lineStart = 0;
  std::size_t _lineEnd = 0;
  std::size_t _position = 0;
  std::vector<SFField> _fields;
  Names _names;
  std::unordered_map<std::string, std::shared_ptr<ResourceToSF>> _resources;
};

} // namespace

SFListingError::SFListingError(std::string const& iWhy, std::size_t iPosition, std::size_t iLength, std::size_t iLine,
                               std::size_t iColumn)
  : std::invalid_argument(AtPlace(iLine, iColumn, iWhy)), _reason(iWhy), _position(iPosition), _length(iLength),
    _line(iLine), _column(iColumn)
{
}
SFListingError::~SFListingError() = default;

SFField ReadListing(std::string_view iText, SFResourceResolver* iResolver) { return Reader(iText, iResolver).Read(); }
SFField ReadListing(std::string_view iText, SFListingResources const& iResources)
{
  return Reader(iText, iResources).Read();
}

} // namespace SF
