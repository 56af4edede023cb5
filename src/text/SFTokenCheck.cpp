#include "text/SFTokenCheck.h"

#include "SFOperatorTable.h"
#include "text/SFUtf8.h"

#include <algorithm>
#include <array>

namespace SF {
namespace {

using enum SFFindingKind;

constexpr std::string_view ByteOrderMark = "\xef\xbb\xbf";
/// U+2010 to U+2015, the hyphens and dashes, and U+2212, the minus sign.
constexpr std::array<std::string_view, 7> Dashes{"\xe2\x80\x90", "\xe2\x80\x91", "\xe2\x80\x92", "\xe2\x80\x93",
                                                 "\xe2\x80\x94", "\xe2\x80\x95", "\xe2\x88\x92"};

bool HoldsDash(std::string_view iText)
{
  return std::any_of(Dashes.begin(), Dashes.end(),
                     [&](std::string_view iDash) { return iText.find(iDash) != std::string_view::npos; });
}

std::size_t FindInWhiteSpace(std::string_view iText, bool iWhite)
{
  auto const found = std::find_if(iText.begin(), iText.end(), [&](char c) { return IsWhiteSpace(c) == iWhite; });
  return static_cast<std::size_t>(found - iText.begin());
}

std::string_view Trimmed(std::string_view iText)
{
  iText.remove_prefix(FindInWhiteSpace(iText, false));
  while (!iText.empty() && IsWhiteSpace(iText.back()))
    iText.remove_suffix(1);
  return iText;
}

/// The letter of a token, in quotation marks.
std::string Letter(SFToken const& iToken) { return QuotedPiece({&OperatorRow(iToken.type).token, 1}); }

std::string WhySkipped(std::string_view iSkipped)
{
  if (HoldsDash(iSkipped))
    return "the minus of an expression is the character \"-\"";
  if (iSkipped.find_first_not_of("0123456789.,") == std::string_view::npos)
    return "a number begins with \"f\"";
  if (iSkipped.find_first_not_of("xyz") == std::string_view::npos)
    return "the coordinates are \"X\", \"Y\" and \"Z\"";
  return "no token begins with it";
}

// ---- numbers --------------------------------------------------------------------------------------------------

enum class Reading
{
  Whole,
  Part, ///< something follows the number
  OutOfRange,
  None
};

bool IsNamedInfinity(std::string_view iNumber)
{
  if (!iNumber.empty() && (iNumber.front() == '-' || iNumber.front() == '+'))
    iNumber.remove_prefix(1);
  std::string lower(iNumber.substr(0, 8));
  for (char& character : lower)
    character = static_cast<char>(character >= 'A' && character <= 'Z' ? character - 'A' + 'a' : character);
  return lower.starts_with("inf") || lower.starts_with("nan");
}

/// How many bytes at the start of a text are taken for a number without a comma, with the white space in front of it.
std::size_t RunLength(std::string_view iText)
{
  std::string_view const run = SFNumberRun(iText);
  return static_cast<std::size_t>(run.data() + run.size() - iText.data());
}

/// The same for a number in which a comma counts as the decimal point.
std::size_t NumberLength(std::string_view iText)
{
  if (iText.find(',') == std::string_view::npos)
    return RunLength(iText);
  std::string text(iText);
  std::replace(text.begin(), text.end(), ',', '.');
  return RunLength(text);
}

/// How the text of a number is read, with how many of its bytes belong to the number.
Reading ReadingOf(std::string_view iText, std::size_t& oLength)
{
  oLength = NumberLength(iText);
  double value = 0.0;
  if (ReadTokenNumber(iText, value))
    return Trimmed(iText.substr(oLength)).empty() ? Reading::Whole : Reading::Part;
  std::string_view const run = Trimmed(iText.substr(0, oLength));
  bool const isNumber =
      run.find_first_of("0123456789") != std::string_view::npos && run.find_last_of("0123456789.,") == run.size() - 1;
  return isNumber || IsNamedInfinity(Trimmed(iText)) ? Reading::OutOfRange : Reading::None;
}

std::string WhyNotRead(std::string_view iNumber)
{
  std::string const quoted = QuotedPiece(Trimmed(iNumber));
  if (HoldsDash(iNumber))
    return quoted + " is no number: its minus must be the character \"-\"";
  if (Trimmed(iNumber).empty())
    return "The number is missing";
  return quoted + " is no number";
}

std::string PartlyRead(std::string_view iNumber, std::string_view iRead)
{
  return "Of " + QuotedPiece(Trimmed(iNumber)) + " only " + QuotedPiece(Trimmed(iRead)) + " is read.";
}

} // namespace

std::vector<SFTextFinding> SFFindings::Take()
{
  std::stable_sort(_all.begin(), _all.end(),
                   [](SFTextFinding const& iA, SFTextFinding const& iB) { return iA.position < iB.position; });
  return std::move(_all);
}

// ---- tokens ---------------------------------------------------------------------------------------------------

void SFTokenCheck::Check(SFToken const& iToken)
{
  CheckGap(std::min(iToken.start, _text.size())); // a reference that ends the text leaves the lexer beyond it
  switch (iToken.type) {
  case SFNodeType::NONE:
  case SFNodeType::END:
    return;
  case SFNodeType::CONSTANT:
  case SFNodeType::BLEND:
  case SFNodeType::OFFSET:
    CheckNumberToken(iToken);
    break;
  case SFNodeType::POLY:
    CheckResource(iToken);
    break;
  case SFNodeType::UNRESOLVEDREF:
    CheckReference(iToken);
    break;
  case SFNodeType::PARAMETER:
  case SFNodeType::AFFINETRANSFORM:
  case SFNodeType::CYLINDRICALTRANSFORM:
  case SFNodeType::DISCRETETRANFORM:
  case SFNodeType::GCGUIDEDTRANSFORM:
    CheckBrackets(iToken);
    break;
  default:
    _end = std::max(_end, iToken.end);
    break;
  }
}

std::size_t SFTokenCheck::WordEnd(std::size_t iFrom) const
{
  return std::min(_lexer.FindCharacter(' ', iFrom), _text.size());
}

std::size_t SFTokenCheck::OwnLength(SFToken const& iToken) const
{
  bool const isWord = OperatorRow(iToken.type).arity == 0 ? !IsCoordinate(iToken.type) : !IsOperator(iToken.type);
  return isWord ? WordEnd(iToken.start) - iToken.start : 1;
}

void SFTokenCheck::Add(SFFindingKind iKind, std::size_t iFrom, std::size_t iTo, std::string iSentence, SFNodeType iNode)
{
  _findings.Add({iKind, iFrom, iTo - iFrom, std::move(iSentence), iNode, SFTextFinding::Nowhere});
}

/// The characters between the last token and the next one.
void SFTokenCheck::CheckGap(std::size_t iEnd)
{
  if (_end == 0 && _text.starts_with(ByteOrderMark))
    _end = ByteOrderMark.size();
  while (_end < iEnd) {
    std::string_view const gap = Piece(_end, iEnd);
    std::size_t const begin = FindInWhiteSpace(gap, false);
    std::size_t const length = FindInWhiteSpace(gap.substr(begin), true);
    if (length > 0) {
      std::string_view const skipped = gap.substr(begin, length);
      Add(ECharactersSkipped, _end + begin, _end + begin + length,
          QuotedPiece(skipped) + " is skipped: " + WhySkipped(skipped) + ".");
    }
    _end += begin + length;
  }
}

/// Text between the end of a token and the place from which the lexer reads on, which is lost.
void SFTokenCheck::CheckSwallowed(SFToken const& iToken, std::size_t iFrom, std::size_t iTo)
{
  std::string_view const lost = iFrom < iTo ? Trimmed(Piece(iFrom, iTo)) : "";
  if (lost.empty())
    return;
  auto const begin = static_cast<std::size_t>(lost.data() - _text.data());
  Add(IsWhiteSpace(_text[iFrom]) ? ELineBreakInToken : ECharactersSkipped, begin, begin + lost.size(),
      QuotedPiece(lost) + " is skipped: only a blank ends the token of " + Letter(iToken) + ".", iToken.type);
}

/// What lies between a number and the blank that ends its token.
void SFTokenCheck::CheckNumberTail(SFToken const& iToken, std::size_t iNumberEnd)
{
  // The lexer reads on from the last character before the blank: a token, or lost like those before it.
  bool const isToken = SFLexer::BeginsToken(_text[iToken.end]);
  std::size_t const tailEnd = iToken.end + (isToken ? 0 : 1);
  if (iNumberEnd < tailEnd && !IsWhiteSpace(_text[iNumberEnd])) {
    std::string sentence = PartlyRead(Piece(iToken.start + 1, iToken.end + 1), Piece(iToken.start + 1, iNumberEnd));
    if (isToken)
      sentence += " The next token is " + QuotedPiece(Piece(iToken.end, iToken.end + 1)) + '.';
    Add(ENumberNotRead, iToken.start, iToken.end + 1, std::move(sentence), iToken.type);
  } else
    CheckSwallowed(iToken, iNumberEnd, tailEnd);
  _end = std::max(iNumberEnd, tailEnd);
}

void SFTokenCheck::CheckStuckNumber(SFToken const& iToken)
{
  std::size_t const begin = iToken.start + 1;
  std::size_t const blanks = std::min(_text.find_first_not_of(' ', begin), _text.size());
  std::size_t const end = WordEnd(blanks);
  std::string_view const number = Piece(begin, end);
  std::size_t length = 0;
  bool const isOutOfRange = ReadingOf(number, length) == Reading::OutOfRange;
  std::string sentence =
      isOutOfRange ? QuotedPiece(Trimmed(number)) + " is no number that a text can carry" : WhyNotRead(number);
  sentence += iToken.type == SFNodeType::CONSTANT
                  ? "; it counts as 0, so does every operand that is still missing, and what follows is not read."
                  : "; the text cannot be read.";
  Add(isOutOfRange ? ENumberOutOfRange : ENumberNotRead, iToken.start, end, std::move(sentence), iToken.type);
  _end = _text.size();
}

void SFTokenCheck::CheckNumberToken(SFToken const& iToken)
{
  if (iToken.IsStuck()) {
    CheckStuckNumber(iToken);
    return;
  }
  if (iToken.type == SFNodeType::BLEND)
    Add(ENoValue, iToken.start, iToken.end + 1, "A blend has no value where it is evaluated.", iToken.type);
  // Without a comma a number is looked for in all that follows, and white space in front of it does not count.
  std::string_view const rest = _text.substr(iToken.start + 1);
  std::string_view const word = rest.substr(0, iToken.end - iToken.start);
  bool const hasComma = word.find(',') != std::string_view::npos;
  std::size_t const length = hasComma ? NumberLength(word) : RunLength(rest);
  CheckNumberTail(iToken, iToken.start + 1 + length);
}

void SFTokenCheck::CheckResource(SFToken const& iToken)
{
  bool const isRead = iToken.end > iToken.start + 1;
  std::size_t const end = iToken.end + (isRead ? 1 : 0);
  Add(ENumberedResource, iToken.start, end,
      "\"#\" and a blank are the reference of a resource by number: an expression has no comments.", iToken.type);
  _end = end;
}

void SFTokenCheck::CheckReference(SFToken const& iToken)
{
  _end = std::min(iToken.end, _text.size());
  CheckName(iToken, iToken.start, Piece(iToken.start, _end));
  Add(ENoValue, iToken.start, _end, "A reference has no value before a host resolves it.", iToken.type);
}

// ---- brackets -------------------------------------------------------------------------------------------------

void SFTokenCheck::CheckBrackets(SFToken const& iToken)
{
  auto const brackets = _brackets.Find(iToken);
  std::size_t const wordEnd = WordEnd(iToken.start);
  _end = std::max(_end, iToken.end);
  if (!brackets) {
    Add(EBadBrackets, iToken.start, wordEnd,
        Letter(iToken) + (iToken.type == SFNodeType::GCGUIDEDTRANSFORM
                              ? " has no \"[\", or no \"]\" with a blank behind it, of its own."
                              : " has no \"[\" and \"]\" of its own."),
        iToken.type);
    return;
  }
  auto const [open, close] = *brackets;
  if (wordEnd <= close)
    Add(EBlankInToken, wordEnd, wordEnd + 1,
        "The token of " + Letter(iToken) + " must hold no blank before its \"]\": what follows it is read twice.",
        iToken.type);
  else {
    std::size_t const lineBreak = iToken.start + FindInWhiteSpace(Piece(iToken.start, close), true);
    if (lineBreak < close)
      Add(ELineBreakInToken, lineBreak, lineBreak + 1,
          "The token of " + Letter(iToken) + " must hold no line break before its \"]\".", iToken.type);
    CheckSwallowed(iToken, close + 1, wordEnd);
  }
  _end = std::max(_end, close + 1);
  CheckInside(iToken, open, close);
}

void SFTokenCheck::CheckInside(SFToken const& iToken, std::size_t iOpen, std::size_t iClose)
{
  switch (iToken.type) {
  case SFNodeType::PARAMETER:
    CheckName(iToken, iToken.start, Piece(iToken.start, iOpen));
    CheckNumbers(iToken, iOpen + 1, iClose);
    break;
  case SFNodeType::AFFINETRANSFORM:
  case SFNodeType::CYLINDRICALTRANSFORM:
    CheckNumbers(iToken, iOpen + 1, iClose);
    break;
  default:
    if (CheckIds(iToken, Piece(iOpen + 1, iClose)))
      Add(ENoValue, iToken.start, iClose + 1, "A transform by resources has no value where it is evaluated.",
          iToken.type);
    break;
  }
}

/// The numbers of a list, and whether it has as many as its token takes.
void SFTokenCheck::CheckNumbers(SFToken const& iToken, std::size_t iFrom, std::size_t iEnd)
{
  std::string_view const list = Piece(iFrom, iEnd);
  bool const isParameter = iToken.type == SFNodeType::PARAMETER;
  auto const numbers = isParameter ? std::vector{list} : SplitList(list, ';');
  bool const isAffine = iToken.type == SFNodeType::AFFINETRANSFORM;
  if (!isParameter && (isAffine ? numbers.size() != 12 && numbers.size() != 16 : numbers.size() != 7))
    Add(EBadBrackets, iFrom - 1, iEnd + 1,
        Letter(iToken) + " takes " + (isAffine ? "12 or 16" : "7") + " numbers separated by \";\", here are " +
            std::to_string(numbers.size()) + "; the text cannot be read.",
        iToken.type);
  for (std::string_view const number : numbers) {
    std::size_t length = 0;
    Reading const reading = ReadingOf(number, length);
    if (reading == Reading::Whole)
      continue;
    auto const begin = static_cast<std::size_t>(number.data() - _text.data());
    std::string const sentence =
        reading == Reading::OutOfRange
            ? QuotedPiece(Trimmed(number)) + " is no number that a text can carry; it counts as 0."
        : reading == Reading::None ? WhyNotRead(number) + "; it counts as 0."
                                   : PartlyRead(number, number.substr(0, length));
    Add(reading == Reading::OutOfRange ? ENumberOutOfRange : ENumberNotRead, begin, begin + number.size(), sentence,
        iToken.type);
  }
}

/// Whether a transform can be made from its resources.
bool SFTokenCheck::CheckIds(SFToken const& iToken, std::string_view iInside)
{
  bool const isGuided = iToken.type == SFNodeType::GCGUIDEDTRANSFORM;
  std::vector<std::vector<std::string_view>> groups;
  bool isSound = true;
  if (isGuided)
    isSound = ReadIdGroups(iInside, groups);
  else {
    groups.push_back(SplitList(iInside, ';'));
    isSound = groups.front().size() == 2;
  }
  auto const positionOf = [&](std::string_view iPiece) {
    return static_cast<std::size_t>(iPiece.data() - _text.data());
  };
  if (!isSound)
    Add(EBadBrackets, positionOf(iInside) - 1, positionOf(iInside) + iInside.size() + 1,
        isGuided ? "\"g\" takes groups of ids, as in \"g[[#a;#b][#c]]\"." : "\"d\" takes two ids, as in \"d[#a;#b]\".",
        iToken.type);
  for (auto const& group : groups)
    for (std::string_view const id : group) {
      std::size_t const at = positionOf(id);
      if (id.find('#') != std::string_view::npos) {
        CheckName(iToken, at, id);
        continue;
      }
      isSound = false;
      Add(EBadBrackets, at, at + id.size(), QuotedPiece(id) + " is no id: it has no \"#\".", iToken.type);
    }
  return isSound;
}

/// The name of a parameter or of a reference, with the letter in front of it.
void SFTokenCheck::CheckName(SFToken const& iToken, std::size_t iPosition, std::string_view iName)
{
  std::size_t const odd = FindInWhiteSpace(iName, true);
  if (iName.size() < 2)
    Add(EOddName, iPosition, iPosition + iName.size(), "The name after " + QuotedPiece(iName) + " is missing.",
        iToken.type);
  else if (iToken.type == SFNodeType::UNRESOLVEDREF && odd < iName.size())
    Add(ELineBreakInToken, iPosition + odd, iPosition + odd + 1,
        "The line break is a part of the reference: only a blank ends it.", iToken.type);
  else if (std::any_of(iName.begin(), iName.end(),
                       [](char c) { return !IsWhiteSpace(c) && (static_cast<unsigned char>(c) < ' ' || c == '\x7f'); }))
    Add(EOddName, iPosition, iPosition + iName.size(), QuotedPiece(iName.substr(1)) + " holds control characters.",
        iToken.type);
}

} // namespace SF
