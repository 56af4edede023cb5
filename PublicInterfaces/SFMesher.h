#pragma once

#include "SFContextedObject.h"
#include "SFMesherItf.h"

namespace SF {

/// The place of the library's mesher. It does not mesh: both operations return E_NOTIMPL and leave their outputs
/// as they are, so that a host can tell that it has to bring a mesher of its own.
class SF_EXPORT SFMesher : public SFMesherItf, public SFContextedObject
{
public:
  /// The context stays the caller's.
  explicit SFMesher(SFSWContext const& iContext) : SFContextedObject(iContext) {}
  SFMesher(SFMesher const&) = default;
  ~SFMesher() override;

  HRESULT ToRawMesh(unsigned int* iDimensions, double const* iOrigin, double iVoxelSize, std::vector<float>& iValues,
                    ZULTolerance const& iTolerance, std::vector<float>& oVertices, std::vector<int>& oIndices,
                    ZULGMSFDiscretizationAccuracyLevel iLevel) const override;
  HRESULT ToRawMesh(unsigned int* iDimensions, double const* iOrigin, double iVoxelSize,
                    std::shared_ptr<ResourceToSF>& iResource, ZULTolerance const& iTolerance,
                    std::vector<float>& oVertices, std::vector<int>& oIndices,
                    ZULGMSFDiscretizationAccuracyLevel iLevel) const override;
};

} // namespace SF
