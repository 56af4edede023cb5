#include "SFOperators.h"

#include "operators/SFScalarOps.h"

#include <limits>

namespace SF {

double ApplyOperator(SFNodeType iType, double iA, double iB)
{
  return IsOperator(iType) ? ScalarOps::Apply(iType, iA, iB) : std::numeric_limits<double>::quiet_NaN();
}

} // namespace SF
