#include "text/SFUtf8.h"

#include <cstdint>

namespace SF {

std::size_t Utf8Length(std::string_view iText)
{
  auto const byte = [&](std::size_t i) { return static_cast<std::uint8_t>(iText[i]); };
  if (iText.empty())
    return 0;
  if (byte(0) < 0x80)
    return 1;
  std::size_t const length = byte(0) >= 0xf0 ? 4 : byte(0) >= 0xe0 ? 3 : 2;
  if (byte(0) < 0xc2 || byte(0) > 0xf4 || iText.size() < length)
    return 0;
  for (std::size_t i = 1; i < length; ++i)
    if ((byte(i) & 0xc0) != 0x80)
      return 0;
  // Longer than need be, one half of a UTF-16 pair, or beyond the last character there is.
  bool const overlong = (byte(0) == 0xe0 && byte(1) < 0xa0) || (byte(0) == 0xf0 && byte(1) < 0x90);
  bool const surrogate = byte(0) == 0xed && byte(1) >= 0xa0;
  bool const beyond = byte(0) == 0xf4 && byte(1) >= 0x90;
  return overlong || surrogate || beyond ? 0 : length;
}

std::string QuotedPiece(std::string_view iPiece)
{
  constexpr std::size_t longest = 24;
  constexpr std::string_view digits = "0123456789abcdef";
  std::string quoted = "\"";
  for (std::size_t i = 0; i < iPiece.size();) {
    if (i >= longest) {
      quoted += "...";
      break;
    }
    std::size_t const length = Utf8Length(iPiece.substr(i));
    bool const isShown = length > 2 || (length == 1 && (iPiece[i] == ' ' || IsVisibleAscii(iPiece[i]))) ||
                         (length == 2 && iPiece.substr(i, 2) >= "\xc2\xa0"); // those before are control characters
    if (isShown)
      quoted += iPiece.substr(i, length);
    else {
      auto const byte = static_cast<std::uint8_t>(iPiece[i]);
      quoted.append("\\x").append(1, digits[byte >> 4]).append(1, digits[byte & 15]);
    }
    i += isShown ? length : 1;
  }
  return quoted += '"';
}

} // namespace SF
