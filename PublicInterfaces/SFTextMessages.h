#pragma once

#include "SFExport.h"

#include <cstddef>
#include <string>
#include <string_view>

namespace SF {

/// Writes messages about places in a text as compilers do, for people and for editors that look for such lines:
///
///     plate.sf:1:3: warning: "3" is skipped: a number begins with "f".
///     - 3 X
///       ^
///
/// Lines and columns count from 1; a column is a character of UTF-8, or a byte that belongs to none. Of a line that is
/// longer than `Width` columns the part around the place is shown, with "..." where it is cut. Tabs are shown as
/// blanks and everything else that a terminal would not show as it is as "?".
///
/// Not for several threads at once: an object remembers the line that it wrote about last, so that messages in the
/// order of their places cost the length of the text together.
class SF_EXPORT SFTextMessages
{
public:
  /// Columns of a text that are shown at most.
  static constexpr std::size_t Width = 100;

  /// `iName` is what the lines begin with, the name of a file. The text must outlive the object.
  SFTextMessages(std::string iName, std::string_view iText);

  /// A place as people count it.
  struct Place
  {
    std::size_t line = 1;   ///< from 1
    std::size_t column = 1; ///< from 1, in characters of UTF-8
  };
  /// Of a byte of the text; a position beyond the end stands for the end.
  Place PlaceOf(std::size_t iPosition);

  /// The lines about `iLength` bytes from a position on, each with its line feed. `iSeverity` is "error", "warning" or
  /// "note". What of the place lies on later lines is not marked.
  std::string Format(std::size_t iPosition, std::size_t iLength, std::string_view iSeverity,
                     std::string_view iSentence);

private:
  void FindLine(std::size_t iPosition);
  void StartLine(std::size_t iPosition, std::size_t iNumber);

  std::string _name;
  std::string_view _text;
  std::size_t _lineStart = 0; ///< of the line found last
  std::size_t _lineEnd = 0;   ///< its line feed, or the end of the text
  std::size_t _line = 1;
  std::size_t _columnAt = 0; ///< a position on that line whose column is known
  std::size_t _column = 1;
};

} // namespace SF
