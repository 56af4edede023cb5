#pragma once

#include "SFExport.h"
#include "SFTypes.h"

namespace SF {

/// The value of an operator of the first semantic level (PLUS, SQUARE, ... SIGN), bit for bit that of every evaluator.
/// A unary operator does not read `iB`. NaN for a kind that is no operator.
SF_EXPORT double ApplyOperator(SFNodeType iType, double iA, double iB = 0.0);

} // namespace SF
