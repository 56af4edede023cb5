#pragma once

#include "calculus/SFTreeTemplate.h"

#include <string_view>

namespace SF {

/// A value and its derivative.
struct SFDual
{
  double value = 0.0;
  double d = 0.0;
};

/// The inputs of the numeric derivative of an operator, from its operands.
enum class SFNumericReads
{
  Nothing = 1, // 0 is "not stated"
  Derivatives,
  ValuesAndDerivatives
};

/// How simplification treats an operator.
enum class SFRewriting
{
  None, ///< kept with all that is below it
  Fold, ///< unary: over a constant it becomes one
  Sum,
  Product,
  Quotient,
  Power
};

/// The derivatives of an operator, and how simplification treats it.
struct SFCalculusRules
{
  /// The graph that SFDagDifferentialOperator builds, and the number that its numeric derivative computes: both are
  /// part of the contract, some of them deliberately not the textbook's.
  SFTreeTemplate derivative;
  SFNumericReads numericReads{};
  double (*numericDerivative)(SFDual const& iU, SFDual const& iV) = nullptr;
  /// The derivative that compiled fields compute, which is the true one.
  SFTreeTemplate tapeDerivative;
  SFRewriting rewriting = SFRewriting::None;
  /// The operator's name in the failure lines of its numeric derivative, where it borrows another's.
  std::string_view nameInValueFailures = {};
  std::string_view nameInDerivativeFailures = {};
};

/// The rules of a kind, empty for one that is not an operator.
SFCalculusRules const& CalculusRulesOf(SFNodeType iType);

} // namespace SF
