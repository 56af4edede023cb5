#pragma once

#include "SFOperatorTable.h"

#include <array>
#include <cmath>
#include <cstddef>
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

/// The value of an operator of kind `Op`; a unary operator does not read `iB`.
template <SFNodeType Op, class T>
T Apply(T const& iA, [[maybe_unused]] T const& iB)
{
  using enum SFNodeType;
  using std::abs, std::acos, std::asin, std::atan2, std::cos, std::exp, std::log, std::pow, std::sin, std::sqrt,
      std::tan;
  if constexpr (Op == PLUS)
    return iA + iB;
  else if constexpr (Op == SQUARE)
    return iA * iA;
  else if constexpr (Op == MINUS)
    return iA - iB;
  else if constexpr (Op == MULT)
    return iA * iB;
  else if constexpr (Op == MIN)
    return Minimum(iA, iB);
  else if constexpr (Op == MAX)
    return Maximum(iA, iB);
  else if constexpr (Op == NOT)
    return T(0.0) - iA; // so that the complement of 0 is +0
  else if constexpr (Op == COS)
    return cos(iA);
  else if constexpr (Op == SIN)
    return sin(iA);
  else if constexpr (Op == ROOT)
    return sqrt(iA);
  else if constexpr (Op == DIV)
    return iA / iB;
  else if constexpr (Op == ABS)
    return abs(iA);
  else if constexpr (Op == EXP)
    return exp(iA);
  else if constexpr (Op == LN)
    return log(iA);
  else if constexpr (Op == POW)
    return pow(iA, iB);
  else if constexpr (Op == SYMDIFF)
    return Maximum(Minimum(iA, iB), -Maximum(iA, iB));
  else if constexpr (Op == WITHOUT)
    return Maximum(iA, -iB);
  else if constexpr (Op == ACOS)
    return acos(iA);
  else if constexpr (Op == ASIN)
    return asin(iA);
  else if constexpr (Op == TAN)
    return tan(iA);
  else if constexpr (Op == ATAN)
    return atan2(iA, T(1.0));
  else {
    static_assert(Op == SIGN, "an operator without a meaning");
    return Select(iA > T(0.0), T(1.0), T(-1.0)); // the sign of 0 and of NaN is -1
  }
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
