#pragma once

#include "SFOperatorTable.h"
#include "SFElementary.h"
#include "operators/SFInterval.h"

#include <array>
#include <cmath>
#include <cstddef>
#include <type_traits>
#include <utility>

namespace SF {

/// The meaning of every scalar operator, written once and generic over the type of value. A type brings the
/// arithmetic operators, the comparison below, Select and the elementary functions, found by its namespace.
/// Evaluation, constant folding and compiled fields all come here, so they cannot disagree.
namespace ScalarOps {

inline double Select(bool iCondition, double iThen, double iElse) { return iCondition ? iThen : iElse; }

/// `iLhs` when nothing is less or a NaN is involved: the vector minimum instruction with its operands swapped.
template <class T>
T Minimum(T const& iLhs, T const& iRhs)
{
  return Select(iRhs < iLhs, iRhs, iLhs);
}
template <class T>
T Maximum(T const& iLhs, T const& iRhs)
{
  return Select(iRhs > iLhs, iRhs, iLhs);
}

/// A value as renderings store it: limited to a magnitude, which NaN is given too. Zero counts as inside.
inline double Clamped(double iValue, double iLimit)
{
  double const value = iValue == iValue ? iValue : iLimit;
  double const magnitude = std::abs(value);
  return (value > 0.0 ? 1.0 : -1.0) * (magnitude < iLimit ? magnitude : iLimit);
}

using enum SFNodeType;
// The functions of doubles; those of other types are found by their namespace.
using Elementary::Acos, Elementary::Asin, Elementary::Atan, Elementary::Cos, Elementary::Exp, Elementary::Log,
    Elementary::Pow, Elementary::Sin, Elementary::Tan;
using std::abs, std::sqrt;

/// A function for doubles and one for intervals, for operators of which one expression does not serve both.
template <class... Functions>
struct ByType : Functions...
{
  using Functions::operator()...;
};
template <class... Functions>
ByType(Functions...) -> ByType<Functions...>;

/// The value of an operator from those of its operands: for doubles, and the range of it for intervals. An operator
/// that lacks either does not compile.
template <SFNodeType Op>
requires(IsOperator(Op)) inline constexpr auto Meaning = nullptr;

template <>
inline constexpr auto Meaning<PLUS> = []<class T>(T const& iA, T const& iB) { return iA + iB; };
template <>
inline constexpr auto Meaning<SQUARE> = []<class T>(T const& iA) { return iA * iA; };
template <>
inline constexpr auto Meaning<MINUS> = []<class T>(T const& iA, T const& iB) { return iA - iB; };
template <>
inline constexpr auto Meaning<MULT> = []<class T>(T const& iA, T const& iB) { return iA * iB; };
template <>
inline constexpr auto Meaning<MIN> = []<class T>(T const& iA, T const& iB) { return Minimum(iA, iB); };
template <>
inline constexpr auto Meaning<MAX> = []<class T>(T const& iA, T const& iB) { return Maximum(iA, iB); };
// The complement of 0 is +0.
template <>
inline constexpr auto Meaning<NOT> = []<class T>(T const& iA) { return T(0.0) - iA; };
template <>
inline constexpr auto Meaning<COS> = []<class T>(T const& iA) { return Cos(iA); };
template <>
inline constexpr auto Meaning<SIN> = []<class T>(T const& iA) { return Sin(iA); };
template <>
inline constexpr auto Meaning<ROOT> = []<class T>(T const& iA) { return sqrt(iA); };
template <>
inline constexpr auto Meaning<DIV> = []<class T>(T const& iA, T const& iB) { return iA / iB; };
template <>
inline constexpr auto Meaning<ABS> = []<class T>(T const& iA) { return abs(iA); };
template <>
inline constexpr auto Meaning<EXP> = []<class T>(T const& iA) { return Exp(iA); };
template <>
inline constexpr auto Meaning<LN> = []<class T>(T const& iA) { return Log(iA); };
template <>
inline constexpr auto Meaning<POW> = []<class T>(T const& iA, T const& iB) { return Pow(iA, iB); };
template <>
inline constexpr auto Meaning<SYMDIFF> =
    []<class T>(T const& iA, T const& iB) { return Maximum(Minimum(iA, iB), -Maximum(iA, iB)); };
template <>
inline constexpr auto Meaning<WITHOUT> = []<class T>(T const& iA, T const& iB) { return Maximum(iA, -iB); };
template <>
inline constexpr auto Meaning<ACOS> = []<class T>(T const& iA) { return Acos(iA); };
template <>
inline constexpr auto Meaning<ASIN> = []<class T>(T const& iA) { return Asin(iA); };
template <>
inline constexpr auto Meaning<TAN> = []<class T>(T const& iA) { return Tan(iA); };
template <>
inline constexpr auto Meaning<ATAN> = []<class T>(T const& iA) { return Atan(iA); };
// The sign of 0 and of NaN is -1.
template <>
inline constexpr auto Meaning<SIGN> = []<class T>(T const& iA) { return Select(iA > T(0.0), T(1.0), T(-1.0)); };

/// Whether an operator has a meaning for values of type `T`.
template <SFNodeType Op, class T>
consteval bool HasMeaning()
{
  using Function = decltype(Meaning<Op>);
  if constexpr (IsUnaryOperator(Op))
    return std::is_invocable_r_v<T, Function, T const&>;
  else
    return std::is_invocable_r_v<T, Function, T const&, T const&>;
}

/// The value of an operator of kind `Op`; a unary operator does not read `iB`.
template <SFNodeType Op, class T>
T Apply(T const& iA, [[maybe_unused]] T const& iB)
{
  static_assert(HasMeaning<Op, double>(), "an operator without a meaning");
  static_assert(HasMeaning<Op, SFInterval>(), "an operator without an interval rule");
  if constexpr (IsUnaryOperator(Op))
    return Meaning<Op>(iA);
  else
    return Meaning<Op>(iA, iB);
}

using ScalarFunction = double (*)(double, double);

/// The functions of all kinds, null for a kind that is not an operator.
inline constexpr std::array<ScalarFunction, SFNodeTypeCount> Functions =
    []<std::size_t... Kind>(std::index_sequence<Kind...>)
{
  constexpr auto function = []<std::size_t K>() -> ScalarFunction {
    if constexpr (IsOperator(SFNodeType{K}))
      return [](double iA, double iB) { return Apply<SFNodeType{K}>(iA, iB); };
    else
      return nullptr;
  };
  return std::array<ScalarFunction, SFNodeTypeCount>{function.template operator()<Kind>()...};
}
(std::make_index_sequence<SFNodeTypeCount>{});

/// The value of an operator of kind `iType`, which must be one.
inline double Apply(SFNodeType iType, double iA, double iB)
{
  return Functions[static_cast<std::size_t>(iType)](iA, iB);
}

} // namespace ScalarOps
} // namespace SF
