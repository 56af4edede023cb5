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
  /// A node of type RESOLVEDREF that shares the mesh, which may be null.
  explicit TetMeshToSF(std::shared_ptr<SFTetMesh> iMesh);
  /// Shares the mesh.
  TetMeshToSF(TetMeshToSF const& iOther);
  ~TetMeshToSF() override;

  _GUID GetSFResourceType() const override;
  char const* GetSFResourceTypeTag() const override; ///< "#TM"
  void* GetRawResource() override;
  /// E_FAIL.
  HRESULT ComputeScalars(ZULMathBox const& iBox, ZULTolerance const& iTolerance,
                         ZULGMSFDiscretizationAccuracyLevel iLevel) override;
  /// 0.
  double GetScalar(ZULMathPoint const& iPoint) const override;

  /// Takes over the other node's mesh and leaves it without one.
  void MoveFrom(TetMeshToSF& ioOther);
  HRESULT GetSFOrigin(ZULMathPoint& oOrigin) const;  ///< E_FAIL; `oOrigin` is not written
  HRESULT GetSFMaxDistance(double& oDistance) const; ///< E_FAIL; `oDistance` is not written

  /// GetSFResourceType and GetSFResourceTypeTag of this class, without an object.
  static _GUID GetSFResourceTypeS();
  static char const* GetSFResourceTypeTagS(); ///< "#TM"

private:
  std::shared_ptr<SFTetMesh> _mesh;
};

} // namespace SF
