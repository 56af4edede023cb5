#pragma once

#include "SFDagFunctor.h"
#include "ZULTolerance.h"

namespace SF {

/// The offset of its operand's field by a distance, as a functor: the derived graph is the offset field, of first
/// order. A node of the second semantic level, of type OFFSET.
class SF_EXPORT SFDagOffset : public SFDagFunctor
{
public:
  /// Where the surface of the result is.
  enum Sides : std::int32_t
  {
    EOneSided = 0, ///< at the distance
    ETwoSided = 1  ///< at half the distance to either side
  };

  /// Any other value of `iSides` makes GetReady fail. The tolerance, for gradient simplification, is the
  /// caller's and must outlive the node; null stands for the host's default tolerance.
  SFDagOffset(std::shared_ptr<SFDagNode> iField, double iDistance, std::int32_t iSides = EOneSided,
              ZULTolerance const* iTolerance = nullptr);
  ~SFDagOffset() override;

  /// The first-order offset field of the operand, which is rewritten in place (see SFDagOffsetOperator). E_FAIL,
  /// after lines, when there is none; E_FAIL without a line for sides that are neither 0 nor 1, and for a
  /// two-sided offset under EGeometryCreationOneSided.
  HRESULT BuildDerivedDAG(SFSWContext const& iContext, std::shared_ptr<SFDagNode>& oDerivedDag) const override;

  /// The distance.
  HRESULT GetConstant(double& oValue) const override;
  using SFDagFunctor::SetConstant;
  /// Changes the distance; a derived graph already built stays as it is until it is discarded. S_OK.
  virtual HRESULT SetConstant(double const& iValue);

  std::int32_t GetSides() const { return _sides; }                ///< one of Sides, or what was given instead
  ZULTolerance const* GetTolerance() const { return _tolerance; } ///< not owned; null for the default one
  /// Not while another thread uses the node.
  void SetTolerance(ZULTolerance const* iTolerance) const { _tolerance = iTolerance; }

  /// Whether the derived graph was built with another distance or tolerance than the node has now. False before it is
  /// built.
  bool IsOutdated() const;

private:
  ZULTolerance ToleranceInUse() const;

  double _distance;
  mutable ZULTolerance const* _tolerance;
  std::int32_t _sides;
  mutable double _builtDistance = 0.0;
  mutable double _builtResolution = 0.0;
};

} // namespace SF
