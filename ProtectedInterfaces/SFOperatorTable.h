#pragma once

#include "SFTypes.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <utility>

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

/// What pruning for a box may do with an operator, given the ranges of its operands there.
enum class SFPruning : std::uint8_t
{
  None,       ///< nothing; all of the operands is demanded
  Minimum,    ///< keep one operand: the smaller of a and b,
  Maximum,    ///< the greater of a and b,
  Difference, ///< the greater of a and -b
  Magnitude,  ///< keep the operand where it is positive
  Sign,       ///< become 1 or -1
  Complement  ///< demand the range of the result, negated
};

/// One row per node kind; the only place where its name, its character, its shape and its traits stand.
struct SFOperatorRow
{
  SFNodeType type;          ///< the number of the row in the table
  std::string_view name;    ///< in messages and drawings
  char token;               ///< character in expression text, 0 for none
  int arity;                ///< operands: 0, 1 or 2
  SFNodeFamily family;      ///< what code that handles families goes by
  SFSemanticLevel level;    ///< the lowest one that supports it
  std::string_view drawing; ///< the GraphViz label up to a number or an id, or up to its closing quote
  // Operators have a cost. The other two traits are optimisations: one that is not stated costs speed and no more.
  std::uint8_t cost = 0;  ///< of one value in compiled fields, in additions
  bool isFusable = false; ///< a few vector instructions, so that compiled fields may keep its value in registers
  SFPruning pruning = SFPruning::None; ///< for the pruner of compiled fields
};

namespace Detail {
using enum SFNodeType;
using F = SFNodeFamily;
constexpr auto L1 = SFSemanticLevel::ESemanticLevel1;
constexpr auto L2 = SFSemanticLevel::ESemanticLevel2;
using P = SFPruning;
constexpr std::uint8_t Simple = 1;
constexpr std::uint8_t Division = 6;
constexpr std::uint8_t Function = 50;
constexpr bool Fused = true;
} // namespace Detail

/// The rows in the order of the kinds.
// clang-format off
constexpr auto SFOperatorTable = std::to_array<SFOperatorRow>({
  {Detail::NONE,                 "NONE",                 0,    0, Detail::F::None,       Detail::L1, ""},
  {Detail::END,                  "END",                  '$',  0, Detail::F::End,        Detail::L1, ""},
  {Detail::X,                    "X",                    'X',  0, Detail::F::Coordinate, Detail::L1, " [label =\"<f1> X"},
  {Detail::Y,                    "Y",                    'Y',  0, Detail::F::Coordinate, Detail::L1, " [label =\"<f1> Y"},
  {Detail::Z,                    "Z",                    'Z',  0, Detail::F::Coordinate, Detail::L1, " [label =\"<f1> Z"},
  {Detail::CONSTANT,             "CONSTANT",             'f',  0, Detail::F::Constant,   Detail::L1, " [label = \"<f1>"},
  {Detail::POLY,                 "POLY",                 '#',  0, Detail::F::Resource,   Detail::L1, "[label =\"<f1> POLY "},
  {Detail::POLYGRADIENT,         "POLYGRADIENT",         0,    0, Detail::F::Resource,   Detail::L1, "[label =\"<f1> POLYGRADIENT"},
  {Detail::PLUS,                 "PLUS",                 '+',  2, Detail::F::Operator,   Detail::L1, " [label = \"<f0> |<f1> + ", Detail::Simple, Detail::Fused},
  {Detail::SQUARE,               "SQUARE",               'q',  1, Detail::F::Operator,   Detail::L1, " [label = \"<f1> SQUARE", Detail::Simple, Detail::Fused},
  {Detail::MINUS,                "MINUS",                '-',  2, Detail::F::Operator,   Detail::L1, " [label =\"<f0> |<f1> - ", Detail::Simple, Detail::Fused},
  {Detail::MULT,                 "MULT",                 '*',  2, Detail::F::Operator,   Detail::L1, " [label = \"<f0> |<f1> * ", Detail::Simple, Detail::Fused},
  {Detail::MIN,                  "MIN",                  'U',  2, Detail::F::Operator,   Detail::L1, " [label = \"<f0> |<f1> MIN ", Detail::Simple, Detail::Fused, Detail::P::Minimum},
  {Detail::MAX,                  "MAX",                  'I',  2, Detail::F::Operator,   Detail::L1, " [label = \"<f0> |<f1> MAX ", Detail::Simple, Detail::Fused, Detail::P::Maximum},
  {Detail::NOT,                  "NOT",                  '!',  1, Detail::F::Operator,   Detail::L1, " [label = \"<f1> !", Detail::Simple, Detail::Fused, Detail::P::Complement},
  {Detail::COS,                  "COS",                  'c',  1, Detail::F::Operator,   Detail::L1, " [label = \"<f1> cos", Detail::Function},
  {Detail::SIN,                  "SIN",                  's',  1, Detail::F::Operator,   Detail::L1, " [label = \"<f1> sin", Detail::Function},
  {Detail::ROOT,                 "ROOT",                 'r',  1, Detail::F::Operator,   Detail::L1, " [label = \"<f1> ROOT", Detail::Division, Detail::Fused},
  {Detail::DIV,                  "DIV",                  '/',  2, Detail::F::Operator,   Detail::L1, " [label = \"<f0> |<f1> / ", Detail::Division, Detail::Fused},
  {Detail::ABS,                  "ABS",                  'a',  1, Detail::F::Operator,   Detail::L1, " [label = \"<f1> ABS", Detail::Simple, Detail::Fused, Detail::P::Magnitude},
  {Detail::EXP,                  "EXP",                  'e',  1, Detail::F::Operator,   Detail::L1, " [label = \"<f1> exp", Detail::Function},
  {Detail::LN,                   "LN",                   'l',  1, Detail::F::Operator,   Detail::L1, " [label = \"<f1> ln", Detail::Function},
  {Detail::POW,                  "POW",                  '^',  2, Detail::F::Operator,   Detail::L1, " [label = \"<f0> |<f1> ^ ", Detail::Function},
  {Detail::SYMDIFF,              "SYMDIFF",              'D',  2, Detail::F::Operator,   Detail::L1, " [label = \"<f0> |<f1> SYMDIFF ", Detail::Simple, Detail::Fused},
  {Detail::WITHOUT,              "WITHOUT",              '\\', 2, Detail::F::Operator,   Detail::L1, " [label = \"<f0> |<f1> WITHOUT ", Detail::Simple, Detail::Fused, Detail::P::Difference},
  {Detail::ACOS,                 "ACOS",                 'C',  1, Detail::F::Operator,   Detail::L1, " [label = \"<f1> acos", Detail::Function},
  {Detail::ASIN,                 "ASIN",                 'S',  1, Detail::F::Operator,   Detail::L1, " [label = \"<f1> asin", Detail::Function},
  {Detail::TAN,                  "TAN",                  't',  1, Detail::F::Operator,   Detail::L1, " [label = \"<f1> tan", Detail::Function},
  {Detail::ATAN,                 "ATAN",                 'T',  1, Detail::F::Operator,   Detail::L1, " [label = \"<f1> atan", Detail::Function},
  {Detail::SIGN,                 "SIGN",                 '?',  1, Detail::F::Operator,   Detail::L1, " [label = \"<f1> sign", Detail::Simple, Detail::Fused, Detail::P::Sign},
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
});
// clang-format on

/// How many kinds there are.
constexpr std::size_t SFNodeTypeCount = SFOperatorTable.size();

/// Whether a number that was cast names a kind.
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

/// None for a value outside the enumeration.
constexpr SFNodeFamily FamilyOf(SFNodeType iType) { return OperatorRow(iType).family; }
/// X, Y or Z.
constexpr bool IsCoordinate(SFNodeType iType) { return FamilyOf(iType) == SFNodeFamily::Coordinate; }
/// A kind whose value depends on those of its operands alone.
constexpr bool IsOperator(SFNodeType iType) { return FamilyOf(iType) == SFNodeFamily::Operator; }
/// An operator of one operand, the left one.
constexpr bool IsUnaryOperator(SFNodeType iType) { return IsOperator(iType) && OperatorRow(iType).arity == 1; }
/// An operator of two operands.
constexpr bool IsBinaryOperator(SFNodeType iType) { return IsOperator(iType) && OperatorRow(iType).arity == 2; }

/// Whether pruning may drop one of the operands of a value, or the value itself, in a box.
constexpr bool IsChoice(SFNodeType iType)
{
  SFPruning const pruning = OperatorRow(iType).pruning;
  return pruning != SFPruning::None && pruning != SFPruning::Complement;
}

namespace Detail {
/// Whether no row before that of a kind has its name or its character. The one exception is "#", which a blank after
/// it decides.
consteval bool IsDistinct(std::size_t iKind)
{
  auto const& row = SFOperatorTable[iKind];
  for (std::size_t i = 0; i < iKind; ++i) {
    auto const& other = SFOperatorTable[i];
    bool const bothReferences = row.type == UNRESOLVEDREF && other.type == POLY;
    if (row.name == other.name || (row.token != 0 && row.token == other.token && !bothReferences))
      return false;
  }
  return true;
}

/// A template, so that the compiler's message names the row.
template <SFNodeType Kind>
consteval bool IsSound()
{
  constexpr SFOperatorRow const& row = OperatorRow(Kind);
  static_assert(row.type == Kind, "a row that is not at the place of its kind");
  static_assert(IsDistinct(static_cast<std::size_t>(Kind)), "a name or a character that is taken");
  static_assert(row.token == 0 || (row.token > ' ' && row.token <= '~'), "a character that is not visible ASCII");
  static_assert(row.arity >= 0 && row.arity <= 2, "a number of operands beyond two");
  static_assert(!IsOperator(Kind) || row.arity > 0, "an operator without operands");
  static_assert(IsOperator(Kind) == (row.cost != 0), "operators, and they alone, have a cost");
  return true;
}
static_assert([]<std::size_t... Kind>(std::index_sequence<Kind...>) {
  return (IsSound<SFNodeType{Kind}>() && ...);
}(std::make_index_sequence<SFNodeTypeCount>{}));
} // namespace Detail

} // namespace SF
