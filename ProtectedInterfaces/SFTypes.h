#pragma once

#include "SFDiagnostics.h"
#include "SFExport.h"
#include "ZULResultCodes.h"

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

/// Scalar fields of points in space, negative inside of the solids that they describe.
namespace SF {

/// The kinds of node. The numeric values are part of the external contract.
enum class SFNodeType : std::int32_t
{
  NONE = 0,
  END = 1,
  X = 2,
  Y = 3,
  Z = 4,
  CONSTANT = 5,
  POLY = 6,
  POLYGRADIENT = 7,
  PLUS = 8,
  SQUARE = 9,
  MINUS = 10,
  MULT = 11,
  MIN = 12,
  MAX = 13,
  NOT = 14,
  COS = 15,
  SIN = 16,
  ROOT = 17,
  DIV = 18,
  ABS = 19,
  EXP = 20,
  LN = 21,
  POW = 22,
  SYMDIFF = 23,
  WITHOUT = 24,
  ACOS = 25,
  ASIN = 26,
  TAN = 27,
  ATAN = 28,
  SIGN = 29,
  UNRESOLVEDREF = 30,
  RESOLVEDREF = 31,
  UNDEFINED = 32,
  PARAMETER = 33,
  AFFINETRANSFORM = 34,
  BLEND = 35,
  DISCRETETRANFORM = 36, // spelt without its second S wherever it is shown
  CYLINDRICALTRANSFORM = 37,
  GCGUIDEDTRANSFORM = 38,
  OFFSET = 39,
  RESERVED = 40
};

/// Which node kinds a software context admits. Any value other than 2 behaves as level 1.
enum class SFSemanticLevel : std::int32_t
{
  ESemanticLevel1 = 1,
  ESemanticLevel2 = 2
};

/// Whether a software context admits a kind.
enum class SFSemanticSupportStatus : std::int32_t
{
  ENotSupported = 1,
  ESupported = 2
};

/// Names an operand slot of a node.
enum class SFOperand : std::int32_t
{
  ELhs = 0,
  ERhs = 1
};

/// A 16-byte interface identifier.
struct _GUID
{
  std::uint32_t Data1 = 0;             ///< the first eight of its hexadecimal digits
  std::uint16_t Data2 = 0;             ///< the next four
  std::uint16_t Data3 = 0;             ///< the next four
  std::array<std::uint8_t, 8> Data4{}; ///< the rest, byte by byte

  bool operator==(_GUID const&) const = default;
};

/// E_FAIL, after a line, when the text of a number holds a blank or a comma: either would end the number where
/// the text is read again.
inline HRESULT CheckNumberText(std::string_view valueAsSFString)
{
  constexpr char const* header = "ProtectedInterfaces/SFTypes.h";
  if (valueAsSFString.find(' ') != std::string_view::npos) {
    Diagnostics::NotSatisfied("ToSFString", R"(SFString::npos == valueAsSFString.find(" "))",
                              SFSourceLocation::In(header));
    return E_FAIL;
  }
  if (valueAsSFString.find(',') != std::string_view::npos) {
    Diagnostics::NotSatisfied("ToSFString", R"(SFString::npos == valueAsSFString.find(","))",
                              SFSourceLocation::In(header));
    return E_FAIL;
  }
  return S_OK;
}

/// The text of a double in expressions and drawings: classic locale, 6 significant digits, the shorter of the
/// fixed and the exponent form (C's %g). E_FAIL, and `oText` unchanged, when the text would hold a blank or a
/// comma.
SF_EXPORT HRESULT ToSFString(double iValue, std::string& oText);

/// As ToSFString, at the end of a text, which may have grown when the call fails.
SF_EXPORT HRESULT AppendSFNumber(double iValue, std::string& ioText);

/// As AppendSFNumber, with the fewest digits that ReadSFNumber reads back to the same double.
SF_EXPORT HRESULT AppendSFNumberInFull(double iValue, std::string& ioText);

/// Reads a double at the start of `iText` as a stream in the classic locale does: leading white space is
/// skipped, the longest run of characters that can belong to a number is taken and must be one as a whole.
/// False, and `oValue` 0, when there is none or when it is out of range. Neither "inf" nor "nan" is a number.
SF_EXPORT bool ReadSFNumber(std::string_view iText, double& oValue);

/// The characters that ReadSFNumber takes for the number, which need not be one.
SF_EXPORT std::string_view SFNumberRun(std::string_view iText);

} // namespace SF
