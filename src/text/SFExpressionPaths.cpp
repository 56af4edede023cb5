#include "SFExpressionPaths.h"

namespace SF {

SFExpressionPaths::~SFExpressionPaths() = default;

} // namespace SF
