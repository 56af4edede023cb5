#include "SFCylindricalTransform.h"

#include "ZULPI.h"
#include "SFElementary.h"

#include <algorithm>
#include <cmath>

namespace SF {
namespace {

/// The coordinate direction along which a vector is smallest; none if the vector holds a NaN.
ZULMathVector DirectionOfSmallestComponent(ZULMathVector const& iVector)
{
  double const x = std::abs(iVector.x);
  double const y = std::abs(iVector.y);
  double const z = std::abs(iVector.z);
  if (y >= x && z >= x)
    return {1.0, 0.0, 0.0};
  if (x > y && z >= y)
    return {0.0, 1.0, 0.0};
  if (y > z && x > z)
    return {0.0, 0.0, 1.0};
  return {};
}

ZULMathVector Normalized(ZULMathVector iVector)
{
  iVector.Normalize();
  return iVector;
}

} // namespace

SFCylindricalTransform::SFCylindricalTransform(ZULMathPoint const& iOrigin, ZULMathVector const& iAxis, double iScale,
                                               ZULMathVector const& iReference)
  : SFTransform(SFNodeType::CYLINDRICALTRANSFORM), _origin(iOrigin), _axis(iAxis), _scale(iScale),
    _reference(iReference)
{
}

SFCylindricalTransform::SFCylindricalTransform(std::array<double, ParameterCount> const& iParameters)
  : SFCylindricalTransform({iParameters[0], iParameters[1], iParameters[2]},
                           {iParameters[3], iParameters[4], iParameters[5]}, iParameters[6])
{
}

SFCylindricalTransform::~SFCylindricalTransform() = default;

std::shared_ptr<SFCylindricalTransform> SFCylindricalTransform::Copy() const
{
  GetFrame(); // from here on no thread writes the reference direction
  return std::make_shared<SFCylindricalTransform>(_origin, _axis, _scale, _reference);
}

std::array<double, SFCylindricalTransform::ParameterCount> SFCylindricalTransform::GetParameters() const
{
  return {_origin.x, _origin.y, _origin.z, _axis.x, _axis.y, _axis.z, _scale};
}

SFCylindricalTransform::Frame const& SFCylindricalTransform::GetFrame() const
{
  if (_frameKnown.load(std::memory_order_acquire))
    return _frame;
  std::lock_guard<std::mutex> const lock(_frameMutex);
  if (!_frameKnown.load(std::memory_order_relaxed)) {
    if (_reference.Length() == 0.0)
      _reference = Normalized(Cross(DirectionOfSmallestComponent(_axis), _axis));
    _frame.axis = Normalized(_axis);
    _frame.u = Normalized(Cross(_reference, _axis));
    _frame.w = Normalized(Cross(_frame.u, _frame.axis));
    _frameKnown.store(true, std::memory_order_release);
  }
  return _frame;
}

double SFCylindricalTransform::AngleOf(double iU, double iW)
{
  double const t = Elementary::Atan(std::abs(iW) / std::abs(iU));
  if (iU > 0.0 && iW > 0.0)
    return t;
  if (iU <= 0.0 && iW > 0.0)
    return ZULPI - t;
  if (iU <= 0.0 && iW <= 0.0)
    return ZULPI + t;
  if (iU > 0.0 && iW <= 0.0)
    return 2.0 * ZULPI - t;
  return t; // u or w is NaN, and so is t
}

HRESULT SFCylindricalTransform::ApplyInverseTransformation(ZULMathPoint& ioPoint) const
{
  Frame const& frame = GetFrame();
  ZULMathVector const d = ioPoint - _origin;
  double const u = Dot(frame.u, d);
  double const w = Dot(frame.w, d);
  ioPoint.x = std::sqrt(u * u + w * w);
  ioPoint.y = std::floor(_scale + 1.0) * AngleOf(u, w) / _scale;
  ioPoint.z = Dot(frame.axis, d);
  return S_OK;
}

double SFCylindricalTransform::CorrectionLimit(std::array<double, 3> const& iDomainSize, double iVoxelSize)
{
  auto const [dx, dy, dz] = iDomainSize;
  return std::min(0.04 * std::sqrt(dx * dx + dy * dy + dz * dz), 20.0 * iVoxelSize);
}

} // namespace SF
