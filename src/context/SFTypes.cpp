#include "SFTypes.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <limits>
#include <locale>
#include <sstream>
#include <version>

namespace SF {
namespace {

constexpr std::size_t LongestDecimal = 32;

/// Writes a number from 1e-4 to 999999, which has no exponent, where one multiplication tells its digits for sure: it is
/// off by no more than a part in 2^52, and only near a tie could that matter. Returns the end; null for any other number.
char* WriteFixedDecimal(double iValue, char* oText)
{
  constexpr std::array powers{1e0, 1e1, 1e2, 1e3, 1e4, 1e5, 1e6, 1e7, 1e8, 1e9};
  constexpr double least = 1e5; // with six digits
  double const magnitude = std::fabs(iValue);
  if (!(magnitude >= 1e-4 && magnitude < 10 * least - 1))
    return nullptr;
  std::size_t decimals = 0;
  while (magnitude * powers[decimals] < least)
    ++decimals;
  double const scaled = magnitude * powers[decimals];
  auto digits = static_cast<std::uint32_t>(scaled);
  double const rest = scaled - digits;
  if (std::fabs(rest - 0.5) < 1e-6)
    return nullptr;
  digits += rest > 0.5 ? 1 : 0; // which may make it ten times the least, with a decimal to spare
  for (; decimals > 0 && digits % 10 == 0; digits /= 10)
    --decimals;

  std::array<char, LongestDecimal> reversed;
  std::size_t size = 0;
  auto const put = [&] {
    reversed[size++] = static_cast<char>('0' + digits % 10);
    digits /= 10;
  };
  for (std::size_t i = 0; i < decimals; ++i)
    put();
  if (decimals > 0)
    reversed[size++] = '.';
  do
    put();
  while (digits > 0);
  if (iValue < 0)
    reversed[size++] = '-';
  return std::reverse_copy(reversed.data(), reversed.data() + size, oText);
}

/// Appends a double; returns what was appended.
std::string_view AppendShortDecimal(double iValue, std::string& ioText)
{
  std::size_t const before = ioText.size();
  char buffer[LongestDecimal];
  if (char* const end = WriteFixedDecimal(iValue, buffer))
    ioText.append(buffer, end);
  else {
#if defined(__cpp_lib_to_chars)
    ioText.append(buffer, std::to_chars(buffer, buffer + sizeof buffer, iValue, std::chars_format::general, 6).ptr);
#else
    std::ostringstream stream;
    stream.imbue(std::locale::classic());
    stream << iValue;
    ioText += stream.str();
#endif
  }
  return std::string_view(ioText).substr(before);
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

HRESULT AppendSFNumber(double iValue, std::string& ioText)
{
  return CheckNumberText(AppendShortDecimal(iValue, ioText));
}

HRESULT AppendSFNumberInFull(double iValue, std::string& ioText)
{
  std::size_t const before = ioText.size();
#if defined(__cpp_lib_to_chars)
  char buffer[LongestDecimal];
  ioText.append(buffer, std::to_chars(buffer, buffer + sizeof buffer, iValue).ptr);
#else
  double read = 0.0;
  for (int digits = std::numeric_limits<double>::digits10; digits <= std::numeric_limits<double>::max_digits10;
       ++digits) {
    std::ostringstream stream;
    stream.imbue(std::locale::classic());
    stream.precision(digits);
    stream << iValue;
    ioText.replace(before, std::string::npos, stream.str());
    if (ReadSFNumber(std::string_view(ioText).substr(before), read) && read == iValue)
      break;
  }
#endif
  return CheckNumberText(std::string_view(ioText).substr(before));
}

HRESULT ToSFString(double iValue, std::string& oText)
{
  std::string text;
  HRESULT const hr = AppendSFNumber(iValue, text);
  if (Succeeded(hr))
    oText = std::move(text);
  return hr;
}

std::string_view SFNumberRun(std::string_view iText)
{
  while (!iText.empty() && IsSpace(iText.front()))
    iText.remove_prefix(1);
  return NumberRun(iText);
}

bool ReadSFNumber(std::string_view iText, double& oValue)
{
  std::string_view const run = SFNumberRun(iText);
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
