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
  /// At the origin, with extent and voxel size 0. The index is that of a slot, from 0;
  /// SFDagNode::GetNewEvaluationContext gives contexts whose slots exist.
  explicit SFEvaluationContext(int iIndex) : _index(iIndex) {}
  SFEvaluationContext(SFEvaluationContext const&) = default;
  SFEvaluationContext& operator=(SFEvaluationContext const&) = default;
  virtual ~SFEvaluationContext();

  int GetIndex() const { return _index; }                                    ///< of the slot
  ZULMathPoint const& GetPosition() const { return _position; }              ///< of the point
  std::array<double, 3> const& GetDomainSize() const { return _domainSize; } ///< extents along x, y, z
  double GetVoxelSize() const { return _voxelSize; }                         ///< distance between points

  /// Moves to another point. Slots keep their values: SFDagNode::Reset clears them.
  void SetAtPosition(ZULMathPoint const& iPosition) { _position = iPosition; }
  /// Extents of the grid. Together with the voxel size they decide what cylindrical transforms subtract near their
  /// axis.
  void SetDomainSize(double iX, double iY, double iZ) { _domainSize = {iX, iY, iZ}; }
  /// The distance between points of the grid.
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
