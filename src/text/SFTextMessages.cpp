#include "SFTextMessages.h"

#include "text/SFUtf8.h"

#include <algorithm>
#include <utility>

namespace SF {
namespace {

constexpr std::string_view Cut = "...";

/// How many bytes are one column at the start of a text that is not empty.
std::size_t ColumnLength(std::string_view iText) { return std::max<std::size_t>(Utf8Length(iText), 1); }

/// Appends the characters of a piece, one column each; returns how many there are.
std::size_t AppendColumns(std::string_view iPiece, std::string& ioLine)
{
  std::size_t columns = 0;
  for (; !iPiece.empty(); ++columns) {
    std::size_t const length = ColumnLength(iPiece);
    bool const isBlank = iPiece.front() == ' ' || iPiece.front() == '\t';
    bool const isControl = length == 2 && iPiece.substr(0, 2) < "\xc2\xa0";
    if (length > 1 && !isControl)
      ioLine += iPiece.substr(0, length);
    else
      ioLine += isBlank ? ' ' : IsVisibleAscii(iPiece.front()) ? iPiece.front() : '?';
    iPiece.remove_prefix(length);
  }
  return columns;
}

/// Where the character begins that lies `iColumns` before, or after, a position on a line.
std::size_t StepBack(std::string_view iLine, std::size_t iPosition, std::size_t iColumns)
{
  for (; iColumns > 0 && iPosition > 0; --iColumns) {
    std::size_t length = 1;
    for (std::size_t tried = 2; tried <= std::min<std::size_t>(4, iPosition); ++tried)
      if (Utf8Length(iLine.substr(iPosition - tried, tried)) == tried)
        length = tried;
    iPosition -= length;
  }
  return iPosition;
}
std::size_t StepAhead(std::string_view iLine, std::size_t iPosition, std::size_t iColumns)
{
  for (; iColumns > 0 && iPosition < iLine.size(); --iColumns)
    iPosition += ColumnLength(iLine.substr(iPosition));
  return iPosition;
}

/// The part of a line that is shown around a place on it, and the line of marks below.
std::string Excerpt(std::string_view iLine, std::size_t iPosition, std::size_t iLength)
{
  constexpr std::size_t before = SFTextMessages::Width / 2;
  std::size_t begin = StepBack(iLine, iPosition, before);
  std::size_t end = StepAhead(iLine, iPosition, SFTextMessages::Width - before);
  // What one side does not need is for the other.
  if (begin == 0)
    end = StepAhead(iLine, 0, SFTextMessages::Width);
  else if (end == iLine.size())
    begin = StepBack(iLine, end, SFTextMessages::Width);

  std::string lines(begin > 0 ? Cut : "");
  std::size_t const indent = lines.size() + AppendColumns(iLine.substr(begin, iPosition - begin), lines);
  std::size_t const marked = std::min(iLength, end - iPosition);
  std::size_t const marks = AppendColumns(iLine.substr(iPosition, marked), lines);
  AppendColumns(iLine.substr(iPosition + marked, end - iPosition - marked), lines);
  lines.append(end < iLine.size() ? Cut : "").append(1, '\n');
  return lines.append(indent, ' ').append(1, '^').append(std::max<std::size_t>(marks, 1) - 1, '~').append(1, '\n');
}

} // namespace

SFTextMessages::SFTextMessages(std::string iName, std::string_view iText) : _name(std::move(iName)), _text(iText)
{
  StartLine(0, 1);
}

void SFTextMessages::FindLine(std::size_t iPosition)
{
  if (iPosition < _lineStart)
    StartLine(0, 1);
  while (iPosition > _lineEnd)
    StartLine(_lineEnd + 1, _line + 1);
  if (iPosition < _columnAt) {
    _columnAt = _lineStart;
    _column = 1;
  }
}

void SFTextMessages::StartLine(std::size_t iPosition, std::size_t iNumber)
{
  _lineStart = _columnAt = iPosition;
  _lineEnd = std::min(_text.find('\n', iPosition), _text.size());
  _line = iNumber;
  _column = 1;
}

SFTextMessages::Place SFTextMessages::PlaceOf(std::size_t iPosition)
{
  std::size_t const position = std::min(iPosition, _text.size());
  FindLine(position);
  for (; _columnAt < position; ++_column) {
    std::size_t const next = _columnAt + ColumnLength(_text.substr(_columnAt));
    if (next > position) // in the middle of a character
      break;
    _columnAt = next;
  }
  return {_line, _column};
}

std::string SFTextMessages::Format(std::size_t iPosition, std::size_t iLength, std::string_view iSeverity,
                                   std::string_view iSentence)
{
  Place const place = PlaceOf(iPosition);
  std::string_view line = _text.substr(_lineStart, _lineEnd - _lineStart);
  if (line.ends_with('\r'))
    line.remove_suffix(1);
  std::string message = _name;
  message.append(":").append(std::to_string(place.line)).append(":").append(std::to_string(place.column));
  message.append(": ").append(iSeverity).append(": ").append(iSentence).append("\n");
  std::size_t const onLine = std::min(_columnAt - _lineStart, line.size());
  std::size_t const end = std::min(iPosition, _text.size()) + std::min(iLength, _text.size()); // on any line
  return message + Excerpt(line, onLine, std::min(end - _lineStart, line.size()) - onLine);
}

} // namespace SF
