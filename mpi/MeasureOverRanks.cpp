#include "OverRanks.h"

#include "MeshExchange.h"
#include "Ranks.h"

namespace SFMpi {
namespace {

/// The slabs of the first process as one mesh, in their order; nothing in the others.
SF::SFMesh Gathered(MeshExchange const& iMesh)
{
  SF::SFMesh mesh;
  for (auto const& [number, slab] : iMesh.GetSlabs()) {
    mesh.vertices.insert(mesh.vertices.end(), slab.mesh.vertices.begin(), slab.mesh.vertices.end());
    mesh.normals.insert(mesh.normals.end(), slab.mesh.normals.begin(), slab.mesh.normals.end());
    mesh.triangles.insert(mesh.triangles.end(), slab.mesh.triangles.begin(), slab.mesh.triangles.end());
  }
  return mesh;
}

} // namespace

/// All make the blocks of both meshes; the first process puts them together and does the sums, in the order of the mesh.
SF::SFSolidMeasures MeasureOverRanks(SFHost::MeasureTask const& iTask)
{
  Ranks const& ranks = Ranks::World();
  SF::SFMeshingOptions options;
  static_cast<SF::SFWorkOptions&>(options) = iTask.options;
  MeshExchange fine(ranks, iTask.common, iTask.model.name);
  fine.Make(iTask.model.field, iTask.sampled, options, "measure");
  fine.Assemble(MeshExchange::Keeper::First);
  MeshExchange coarse(ranks, iTask.common, iTask.model.name);
  coarse.Make(iTask.model.field, {iTask.sampled.box, 2.0 * iTask.sampled.voxel}, options, "measure");
  coarse.Assemble(MeshExchange::Keeper::First, MeshExchange::Surface::Optional);
  SF::SFSolidMeasures measures;
  ranks.Together([&] {
    if (ranks.IsFirst())
      measures = SF::MeasureMeshes(iTask.model.field, iTask.sampled.box, Gathered(fine), fine.GetReport(),
                                   Gathered(coarse), iTask.options);
  });
  return measures;
}

} // namespace SFMpi
