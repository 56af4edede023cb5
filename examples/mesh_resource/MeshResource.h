#pragma once

#include "BRXResourceToSF.h"
#include "MeshDistance.h"
#include "SFResourceResolver.h"

#include <filesystem>
#include <map>
#include <memory>
#include <string>

namespace SFExample {

/// A leaf of a scalar field whose value is the signed distance to a triangle mesh. Nodes for one file share its
/// mesh.
class MeshResource : public SF::BRXResourceToSF
{
public:
  explicit MeshResource(std::shared_ptr<MeshDistance const> iMesh) : _mesh(std::move(iMesh)) {}

  /// The tree answers at any point, so there is nothing to prepare: S_OK.
  HRESULT ComputeScalars(ZULMathBox const& iBox, ZULTolerance const& iTolerance,
                         ZULGMSFDiscretizationAccuracyLevel iLevel) override;
  double GetScalar(ZULMathPoint const& iPoint) const override { return _mesh->SignedDistance(iPoint); }
  /// The unit gradient; S_OK.
  HRESULT GetGradient(double (&oGradient)[3], ZULMathPoint const& iPoint) const override;
  /// The MeshDistance, to be read only.
  void* GetRawResource() override { return const_cast<MeshDistance*>(_mesh.get()); }

private:
  std::shared_ptr<MeshDistance const> _mesh;
};

/// Answers the references "#BRX:<file>" of an expression text with mesh resources. A file's path is relative to a
/// folder; blanks end a reference, so it can hold none.
class MeshResolver : public SF::SFResourceResolver
{
public:
  explicit MeshResolver(std::filesystem::path iFolder) : _folder(std::move(iFolder)) {}

  /// Null for a reference of another kind. Throws MeshError, the file's
  /// name first, when the file cannot be read or does not hold a closed surface.
  SF::ResourceToSF* Resolve(std::string const& iText) override;

  /// The meshes read so far, by their files.
  std::map<std::filesystem::path, std::shared_ptr<MeshDistance const>> const& Meshes() const { return _meshes; }

private:
  std::filesystem::path _folder;
  std::map<std::filesystem::path, std::shared_ptr<MeshDistance const>> _meshes;
};

} // namespace SFExample
