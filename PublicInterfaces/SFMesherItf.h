#pragma once

#include "ResourceToSF.h"
#include "SFExport.h"
#include "ZULGMSFDiscretizationAccuracyLevel.h"
#include "ZULTolerance.h"

#include <memory>
#include <vector>

namespace SF {

/// Turns the zero level set of a field on a voxel grid into a triangle mesh. The grid has `iDimensions` = {nx, ny,
/// nz} points at `iOrigin` + (i, j, k) `iVoxelSize`. Vertices are x, y, z one after the other in the host's length
/// unit; indices count vertices, three a triangle.
class SF_EXPORT SFMesherItf
{
public:
  virtual ~SFMesherItf();

  /// The field as values at the grid points, x fastest, then y, then z.
  virtual HRESULT ToRawMesh(unsigned int* iDimensions, double const* iOrigin, double iVoxelSize,
                            std::vector<float>& iValues, ZULTolerance const& iTolerance, std::vector<float>& oVertices,
                            std::vector<int>& oIndices, ZULGMSFDiscretizationAccuracyLevel iLevel) const = 0;
  /// The field as a resource.
  virtual HRESULT ToRawMesh(unsigned int* iDimensions, double const* iOrigin, double iVoxelSize,
                            std::shared_ptr<ResourceToSF>& iResource, ZULTolerance const& iTolerance,
                            std::vector<float>& oVertices, std::vector<int>& oIndices,
                            ZULGMSFDiscretizationAccuracyLevel iLevel) const = 0;
};

} // namespace SF
