#pragma once

#include "SFTypes.h"

#include <array>
#include <cstddef>
#include <string_view>

namespace SF {

/// What a node kind is to the code that handles whole families of kinds alike.
enum class SFNodeFamily
{
  None, ///< exists as a value only
  End,  ///< the leaf made where the text runs out
  Coordinate,
  Constant,  ///< leaves whose value GetConstant gives
  Resource,  ///< leaves that the resource interface evaluates
  Reference, ///< a resource that nobody has resolved
  Operator,  ///< one or two operands, value from SFScalarOps
  Transform, ///< one operand, evaluated at a mapped point
  Blend,
  Offset
};

/// One row per node kind; the only place where its name, its character and its shape stand.
struct SFOperatorRow
{
  SFNodeType type;
  std::string_view name;
  char token; ///< character in expression text, 0 for none
  int arity;
  SFNodeFamily family;
  SFSemanticLevel level;
  std::string_view drawing; ///< the GraphViz label up to a number or an id, or up to its closing quote
};

namespace Detail {
using enum SFNodeType;
using F = SFNodeFamily;
constexpr auto L1 = SFSemanticLevel::ESemanticLevel1;
constexpr auto L2 = SFSemanticLevel::ESemanticLevel2;
} // namespace Detail

constexpr std::size_t SFNodeTypeCount = 41;

// clang-format off
constexpr std::array<SFOperatorRow, SFNodeTypeCount> SFOperatorTable{{
  {Detail::NONE,                 "NONE",                 0,    0, Detail::F::None,       Detail::L1, ""},
  {Detail::END,                  "END",                  '$',  0, Detail::F::End,        Detail::L1, ""},
  {Detail::X,                    "X",                    'X',  0, Detail::F::Coordinate, Detail::L1, " [label =\"<f1> X"},
  {Detail::Y,                    "Y",                    'Y',  0, Detail::F::Coordinate, Detail::L1, " [label =\"<f1> Y"},
  {Detail::Z,                    "Z",                    'Z',  0, Detail::F::Coordinate, Detail::L1, " [label =\"<f1> Z"},
  {Detail::CONSTANT,             "CONSTANT",             'f',  0, Detail::F::Constant,   Detail::L1, " [label = \"<f1>"},
  {Detail::POLY,                 "POLY",                 '#',  0, Detail::F::Resource,   Detail::L1, "[label =\"<f1> POLY "},
  {Detail::POLYGRADIENT,         "POLYGRADIENT",         0,    0, Detail::F::Resource,   Detail::L1, "[label =\"<f1> POLYGRADIENT"},
  {Detail::PLUS,                 "PLUS",                 '+',  2, Detail::F::Operator,   Detail::L1, " [label = \"<f0> |<f1> + "},
  {Detail::SQUARE,               "SQUARE",               'q',  1, Detail::F::Operator,   Detail::L1, " [label = \"<f1> SQUARE"},
  {Detail::MINUS,                "MINUS",                '-',  2, Detail::F::Operator,   Detail::L1, " [label =\"<f0> |<f1> - "},
  {Detail::MULT,                 "MULT",                 '*',  2, Detail::F::Operator,   Detail::L1, " [label = \"<f0> |<f1> * "},
  {Detail::MIN,                  "MIN",                  'U',  2, Detail::F::Operator,   Detail::L1, " [label = \"<f0> |<f1> MIN "},
  {Detail::MAX,                  "MAX",                  'I',  2, Detail::F::Operator,   Detail::L1, " [label = \"<f0> |<f1> MAX "},
  {Detail::NOT,                  "NOT",                  '!',  1, Detail::F::Operator,   Detail::L1, " [label = \"<f1> !"},
  {Detail::COS,                  "COS",                  'c',  1, Detail::F::Operator,   Detail::L1, " [label = \"<f1> cos"},
  {Detail::SIN,                  "SIN",                  's',  1, Detail::F::Operator,   Detail::L1, " [label = \"<f1> sin"},
  {Detail::ROOT,                 "ROOT",                 'r',  1, Detail::F::Operator,   Detail::L1, " [label = \"<f1> ROOT"},
  {Detail::DIV,                  "DIV",                  '/',  2, Detail::F::Operator,   Detail::L1, " [label = \"<f0> |<f1> / "},
  {Detail::ABS,                  "ABS",                  'a',  1, Detail::F::Operator,   Detail::L1, " [label = \"<f1> ABS"},
  {Detail::EXP,                  "EXP",                  'e',  1, Detail::F::Operator,   Detail::L1, " [label = \"<f1> exp"},
  {Detail::LN,                   "LN",                   'l',  1, Detail::F::Operator,   Detail::L1, " [label = \"<f1> ln"},
  {Detail::POW,                  "POW",                  '^',  2, Detail::F::Operator,   Detail::L1, " [label = \"<f0> |<f1> ^ "},
  {Detail::SYMDIFF,              "SYMDIFF",              'D',  2, Detail::F::Operator,   Detail::L1, " [label = \"<f0> |<f1> SYMDIFF "},
  {Detail::WITHOUT,              "WITHOUT",              '\\', 2, Detail::F::Operator,   Detail::L1, " [label = \"<f0> |<f1> WITHOUT "},
  {Detail::ACOS,                 "ACOS",                 'C',  1, Detail::F::Operator,   Detail::L1, " [label = \"<f1> acos"},
  {Detail::ASIN,                 "ASIN",                 'S',  1, Detail::F::Operator,   Detail::L1, " [label = \"<f1> asin"},
  {Detail::TAN,                  "TAN",                  't',  1, Detail::F::Operator,   Detail::L1, " [label = \"<f1> tan"},
  {Detail::ATAN,                 "ATAN",                 'T',  1, Detail::F::Operator,   Detail::L1, " [label = \"<f1> atan"},
  {Detail::SIGN,                 "SIGN",                 '?',  1, Detail::F::Operator,   Detail::L1, " [label = \"<f1> sign"},
  {Detail::UNRESOLVEDREF,        "UNRESOLVEDREF",        '#',  0, Detail::F::Reference,  Detail::L1, "[label =\"<f1> UNRESOLVEDREF"},
  {Detail::RESOLVEDREF,          "RESOLVEDREF",          0,    0, Detail::F::Resource,   Detail::L1, "[label =\"<f1> RESOLVEDREF "},
  {Detail::UNDEFINED,            "UNDEFINED",            0,    0, Detail::F::None,       Detail::L1, ""},
  {Detail::PARAMETER,            "PARAMETER",            'p',  0, Detail::F::Constant,   Detail::L2, " [label = \"<f1> PARAMETER "},
  {Detail::AFFINETRANSFORM,      "AFFINETRANSFORM",      'm',  1, Detail::F::Transform,  Detail::L2, " [label = \"<f1> AFFINETRANSFORM"},
  {Detail::BLEND,                "BLEND",                'b',  2, Detail::F::Blend,      Detail::L2, " [label = \"<f0> |<f1> BLEND "},
  {Detail::DISCRETETRANFORM,     "DISCRETETRANFORM",     'd',  1, Detail::F::Transform,  Detail::L2, " [label = \"<f1> DISCRETETRANFORM"},
  {Detail::CYLINDRICALTRANSFORM, "CYLINDRICALTRANSFORM", 'n',  1, Detail::F::Transform,  Detail::L2, " [label = \"<f1> CYLINDRICALTRANSFORM"},
  {Detail::GCGUIDEDTRANSFORM,    "GCGUIDEDTRANSFORM",    'g',  1, Detail::F::Transform,  Detail::L2, " [label = \"<f1> GCGUIDEDTRANSFORM"},
  {Detail::OFFSET,               "OFFSET",               'o',  1, Detail::F::Offset,     Detail::L2, " [label = \"<f1> OFFSET"},
  {Detail::RESERVED,             "RESERVED",             0,    0, Detail::F::None,       Detail::L2, ""},
}};
// clang-format on

constexpr bool IsNodeType(SFNodeType iType)
{
  auto const value = static_cast<std::int32_t>(iType);
  return value >= 0 && value < static_cast<std::int32_t>(SFNodeTypeCount);
}

/// The row of a kind; that of NONE for a value outside the enumeration.
constexpr SFOperatorRow const& OperatorRow(SFNodeType iType)
{
  return SFOperatorTable[IsNodeType(iType) ? static_cast<std::size_t>(iType) : 0];
}

constexpr SFNodeFamily FamilyOf(SFNodeType iType) { return OperatorRow(iType).family; }
constexpr bool IsCoordinate(SFNodeType iType) { return FamilyOf(iType) == SFNodeFamily::Coordinate; }
constexpr bool IsOperator(SFNodeType iType) { return FamilyOf(iType) == SFNodeFamily::Operator; }
constexpr bool IsUnaryOperator(SFNodeType iType) { return IsOperator(iType) && OperatorRow(iType).arity == 1; }
constexpr bool IsBinaryOperator(SFNodeType iType) { return IsOperator(iType) && OperatorRow(iType).arity == 2; }

namespace Detail {
/// Rows stand in the order of the enumeration, and no name and no character occurs twice. The one exception is
/// "#", which a blank after it decides.
consteval bool OperatorTableIsSound()
{
  for (std::size_t i = 0; i < SFNodeTypeCount; ++i) {
    auto const& row = SFOperatorTable[i];
    if (static_cast<std::size_t>(row.type) != i || row.arity < 0 || row.arity > 2)
      return false;
    for (std::size_t j = 0; j < i; ++j) {
      auto const& other = SFOperatorTable[j];
      bool const bothReferences = row.type == UNRESOLVEDREF && other.type == POLY;
      if (row.name == other.name || (row.token != 0 && row.token == other.token && !bothReferences))
        return false;
    }
  }
  return true;
}
static_assert(OperatorTableIsSound());
} // namespace Detail

} // namespace SF
