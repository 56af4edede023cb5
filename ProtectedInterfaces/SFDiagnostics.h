#pragma once

#include "SFExport.h"
#include "ZULResultCodes.h"

#include <string_view>

namespace SF {

/// A place in the sources. Taken as a default argument it is the caller's place.
struct SFSourceLocation
{
  /// The caller's place, as a default argument.
  static constexpr SFSourceLocation Current(char const* iFile = __builtin_FILE(), int iLine = __builtin_LINE())
  {
    return {iFile, iLine};
  }

  /// The caller's line in a header of this library, by its path in the sources: where a host compiles an inline
  /// function, the compiler only knows the folder that it was installed into.
  static constexpr SFSourceLocation In(char const* iHeader, int iLine = __builtin_LINE()) { return {iHeader, iLine}; }

  char const* file; ///< a literal
  int line;         ///< from 1
};

/// Every diagnostic line of the library is written here: to std::cout, in one piece, ended by a newline and a
/// flush. Lines of parallel tasks never interleave. A host that wants them elsewhere sets std::cout's buffer.
namespace Diagnostics {

/// A line of its own wording.
SF_EXPORT void Sentence(std::string_view iText);
/// "<text> failed with hr: <code>"
SF_EXPORT void FailedSentence(std::string_view iText, HRESULT iCode);
/// "Error in <method> at <path>:<line>  failed with hr: <code>"
SF_EXPORT void FailedCall(std::string_view iMethod, HRESULT iCode,
                          SFSourceLocation iWhere = SFSourceLocation::Current());
/// "Error in <method> at <path>:<line> <condition> not satisfied."
SF_EXPORT void NotSatisfied(std::string_view iMethod, std::string_view iCondition,
                            SFSourceLocation iWhere = SFSourceLocation::Current());
/// "Error in <method> at <path>:<line> <pointer> is nullptr"
SF_EXPORT void NullPointer(std::string_view iMethod, std::string_view iPointer,
                           SFSourceLocation iWhere = SFSourceLocation::Current());
/// "Error in <method> at <path>:<line> <text>"
SF_EXPORT void Problem(std::string_view iMethod, std::string_view iText,
                       SFSourceLocation iWhere = SFSourceLocation::Current());
/// "Info from <method> at <path>:<line> <text>"
SF_EXPORT void Info(std::string_view iMethod, std::string_view iText,
                    SFSourceLocation iWhere = SFSourceLocation::Current());

} // namespace Diagnostics

/// While one lives, its thread writes no lines.
class SF_EXPORT SFSilence
{
public:
  SFSilence();
  SFSilence(SFSilence const&) = delete;
  SFSilence& operator=(SFSilence const&) = delete;
  ~SFSilence();
};

} // namespace SF
