#include "Progress.h"

#include "Signals.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <iostream>
#include <unistd.h>
#include <utility>

namespace SFHost {
namespace {

std::string Formatted(char const* iFormat, double iValue)
{
  char text[64];
  std::snprintf(text, sizeof text, iFormat, iValue); // NOLINT: the formats are those below
  return text;
}

/// "3.4 M" for 3.4 million.
std::string WithPrefix(double iValue)
{
  constexpr std::array<char const*, 5> prefixes{"", "k", "M", "G", "T"};
  std::size_t prefix = 0;
  for (; iValue >= 1000.0 && prefix + 1 < prefixes.size(); ++prefix)
    iValue /= 1000.0;
  return Formatted("%.3g ", iValue).append(prefixes[prefix]);
}

std::string Duration(double iSeconds)
{
  double const seconds = std::min(iSeconds, 359999.0);
  if (seconds < 60.0)
    return Formatted("%.0f s", seconds);
  return seconds < 3600.0 ? Formatted("%.1f min", seconds / 60.0) : Formatted("%.1f h", seconds / 3600.0);
}

} // namespace

Progress::Progress(ProgressMode iMode, std::string iWhat)
  : _what(std::move(iWhat)),
    _isShown(iMode == ProgressMode::On || (iMode == ProgressMode::Auto && isatty(STDERR_FILENO) == 1)),
    _next(iMode == ProgressMode::On ? _begin : _begin + std::chrono::milliseconds(500))
{
}

Progress::~Progress()
{
  if (_isDrawn)
    std::cerr << "\r\x1b[K" << std::flush;
  SetBarDrawn(false);
}

void Progress::SetAmount(double iAmount, std::string iUnit)
{
  _amount = iAmount;
  _unit = std::move(iUnit);
}

void Progress::Begin(double iFrom, double iTo)
{
  _from = iFrom;
  _to = iTo;
}

std::string Progress::Line(double iFraction, Clock::time_point iNow) const
{
  constexpr std::size_t width = 30;
  auto const filled = static_cast<std::size_t>(iFraction * width);
  std::string line = _what + " [" + std::string(filled, '#') + std::string(width - filled, '.') + "] " +
                     std::to_string(static_cast<int>(100.0 * iFraction)) + " %";
  double const elapsed = std::chrono::duration<double>(iNow - _begin).count();
  if (_amount > 0.0)
    line += ", " + WithPrefix(_amount * iFraction / elapsed) + _unit + "/s";
  line += ", " + Duration(elapsed * (1.0 - iFraction) / iFraction) + " left";
  return line;
}

void Progress::OnProgress(char const*, double iFraction)
{
  Clock::time_point const now = Clock::now();
  constexpr auto pause = std::chrono::milliseconds(100);
  double const fraction = std::clamp(_from + iFraction * (_to - _from), 0.0, 1.0);
  if (!_isShown || now < _next || fraction == 0.0)
    return;
  SetBarDrawn(true);
  _isDrawn = true;
  std::cerr << std::string("\r").append(Line(fraction, now)).append("\x1b[K") << std::flush;
  _next = now + pause;
}

} // namespace SFHost
