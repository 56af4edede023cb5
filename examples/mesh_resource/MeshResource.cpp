#include "MeshResource.h"

#include "StlReader.h"

namespace SFExample {

HRESULT MeshResource::ComputeScalars(ZULMathBox const&, ZULTolerance const&, ZULGMSFDiscretizationAccuracyLevel)
{
  return S_OK;
}

HRESULT MeshResource::GetGradient(double (&oGradient)[3], ZULMathPoint const& iPoint) const
{
  ZULMathVector const gradient = _mesh->Gradient(iPoint);
  oGradient[0] = gradient.x;
  oGradient[1] = gradient.y;
  oGradient[2] = gradient.z;
  return S_OK;
}

SF::ResourceToSF* MeshResolver::Resolve(std::string const& iText)
{
  static std::string const prefix = std::string(SF::BRXResourceToSF::GetSFResourceTypeTagS()) + ":";
  if (!iText.starts_with(prefix))
    return nullptr;
  std::filesystem::path const file = _folder / iText.substr(prefix.size());
  auto known = _meshes.find(file);
  if (known == _meshes.end()) {
    try {
      known = _meshes.emplace(file, std::make_shared<MeshDistance>(ReadStl(file))).first;
    } catch (std::runtime_error const& error) {
      throw MeshError(file.string() + ": " + error.what());
    }
  }
  return new MeshResource(known->second);
}

} // namespace SFExample
