#include "Numbers.h"

#include "Failure.h"

#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstdlib>

namespace SFHost {
namespace {

bool IsBlank(char iCharacter) { return iCharacter == ' ' || iCharacter == '\t' || iCharacter == '\r'; }

void SkipBlanks(char const*& ioText)
{
  while (IsBlank(*ioText))
    ++ioText;
}

/// Whether a line that ends in a NUL is three numbers and nothing else.
bool ParsePoint(char const* iLine, Point& oPoint)
{
  for (double& coordinate : oPoint) {
    if (&coordinate != &oPoint.front() && *iLine == ',')
      ++iLine;
    if (!TakeNumber(iLine, coordinate) || (*iLine != '\0' && *iLine != ',' && !IsBlank(*iLine)))
      return false;
    SkipBlanks(iLine);
  }
  return *iLine == '\0';
}

} // namespace

bool TakeNumber(char const*& ioText, double& oValue)
{
  char* end = nullptr;
  errno = 0;
  oValue = std::strtod(ioText, &end);
  // Numbers too small are rounded to the nearest double, as everywhere; only overflow loses what was meant.
  if (end == ioText || (errno == ERANGE && std::isinf(oValue)))
    return false;
  ioText = end;
  return true;
}

std::optional<double> ParseNumber(std::string const& iText)
{
  char const* text = iText.c_str();
  double value = 0.0;
  if (!TakeNumber(text, value) || text != iText.c_str() + iText.size())
    return std::nullopt;
  return value;
}

std::optional<std::uint64_t> ParseWholeNumber(std::string const& iText)
{
  std::uint64_t value = 0;
  char const* const end = iText.data() + iText.size();
  auto const [stop, error] = std::from_chars(iText.data(), end, value);
  if (error != std::errc() || stop != end)
    return std::nullopt;
  return value;
}

std::vector<Point> ParsePoints(std::string const& iText, std::string const& iName)
{
  std::vector<Point> points;
  std::size_t number = 1;
  for (std::size_t from = 0; from < iText.size(); ++number) {
    std::size_t const end = std::min(iText.find('\n', from), iText.size());
    std::string const line = iText.substr(from, end - from);
    from = end + 1;
    char const* text = line.c_str();
    SkipBlanks(text);
    bool const isEmpty = text == line.c_str() + line.size();
    if (isEmpty || *text == '#')
      continue;
    Point& point = points.emplace_back();
    if (!ParsePoint(text, point) || line.find('\0') != std::string::npos)
      throw Failure(iName + ":" + std::to_string(number), Quoted(line) + " is not three numbers");
  }
  return points;
}

} // namespace SFHost
