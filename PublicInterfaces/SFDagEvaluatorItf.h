#pragma once

#include "ResourceToSF.h"
#include "SFDagNode.h"
#include "SFExport.h"
#include "ZULGMSFDiscretizationAccuracyLevel.h"
#include "ZULTolerance.h"

#include <memory>

namespace SF {

/// The evaluator as hosts may replace it.
class SF_EXPORT SFDagEvaluatorItf
{
public:
  virtual ~SFDagEvaluatorItf();

  /// Renders a field into a resource; what that holds is the business of who implements it.
  ///
  /// @param iDims three numbers of points: nx, ny, nz.
  /// @param iVoxelSize the distance between points, in the host's length unit.
  /// @param iOrigin three coordinates of point (0, 0, 0).
  /// @param iTolerance, iLevel how near and how fine.
  /// @param iNode the root of the field.
  /// @param[out] oResource shared with the caller.
  virtual HRESULT Render(unsigned int* iDims, double iVoxelSize, double const* iOrigin, ZULTolerance const& iTolerance,
                         std::shared_ptr<SFDagNode>& iNode, std::shared_ptr<ResourceToSF>& oResource,
                         ZULGMSFDiscretizationAccuracyLevel iLevel) const = 0;
};

} // namespace SF
