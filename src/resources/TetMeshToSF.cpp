#include "TetMeshToSF.h"

namespace SF {

TetMeshToSF::TetMeshToSF() : TetMeshToSF(nullptr) {}
TetMeshToSF::TetMeshToSF(std::shared_ptr<SFTetMesh> iMesh)
  : ResourceToSF(SFNodeType::RESOLVEDREF), _mesh(std::move(iMesh))
{
}
TetMeshToSF::TetMeshToSF(TetMeshToSF const&) = default;
TetMeshToSF::~TetMeshToSF() = default;

_GUID TetMeshToSF::GetSFResourceTypeS()
{
  return {0xe45151cf, 0xec82, 0x4eea, {0x8e, 0x00, 0x4e, 0x9c, 0xaa, 0xb3, 0xa4, 0xab}};
}
char const* TetMeshToSF::GetSFResourceTypeTagS() { return "#TM"; }
_GUID TetMeshToSF::GetSFResourceType() const { return GetSFResourceTypeS(); }
char const* TetMeshToSF::GetSFResourceTypeTag() const { return GetSFResourceTypeTagS(); }

void* TetMeshToSF::GetRawResource() { return _mesh.get(); }

HRESULT TetMeshToSF::ComputeScalars(ZULMathBox const&, ZULTolerance const&, ZULGMSFDiscretizationAccuracyLevel)
{
  return E_FAIL;
}
double TetMeshToSF::GetScalar(ZULMathPoint const&) const { return 0.0; }

void TetMeshToSF::MoveFrom(TetMeshToSF& ioOther)
{
  if (&ioOther != this)
    _mesh = std::exchange(ioOther._mesh, nullptr);
}

HRESULT TetMeshToSF::GetSFOrigin(ZULMathPoint&) const { return E_FAIL; }
HRESULT TetMeshToSF::GetSFMaxDistance(double&) const { return E_FAIL; }

} // namespace SF
