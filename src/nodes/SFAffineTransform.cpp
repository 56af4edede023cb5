#include "SFAffineTransform.h"

namespace SF {

SFAffineTransform::SFAffineTransform(ZULMathTransformation const& iTransformation)
  : SFTransform(SFNodeType::AFFINETRANSFORM), _transformation(iTransformation),
    _inverseKnown(iTransformation.IsIdentity())
{
}
SFAffineTransform::SFAffineTransform(std::array<double, CoefficientCount> const& iCoefficients)
  : SFAffineTransform(ZULMathTransformation(iCoefficients.data(), CoefficientCount))
{
}
SFAffineTransform::~SFAffineTransform() = default;

std::shared_ptr<SFAffineTransform> SFAffineTransform::Copy() const
{
  return std::make_shared<SFAffineTransform>(_transformation);
}

std::array<double, SFAffineTransform::CoefficientCount> SFAffineTransform::GetParameters() const
{
  std::array<double, CoefficientCount> coefficients{};
  _transformation.GetCoef(coefficients.data(), CoefficientCount);
  return coefficients;
}

HRESULT SFAffineTransform::FindInverse(ZULMathTransformation const*& oInverse) const
{
  if (!_inverseKnown.load(std::memory_order_acquire)) {
    std::lock_guard<std::mutex> const lock(_inverseMutex);
    if (!_inverseKnown.load(std::memory_order_relaxed)) {
      HRESULT const hr = _transformation.ComputeInverse(_inverse);
      if (Failed(hr))
        return hr;
      _inverseKnown.store(true, std::memory_order_release);
    }
  }
  oInverse = &_inverse;
  return S_OK;
}

} // namespace SF
