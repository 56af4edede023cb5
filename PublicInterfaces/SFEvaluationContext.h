#pragma once

#include "SFExport.h"
#include "ZULMathPoint.h"
#include "ZULMathTransformation.h"

#include <array>

namespace SF {

/// Names one cache slot of every node (the index) and carries the point being evaluated, the extent of the grid
/// that it belongs to and the grid's voxel size, all in the host's length unit.
class SF_EXPORT SFEvaluationContext
{
public:
  explicit SFEvaluationContext(int iIndex) : _index(iIndex) {}
  SFEvaluationContext(SFEvaluationContext const&) = default;
  SFEvaluationContext& operator=(SFEvaluationContext const&) = default;
  virtual ~SFEvaluationContext();

  int GetIndex() const { return _index; }
  ZULMathPoint const& GetPosition() const { return _position; }
  std::array<double, 3> const& GetDomainSize() const { return _domainSize; }
  double GetVoxelSize() const { return _voxelSize; }

  void SetAtPosition(ZULMathPoint const& iPosition) { _position = iPosition; }
  void SetDomainSize(double iX, double iY, double iZ) { _domainSize = {iX, iY, iZ}; }
  void SetVoxelSize(double iVoxelSize) { _voxelSize = iVoxelSize; }

  /// A copy of this context at the transformed position.
  SFEvaluationContext ApplyAffineTransform(ZULMathTransformation const& iTransformation) const;

private:
  int _index;
  ZULMathPoint _position;
  std::array<double, 3> _domainSize{};
  double _voxelSize = 0.0;
};

} // namespace SF
