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

  /// From values at the points.
  ///
  /// @param iDimensions three numbers of points: nx, ny, nz.
  /// @param iOrigin three coordinates of point (0, 0, 0).
  /// @param iVoxelSize the distance between points, in the host's length unit.
  /// @param iValues nx ny nz values, x fastest, then y, then z.
  /// @param iTolerance, iLevel how near and how fine.
  /// @param[out] oVertices x, y, z of each vertex.
  /// @param[out] oIndices three numbers of vertices a triangle, from 0.
  virtual HRESULT ToRawMesh(unsigned int* iDimensions, double const* iOrigin, double iVoxelSize,
                            std::vector<float>& iValues, ZULTolerance const& iTolerance, std::vector<float>& oVertices,
                            std::vector<int>& oIndices, ZULGMSFDiscretizationAccuracyLevel iLevel) const = 0;
  /// From a resource, which gives the values.
  ///
  /// @param iDimensions three numbers of points: nx, ny, nz.
  /// @param iOrigin three coordinates of point (0, 0, 0).
  /// @param iVoxelSize the distance between points, in the host's length unit.
  /// @param iResource of the host; null is for the implementation to refuse.
  /// @param iTolerance, iLevel how near and how fine.
  /// @param[out] oVertices x, y, z of each vertex.
  /// @param[out] oIndices three numbers of vertices a triangle, from 0.
  virtual HRESULT ToRawMesh(unsigned int* iDimensions, double const* iOrigin, double iVoxelSize,
                            std::shared_ptr<ResourceToSF>& iResource, ZULTolerance const& iTolerance,
                            std::vector<float>& oVertices, std::vector<int>& oIndices,
                            ZULGMSFDiscretizationAccuracyLevel iLevel) const = 0;
};

} // namespace SF
