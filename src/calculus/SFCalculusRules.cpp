#include "calculus/SFCalculusRules.h"

#include "SFElementary.h"

#include <array>
#include <cmath>
#include <cstddef>
#include <utility>

namespace SF {
namespace {

using D = SFDual const&;
using StepKind = SFTreeTemplate::StepKind;
using enum SFNodeType;
using enum SFNumericReads;
using enum SFRewriting;

/// The rules of an operator, a specialisation for each. What is marked "as it stands" is deliberately not the textbook's.
template <SFNodeType Op>
requires(IsOperator(Op)) constexpr SFCalculusRules Rules{};

template <>
constexpr SFCalculusRules Rules<PLUS>{
    .derivative = "PLUS(du, dv)",
    .numericReads = Derivatives,
    .numericDerivative = [](D u, D v) { return u.d + v.d; },
    .tapeDerivative = "PLUS(du, dv)",
    .rewriting = Sum,
    .nameInDerivativeFailures = "PLUS/MINUS",
};

template <>
constexpr SFCalculusRules Rules<SQUARE>{
    .derivative = "MULT(MULT(2, u), du)",
    .numericReads = ValuesAndDerivatives,
    .numericDerivative = [](D u, D) { return (u.value + u.value) * u.d; },
    .tapeDerivative = "MULT(MULT(2, u), du)",
    .rewriting = Fold,
};

template <>
constexpr SFCalculusRules Rules<MINUS>{
    .derivative = "MINUS(du, dv)",
    .numericReads = Derivatives,
    // The number adds, as it stands.
    .numericDerivative = [](D u, D v) { return u.d + v.d; },
    .tapeDerivative = "MINUS(du, dv)",
    .rewriting = Sum,
    .nameInDerivativeFailures = "PLUS/MINUS",
};

template <>
constexpr SFCalculusRules Rules<MULT>{
    .derivative = "PLUS(MULT(du, v), MULT(u, dv))",
    .numericReads = ValuesAndDerivatives,
    .numericDerivative = [](D u, D v) { return u.d * v.value + u.value * v.d; },
    .tapeDerivative = "PLUS(MULT(v, du), MULT(u, dv))",
    .rewriting = Product,
};

template <>
constexpr SFCalculusRules Rules<MIN>{
    // The tree subtracts dv where the textbook adds it, as it stands.
    .derivative = "MULT(-0.5, MINUS(d[ABS(MINUS(u, v))], MINUS(du, dv)))",
    .numericReads = ValuesAndDerivatives,
    .numericDerivative = [](D u, D v) { return u.value > v.value ? v.d : u.d; },
    .tapeDerivative = "SELECT(MINUS(u, v), dv, du)",
};

template <>
constexpr SFCalculusRules Rules<MAX>{
    .derivative = "MULT(0.5, PLUS(d[ABS(MINUS(u, v))], PLUS(du, dv)))",
    .numericReads = ValuesAndDerivatives,
    .numericDerivative = [](D u, D v) { return u.value > v.value ? u.d : v.d; },
    .tapeDerivative = "SELECT(MINUS(v, u), dv, du)",
};

template <>
constexpr SFCalculusRules Rules<NOT>{
    .derivative = "NOT(du)",
    .numericReads = Derivatives,
    .numericDerivative = [](D u, D) { return -u.d; },
    .tapeDerivative = "NOT(du)",
    .rewriting = Fold,
};

template <>
constexpr SFCalculusRules Rules<COS>{
    .derivative = "MULT(NOT(SIN(u)), du)",
    .numericReads = ValuesAndDerivatives,
    .numericDerivative = [](D u, D) { return -Elementary::Sin(u.value) * u.d; },
    .tapeDerivative = "NOT(MULT(SIN(u), du))",
    .rewriting = Fold,
};

template <>
constexpr SFCalculusRules Rules<SIN>{
    .derivative = "MULT(COS(u), du)",
    .numericReads = ValuesAndDerivatives,
    .numericDerivative = [](D u, D) { return Elementary::Cos(u.value) * u.d; },
    .tapeDerivative = "MULT(COS(u), du)",
    .rewriting = Fold,
};

template <>
constexpr SFCalculusRules Rules<ROOT>{
    .derivative = "DIV(du, MULT(2, ROOT(u)))",
    .numericReads = ValuesAndDerivatives,
    .numericDerivative = [](D u, D) { return u.d / (2.0 * std::sqrt(u.value)); },
    .tapeDerivative = "STILL(DIV(du, MULT(2, w)))",
    .rewriting = Fold,
};

template <>
constexpr SFCalculusRules Rules<DIV>{
    .derivative = "DIV(MINUS(MULT(du, v), MULT(u, dv)), SQUARE(v))",
    .numericReads = ValuesAndDerivatives,
    .numericDerivative = [](D u, D v) { return (u.d * v.value - u.value * v.d) / (v.value * v.value); },
    .tapeDerivative = "DIV(MINUS(du, MULT(w, dv)), v)",
    .rewriting = Quotient,
};

template <>
constexpr SFCalculusRules Rules<ABS>{
    .derivative = "MULT(SIGN(u), du)",
    .numericReads = ValuesAndDerivatives,
    .numericDerivative = [](D u, D) { return u.value > 0.0 ? u.d : -u.d; },
    .tapeDerivative = "SELECT(u, du, NOT(du))",
    .rewriting = Fold,
};

template <>
constexpr SFCalculusRules Rules<EXP>{
    .derivative = "MULT(EXP(u), du)",
    .numericReads = ValuesAndDerivatives,
    .numericDerivative = [](D u, D) { return Elementary::Exp(u.value) * u.d; },
    .tapeDerivative = "MULT(w, du)",
    .rewriting = Fold,
};

template <>
constexpr SFCalculusRules Rules<LN>{
    .derivative = "DIV(du, u)",
    .numericReads = ValuesAndDerivatives,
    .numericDerivative = [](D u, D) { return u.d / u.value; },
    .tapeDerivative = "DIV(du, u)",
    .rewriting = Fold,
};

template <>
constexpr SFCalculusRules Rules<POW>{
    .derivative = "MULT(d[MULT(v, LN(u))], POW(u, v))",
    .numericReads = ValuesAndDerivatives,
    .numericDerivative =
        [](D u, D v) {
          return (u.d * v.value / u.value + Elementary::Log(u.value) * v.d) * Elementary::Pow(u.value, v.value);
        },
    // A base that is not positive has no logarithm: 0 at 0, NaN below, as the square root has it.
    .tapeDerivative =
        "PLUS(STILL(MULT(MULT(v, POW(u, MINUS(v, 1))), du)), MULT(MULT(w, SELECT(u, LN(u), ROOT(u))), dv))",
    .rewriting = Power,
};

template <>
constexpr SFCalculusRules Rules<SYMDIFF>{
    .derivative = "d[MAX(MIN(u, v), NOT(MAX(u, v)))]",
    .numericReads = ValuesAndDerivatives,
    .numericDerivative =
        [](D u, D v) {
          if (u.value > v.value)
            return -u.value > v.value ? -u.d : v.d;
          return u.value > -v.value ? u.d : -v.d;
        },
    .tapeDerivative = "d[WITHOUT(MIN(u, v), MAX(u, v))]",
    .nameInValueFailures = "MULT",
    .nameInDerivativeFailures = "PLUS/MINUS",
};

template <>
constexpr SFCalculusRules Rules<WITHOUT>{
    .derivative = "d[MAX(u, NOT(v))]",
    .numericReads = ValuesAndDerivatives,
    .numericDerivative = [](D u, D v) { return u.value > -v.value ? u.d : -v.d; },
    .tapeDerivative = "SELECT(MINUS(NOT(v), u), NOT(dv), du)",
    .nameInValueFailures = "MULT",
    .nameInDerivativeFailures = "PLUS/MINUS",
};

template <>
constexpr SFCalculusRules Rules<ACOS>{
    .derivative = "DIV(NOT(du), ROOT(MINUS(1, POW(u, 2))))",
    .numericReads = ValuesAndDerivatives,
    .numericDerivative = [](D u, D) { return -u.d / std::sqrt(1.0 - u.value * u.value); },
    .tapeDerivative = "NOT(STILL(DIV(du, ROOT(MULT(MINUS(1, u), PLUS(1, u))))))",
    .rewriting = Fold,
};

template <>
constexpr SFCalculusRules Rules<ASIN>{
    .derivative = "DIV(du, ROOT(MINUS(1, POW(u, 2))))",
    .numericReads = ValuesAndDerivatives,
    .numericDerivative = [](D u, D) { return u.d / std::sqrt(1.0 - u.value * u.value); },
    .tapeDerivative = "STILL(DIV(du, ROOT(MULT(MINUS(1, u), PLUS(1, u)))))",
    .rewriting = Fold,
};

template <>
constexpr SFCalculusRules Rules<TAN>{
    .derivative = "DIV(du, POW(COS(u), 2))",
    .numericReads = ValuesAndDerivatives,
    .numericDerivative = [](D u, D) { return u.d / (Elementary::Cos(u.value) * Elementary::Cos(u.value)); },
    .tapeDerivative = "MULT(PLUS(1, SQUARE(w)), du)",
    .rewriting = Fold,
};

template <>
constexpr SFCalculusRules Rules<ATAN>{
    .derivative = "DIV(du, PLUS(1, POW(u, 2)))",
    .numericReads = ValuesAndDerivatives,
    // The number divides by the square root, as it stands.
    .numericDerivative = [](D u, D) { return u.d / std::sqrt(u.value * u.value + 1.0); },
    .tapeDerivative = "DIV(du, PLUS(1, SQUARE(u)))",
    .rewriting = Fold,
};

template <>
constexpr SFCalculusRules Rules<SIGN>{
    .derivative = "0",
    .numericReads = Nothing,
    .numericDerivative = [](D, D) { return 0.0; },
    .tapeDerivative = "0",
};

consteval bool ReadsRight(SFTreeTemplate const& iTree)
{
  return iTree.Has(StepKind::Rhs) || iTree.Has(StepKind::RhsDerivative);
}

consteval bool IsForTapes(SFTreeTemplate const& iTree)
{
  return iTree.Has(StepKind::Value) || iTree.Has(StepKind::Select) || iTree.Has(StepKind::Still);
}

/// A template, so that the compiler's message names the operator.
template <SFNodeType Op>
consteval SFCalculusRules SoundRules()
{
  constexpr SFCalculusRules rules = Rules<Op>;
  constexpr bool isUnary = IsUnaryOperator(Op);
  static_assert(!rules.derivative.Steps().empty(), "an operator without a symbolic derivative");
  static_assert(rules.numericDerivative != nullptr, "an operator without a numeric derivative");
  static_assert(rules.numericReads != SFNumericReads{}, "a numeric derivative that does not say what it reads");
  static_assert(!rules.tapeDerivative.Steps().empty(), "an operator without a derivative on tapes");
  static_assert(!IsForTapes(rules.derivative), "a symbolic derivative in forms that only tapes have");
  static_assert(!isUnary || !(ReadsRight(rules.derivative) || ReadsRight(rules.tapeDerivative)),
                "a unary operator has no right operand");
  return rules;
}

template <std::size_t Kind>
consteval SFCalculusRules RulesOfKind()
{
  if constexpr (IsOperator(SFNodeType{Kind}))
    return SoundRules<SFNodeType{Kind}>();
  else
    return {};
}

constexpr auto Table = []<std::size_t... Kind>(std::index_sequence<Kind...>)
{
  return std::array<SFCalculusRules, SFNodeTypeCount>{RulesOfKind<Kind>()...};
}
(std::make_index_sequence<SFNodeTypeCount>{});

} // namespace

SFCalculusRules const& CalculusRulesOf(SFNodeType iType)
{
  return Table[IsNodeType(iType) ? static_cast<std::size_t>(iType) : 0];
}

} // namespace SF
