#include "calculus/SFCalculusRules.h"

#include <array>
#include <cmath>
#include <cstddef>
#include <utility>

namespace SF {
namespace {

using D = SFDual const&;
using enum SFNumericReads;

/// One row per operator. Rows marked "as it stands" are deliberately not the textbook's.
constexpr SFCalculusRules MakeRules(SFNodeType iType)
{
  switch (iType) {
    using enum SFNodeType;
  case PLUS:
    return {"PLUS(du, dv)", Derivatives, [](D u, D v) { return u.d + v.d; }, SFRewriting::Sum, "", "PLUS/MINUS"};
  case SQUARE:
    return {"MULT(MULT(2, u), du)", ValuesAndDerivatives, [](D u, D) { return (u.value + u.value) * u.d; },
            SFRewriting::Fold};
  case MINUS: // the number adds, as it stands
    return {"MINUS(du, dv)", Derivatives, [](D u, D v) { return u.d + v.d; }, SFRewriting::Sum, "", "PLUS/MINUS"};
  case MULT:
    return {"PLUS(MULT(du, v), MULT(u, dv))", ValuesAndDerivatives,
            [](D u, D v) { return u.d * v.value + u.value * v.d; }, SFRewriting::Product};
  case MIN: // the tree subtracts dv where the textbook adds it, as it stands
    return {"MULT(-0.5, MINUS(d[ABS(MINUS(u, v))], MINUS(du, dv)))", ValuesAndDerivatives,
            [](D u, D v) { return u.value > v.value ? v.d : u.d; }};
  case MAX:
    return {"MULT(0.5, PLUS(d[ABS(MINUS(u, v))], PLUS(du, dv)))", ValuesAndDerivatives,
            [](D u, D v) { return u.value > v.value ? u.d : v.d; }};
  case NOT:
    return {"NOT(du)", Derivatives, [](D u, D) { return -u.d; }, SFRewriting::Fold};
  case COS:
    return {"MULT(NOT(SIN(u)), du)", ValuesAndDerivatives, [](D u, D) { return -std::sin(u.value) * u.d; },
            SFRewriting::Fold};
  case SIN:
    return {"MULT(COS(u), du)", ValuesAndDerivatives, [](D u, D) { return std::cos(u.value) * u.d; },
            SFRewriting::Fold};
  case ROOT:
    return {"DIV(du, MULT(2, ROOT(u)))", ValuesAndDerivatives, [](D u, D) { return u.d / (2.0 * std::sqrt(u.value)); },
            SFRewriting::Fold};
  case DIV:
    return {"DIV(MINUS(MULT(du, v), MULT(u, dv)), SQUARE(v))", ValuesAndDerivatives,
            [](D u, D v) { return (u.d * v.value - u.value * v.d) / (v.value * v.value); }, SFRewriting::Quotient};
  case ABS:
    return {"MULT(SIGN(u), du)", ValuesAndDerivatives, [](D u, D) { return u.value > 0.0 ? u.d : -u.d; },
            SFRewriting::Fold};
  case EXP:
    return {"MULT(EXP(u), du)", ValuesAndDerivatives, [](D u, D) { return std::exp(u.value) * u.d; },
            SFRewriting::Fold};
  case LN:
    return {"DIV(du, u)", ValuesAndDerivatives, [](D u, D) { return u.d / u.value; }, SFRewriting::Fold};
  case POW:
    return {"MULT(d[MULT(v, LN(u))], POW(u, v))", ValuesAndDerivatives,
            [](D u, D v) { return (u.d * v.value / u.value + std::log(u.value) * v.d) * std::pow(u.value, v.value); },
            SFRewriting::Power};
  case SYMDIFF:
    return {"d[MAX(MIN(u, v), NOT(MAX(u, v)))]",
            ValuesAndDerivatives,
            [](D u, D v) {
              if (u.value > v.value)
                return -u.value > v.value ? -u.d : v.d;
              return u.value > -v.value ? u.d : -v.d;
            },
            SFRewriting::None,
            "MULT",
            "PLUS/MINUS"};
  case WITHOUT:
    return {"d[MAX(u, NOT(v))]",
            ValuesAndDerivatives,
            [](D u, D v) { return u.value > -v.value ? u.d : -v.d; },
            SFRewriting::None,
            "MULT",
            "PLUS/MINUS"};
  case ACOS:
    return {"DIV(NOT(du), ROOT(MINUS(1, POW(u, 2))))", ValuesAndDerivatives,
            [](D u, D) { return -u.d / std::sqrt(1.0 - u.value * u.value); }, SFRewriting::Fold};
  case ASIN:
    return {"DIV(du, ROOT(MINUS(1, POW(u, 2))))", ValuesAndDerivatives,
            [](D u, D) { return u.d / std::sqrt(1.0 - u.value * u.value); }, SFRewriting::Fold};
  case TAN:
    return {"DIV(du, POW(COS(u), 2))", ValuesAndDerivatives,
            [](D u, D) { return u.d / (std::cos(u.value) * std::cos(u.value)); }, SFRewriting::Fold};
  case ATAN: // the number divides by the square root, as it stands
    return {"DIV(du, PLUS(1, POW(u, 2)))", ValuesAndDerivatives,
            [](D u, D) { return u.d / std::sqrt(u.value * u.value + 1.0); }, SFRewriting::Fold};
  case SIGN:
    return {"0", Nothing, [](D, D) { return 0.0; }};

  case NONE:
  case END:
  case X:
  case Y:
  case Z:
  case CONSTANT:
  case POLY:
  case POLYGRADIENT:
  case UNRESOLVEDREF:
  case RESOLVEDREF:
  case UNDEFINED:
  case PARAMETER:
  case AFFINETRANSFORM:
  case BLEND:
  case DISCRETETRANFORM:
  case CYLINDRICALTRANSFORM:
  case GCGUIDEDTRANSFORM:
  case OFFSET:
  case RESERVED:
    break;
  }
  return {};
}

constexpr auto Table = []<std::size_t... Kind>(std::index_sequence<Kind...>)
{
  return std::array<SFCalculusRules, SFNodeTypeCount>{MakeRules(SFNodeType{Kind})...};
}
(std::make_index_sequence<SFNodeTypeCount>{});

/// Every operator, and nothing else, has both derivatives; only binary ones have a right operand to name.
consteval bool TableIsSound()
{
  using StepKind = SFTreeTemplate::StepKind;
  for (SFOperatorRow const& row : SFOperatorTable) {
    SFCalculusRules const& rules = Table[static_cast<std::size_t>(row.type)];
    bool const isOperator = IsOperator(row.type);
    if (rules.derivative.Steps().empty() == isOperator || (rules.numericDerivative == nullptr) == isOperator)
      return false;
    for (SFTreeTemplate::Step const& step : rules.derivative.Steps())
      if (row.arity < 2 && (step.kind == StepKind::Rhs || step.kind == StepKind::RhsDerivative))
        return false;
  }
  return true;
}
static_assert(TableIsSound());

} // namespace

SFCalculusRules const& CalculusRulesOf(SFNodeType iType)
{
  return Table[IsNodeType(iType) ? static_cast<std::size_t>(iType) : 0];
}

} // namespace SF
