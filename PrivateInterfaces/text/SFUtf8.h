#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace SF {

/// How many bytes the well-formed UTF-8 character at the start of a text takes (RFC 3629); 0 when there is none.
std::size_t Utf8Length(std::string_view iText);

/// Whether a byte stands for a character of its own that a terminal shows and does not obey.
constexpr bool IsVisibleAscii(char iCharacter) { return iCharacter > ' ' && iCharacter < '\x7f'; }

/// A piece of a text in double quotation marks, as a message shows it: cut when long, bytes that are no visible
/// characters as \xNN.
std::string QuotedPiece(std::string_view iPiece);

} // namespace SF
