#include "OverRanks.h"

#include "Failure.h"
#include "MeshExchange.h"
#include "Ranks.h"
#include "SharedFile.h"

#include <numeric>

namespace SFMpi {
namespace {

/// Writes the slabs that this process has, each where those below it end.
void WriteSlabs(Ranks const& iRanks, SFHost::MeshTask const& iTask, MeshExchange const& iMesh)
{
  SF::SFMeshFileParts const parts(iTask.format, iTask.file);
  std::uint64_t const vertices = iMesh.CountVertices();
  std::vector<std::uint64_t> const before = iMesh.TrianglesBefore();
  std::string const header = parts.Header(vertices, before.back());
  std::uint64_t const faces = header.size() + parts.GetVertexSize() * vertices;
  SharedFile file(iRanks, iTask.path, faces + parts.GetTriangleSize() * before.back());
  iRanks.Together([&] {
    if (iRanks.IsFirst())
      file.WriteAt(0, header);
    for (auto const& [number, slab] : iMesh.GetSlabs()) {
      file.WriteAt(header.size() + parts.GetVertexSize() * slab.firstVertex, parts.Vertices(slab.GetPiece()));
      file.WriteAt(faces + parts.GetTriangleSize() * before[number], parts.Triangles(slab.GetPiece(), slab.below));
    }
  });
  file.Commit();
}

void RequireShareable(SFHost::MeshTask const& iTask)
{
  if (iTask.format != SF::SFMeshFormat::Stl && iTask.format != SF::SFMeshFormat::Ply)
    throw SFHost::UsageError("--output: only .stl and .ply are written by several processes");
  if (iTask.meshing.adaptivity > 0.0 || iTask.tolerance)
    throw SFHost::UsageError("--adaptivity and --tolerance are for sfdag mesh");
}

} // namespace

SF::SFMeshingReport MeshOverRanks(SFHost::MeshTask const& iTask)
{
  RequireShareable(iTask);
  Ranks const& ranks = Ranks::World();
  MeshExchange mesh(ranks, iTask.common, iTask.model.name);
  mesh.Make(iTask.model.field, iTask.sampled, iTask.meshing, "mesh");
  mesh.Assemble(MeshExchange::Keeper::All);
  WriteSlabs(ranks, iTask, mesh);
  return mesh.GetReport();
}

} // namespace SFMpi
