#pragma once

#include "SFTransform.h"
#include "ZULMathPoint.h"
#include "ZULMathVector.h"

#include <array>
#include <atomic>
#include <mutex>

namespace SF {

/// A cylindrical domain transform, of type CYLINDRICALTRANSFORM: its operand is evaluated at (r, floor(n + 1) theta /
/// n, h), the cylindrical coordinates of the point about the node's axis.
class SF_EXPORT SFCylindricalTransform : public SFTransform
{
public:
  static constexpr SFNodeType Kind = SFNodeType::CYLINDRICALTRANSFORM; ///< of every node of the class
  static constexpr int ParameterCount = 7;                             ///< origin, axis and n

  /// `iAxis` need not be of unit length. `iScale` is n. A reference direction of length zero is unset: it is
  /// computed on first use and then belongs to the node.
  SFCylindricalTransform(ZULMathPoint const& iOrigin, ZULMathVector const& iAxis, double iScale,
                         ZULMathVector const& iReference = {});
  /// Origin, axis and n in the order in which text gives them.
  explicit SFCylindricalTransform(std::array<double, ParameterCount> const& iParameters);
  ~SFCylindricalTransform() override;

  /// A new node with all parameters of this one, reference direction included, and without an operand.
  std::shared_ptr<SFCylindricalTransform> Copy() const;

  /// Origin, axis and n; the reference direction is not part of text.
  std::array<double, ParameterCount> GetParameters() const;
  double GetScale() const { return _scale; }                ///< n
  ZULMathPoint const& GetOrigin() const { return _origin; } ///< a point of the axis, where h is 0

  /// The unit vectors of the mapping: angle zero (U), a quarter turn on (W), and the axis (A).
  struct Frame
  {
    ZULMathVector u;    ///< where the angle is 0
    ZULMathVector w;    ///< where the angle is a quarter turn
    ZULMathVector axis; ///< along which h grows
  };
  /// Computes the reference direction if it is unset. Safe from several threads at once.
  Frame const& GetFrame() const;
  /// The direction of angle zero as given or, once a point has been mapped, as computed.
  ZULMathVector const& GetReferenceDirection() const { return _reference; }

  /// Replaces a point by its cylindrical coordinates. The angle lies in (0, 2 pi]. On the axis the second
  /// coordinate is NaN. Always S_OK.
  HRESULT ApplyInverseTransformation(ZULMathPoint& ioPoint) const;

  /// The angle of (u, w) in (0, 2 pi], NaN at the origin.
  static double AngleOf(double iU, double iW);

  /// The correction that the evaluator subtracts from the operand at the distance 1 of the axis; it falls with the
  /// fourth power of the distance. `iDomainSize` and `iVoxelSize` are lengths.
  static double CorrectionLimit(std::array<double, 3> const& iDomainSize, double iVoxelSize);

private:
  ZULMathPoint const _origin;
  ZULMathVector const _axis;
  double const _scale;
  mutable ZULMathVector _reference;

  mutable std::mutex _frameMutex;
  mutable std::atomic<bool> _frameKnown{false};
  mutable Frame _frame;
};

} // namespace SF
