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

  /// Renders a field into a resource.
  virtual HRESULT Render(unsigned int* iDims, double iVoxelSize, double const* iOrigin, ZULTolerance const& iTolerance,
                         std::shared_ptr<SFDagNode>& iNode, std::shared_ptr<ResourceToSF>& oResource,
                         ZULGMSFDiscretizationAccuracyLevel iLevel) const = 0;
};

} // namespace SF
