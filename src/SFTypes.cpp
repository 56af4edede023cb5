#include "SFTypes.h"

#include <charconv>
#include <locale>
#include <sstream>
#include <version>

namespace SF {
namespace {

std::string ShortDecimal(double iValue)
{
#if defined(__cpp_lib_to_chars)
  char buffer[32];
  auto const end = std::to_chars(buffer, buffer + sizeof buffer, iValue, std::chars_format::general, 6).ptr;
  return {buffer, end};
#else
  std::ostringstream stream;
  stream.imbue(std::locale::classic());
  stream << iValue;
  return stream.str();
#endif
}

bool IsDigit(char iChar) { return iChar >= '0' && iChar <= '9'; }
bool IsSpace(char iChar) { return iChar == ' ' || (iChar >= '\t' && iChar <= '\r'); }

/// The run of characters from the start of `iText` that a stream takes for a floating-point number.
std::string_view NumberRun(std::string_view iText)
{
  std::size_t i = 0;
  auto const sign = [&] {
    if (i < iText.size() && (iText[i] == '+' || iText[i] == '-'))
      ++i;
  };
  sign();
  bool mantissa = false;
  bool point = false;
  bool exponent = false;
  for (; i < iText.size(); ++i) {
    char const c = iText[i];
    if (IsDigit(c))
      mantissa = true;
    else if (c == '.' && !point && !exponent)
      point = true;
    else if ((c == 'e' || c == 'E') && mantissa && !exponent) {
      exponent = true;
      ++i;
      sign();
      --i;
    } else
      break;
  }
  return iText.substr(0, i);
}

/// The reading that defines the others. Unlike from_chars it tells an underflow, which has a value, from an
/// overflow, which has none.
bool ReadWithStream(std::string_view iRun, double& oValue)
{
  std::istringstream stream{std::string(iRun)};
  stream.imbue(std::locale::classic());
  return static_cast<bool>(stream >> oValue);
}

} // namespace

HRESULT ToSFString(double iValue, std::string& oText)
{
  std::string const valueAsSFString = ShortDecimal(iValue);
  HRESULT const hr = CheckNumberText(valueAsSFString);
  if (Failed(hr))
    return hr;
  oText = valueAsSFString;
  return S_OK;
}

bool ReadSFNumber(std::string_view iText, double& oValue)
{
  while (!iText.empty() && IsSpace(iText.front()))
    iText.remove_prefix(1);
  std::string_view const run = NumberRun(iText);
  oValue = 0.0;
#if defined(__cpp_lib_to_chars)
  std::string_view const number = !run.empty() && run.front() == '+' ? run.substr(1) : run;
  double value = 0.0;
  auto const [end, error] = std::from_chars(number.data(), number.data() + number.size(), value);
  if (error == std::errc{}) {
    bool const whole = end == number.data() + number.size();
    oValue = whole ? value : 0.0;
    return whole;
  }
  if (error == std::errc::invalid_argument)
    return false;
#endif
  bool const read = ReadWithStream(run, oValue);
  if (!read)
    oValue = 0.0;
  return read;
}

} // namespace SF
