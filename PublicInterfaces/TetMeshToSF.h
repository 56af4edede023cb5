#pragma once

#include "ResourceToSF.h"

namespace SF {

/// A tetrahedral mesh of the host; the library only holds it.
class SFTetMesh;

/// A placeholder for fields over tetrahedral meshes: it holds the mesh, and its value is 0 everywhere.
class SF_EXPORT TetMeshToSF : public ResourceToSF
{
public:
  TetMeshToSF();
  explicit TetMeshToSF(std::shared_ptr<SFTetMesh> iMesh);
  /// Shares the mesh.
  TetMeshToSF(TetMeshToSF const& iOther);
  ~TetMeshToSF() override;

  _GUID GetSFResourceType() const override;
  char const* GetSFResourceTypeTag() const override;
  void* GetRawResource() override;
  /// E_FAIL.
  HRESULT ComputeScalars(ZULMathBox const& iBox, ZULTolerance const& iTolerance,
                         ZULGMSFDiscretizationAccuracyLevel iLevel) override;
  /// 0.
  double GetScalar(ZULMathPoint const& iPoint) const override;

  /// Takes over the other node's mesh and leaves it without one.
  void MoveFrom(TetMeshToSF& ioOther);
  /// E_FAIL; the outputs are not written.
  HRESULT GetSFOrigin(ZULMathPoint& oOrigin) const;
  HRESULT GetSFMaxDistance(double& oDistance) const;

  static _GUID GetSFResourceTypeS();
  static char const* GetSFResourceTypeTagS();

private:
  std::shared_ptr<SFTetMesh> _mesh;
};

} // namespace SF
