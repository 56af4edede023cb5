#pragma once

#include "SFExport.h"
#include "SFTypes.h"

#include <array>
#include <cstddef>
#include <string>
#include <string_view>

namespace SF {

/// Cuts expression text into tokens. Keeps a copy of the text, a reading position and the character under it,
/// which is "$" whenever the position is at or past the end.
class SF_EXPORT SFLexer
{
public:
  explicit SFLexer(std::string iExpression);
  virtual ~SFLexer();

  /// Reads one token and returns its kind: NONE for an empty text, END at the end and at "$", for ever.
  /// `oStart` receives where the token starts and `oEnd` the position reached after it. `oValue` receives the
  /// number of a constant, blend, offset or resource by number; a number that cannot be read is 0 and, but for
  /// the resource, leaves the position on the token's letter, so that `oStart` equals `oEnd`.
  SFNodeType Next(double& oValue, std::size_t& oStart, std::size_t& oEnd);

  /// Advances by one character; returns the new position and writes it to `oPosition`.
  std::size_t Step(std::size_t& oPosition);

  /// Where `iWhat` stands at or after `iFrom`; npos when it does not.
  std::size_t Find(std::string const& iWhat, std::size_t iFrom) const;
  /// As Find for one character. The last answer for blanks and brackets is remembered, so that asking again
  /// and again for one far away costs nothing.
  std::size_t FindCharacter(char iWhat, std::size_t iFrom) const;
  /// Where the first "]" that a blank follows stands at or after `iFrom`; remembered likewise.
  std::size_t FindListEnd(std::size_t iFrom) const;

  /// The text from `iStart` up to `iEnd`. Throws std::out_of_range when it starts beyond the end of the text.
  std::string SubExpression(std::size_t iStart, std::size_t iEnd) const;

  /// Whether a token begins with a character; the others are skipped where a token is looked for.
  static bool BeginsToken(char iCharacter);

  std::size_t GetTextSize() const { return _text.size(); }

private:
  void MoveTo(std::size_t iPosition, std::size_t& oPosition);
  void ReadNumberToken(double& oValue, std::size_t& oEnd);
  SFNodeType ReadReference(double& oValue, std::size_t& oEnd);

  std::size_t _position = 0;
  char _current;
  std::string _text;
  std::size_t _unreadableAt = std::string::npos; ///< letter of the number token that failed last

  struct Found
  {
    std::size_t from = 1;
    std::size_t at = 0;
  };
  std::size_t FindRemembered(std::size_t iSlot, std::string_view iWhat, std::size_t iFrom) const;
  mutable std::array<Found, 4> _found; ///< per character of FindCharacter's memory, then FindListEnd's
};

/// A number inside brackets or after a token letter: a comma counts as the decimal point.
bool ReadTokenNumber(std::string_view iText, double& oValue);

} // namespace SF
