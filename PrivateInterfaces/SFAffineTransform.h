#pragma once

#include "SFTransform.h"
#include "ZULMathTransformation.h"

#include <array>
#include <atomic>
#include <mutex>

namespace SF {

/// An affine domain transform, of type AFFINETRANSFORM. Its inverse is computed on first use under a lock of the node's
/// own, so any number of threads may evaluate the node at once.
class SF_EXPORT SFAffineTransform : public SFTransform
{
public:
  static constexpr SFNodeType Kind = SFNodeType::AFFINETRANSFORM; ///< of every node of the class
  static constexpr int CoefficientCount = 16;                     ///< four rows of four

  /// The transformation moves the operand's field; one without an inverse makes the evaluation fail.
  explicit SFAffineTransform(ZULMathTransformation const& iTransformation);
  /// From coefficients in the order in which text gives them.
  explicit SFAffineTransform(std::array<double, CoefficientCount> const& iCoefficients);
  ~SFAffineTransform() override;

  /// A new node with this one's transformation and without an operand.
  std::shared_ptr<SFAffineTransform> Copy() const;

  /// As given; it never changes.
  ZULMathTransformation const& GetTransformation() const { return _transformation; }
  /// The coefficients in the order in which text gives them.
  std::array<double, CoefficientCount> GetParameters() const;

  /// A copy of the inverse; the identity, after a line, when there is none.
  ZULMathTransformation GetInverse() const
  {
    ZULMathTransformation inverse;
    GetInverse(inverse);
    return inverse;
  }

  /// E_FAIL, after a line and with `oInverse` unchanged, when the transformation has no inverse (see
  /// ZULMathTransformation::ComputeInverse).
  HRESULT GetInverse(ZULMathTransformation& oInverse) const
  {
    ZULMathTransformation const* inverse = nullptr;
    HRESULT const hr = FindInverse(inverse);
    if (Failed(hr)) {
      Diagnostics::FailedCall("GetInverse", hr, SFSourceLocation::In(Header));
      return hr;
    }
    oInverse = *inverse;
    return S_OK;
  }

  /// Maps the point by the inverse; with a failing inverse the point is unchanged, and two lines are written.
  HRESULT ApplyInverseTransformation(ZULMathPoint& ioPoint) const
  {
    ZULMathTransformation inverse;
    HRESULT const hr = GetInverse(inverse);
    if (Failed(hr)) {
      Diagnostics::FailedCall("ApplyInverseTransformation", hr, SFSourceLocation::In(Header));
      return hr;
    }
    ioPoint = inverse * ioPoint;
    return S_OK;
  }

  /// As GetInverse, without a line, and with the node's own copy.
  HRESULT FindInverse(ZULMathTransformation const*& oInverse) const;

private:
  static constexpr char const* Header = "PrivateInterfaces/SFAffineTransform.h";

  ZULMathTransformation const _transformation;
  mutable std::mutex _inverseMutex;
  mutable std::atomic<bool> _inverseKnown{false};
  mutable ZULMathTransformation _inverse;
};

} // namespace SF
