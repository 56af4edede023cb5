#include "SFMesher.h"

namespace SF {

SFMesherItf::~SFMesherItf() = default;
SFMesher::~SFMesher() = default;

HRESULT SFMesher::ToRawMesh(unsigned int*, double const*, double, std::vector<float>&, ZULTolerance const&,
                            std::vector<float>&, std::vector<int>&, ZULGMSFDiscretizationAccuracyLevel) const
{
  return E_NOTIMPL;
}

HRESULT SFMesher::ToRawMesh(unsigned int*, double const*, double, std::shared_ptr<ResourceToSF>&, ZULTolerance const&,
                            std::vector<float>&, std::vector<int>&, ZULGMSFDiscretizationAccuracyLevel) const
{
  return E_NOTIMPL;
}

} // namespace SF
