#include "SFEvaluationContext.h"

#include "SFExportContext.h"

namespace SF {

SFEvaluationContext::~SFEvaluationContext() = default;
SFExportContext::~SFExportContext() = default;

SFEvaluationContext SFEvaluationContext::ApplyAffineTransform(ZULMathTransformation const& iTransformation) const
{
  SFEvaluationContext moved(*this);
  moved.SetAtPosition(iTransformation * _position);
  return moved;
}

} // namespace SF
