#pragma once

#include "SFField.h"
#include "SFMeshing.h"
#include "SFToolsExport.h"
#include "ZULMathBox.h"

#include <array>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace SF {

/// The mesh of MeshField, made by processes that share the work. Cells are put together in blocks, layer above layer, and the
/// layers are cut into strips. Any process makes the blocks of any strips; from the strips of the layers of a slab, and those of
/// the layer below it, any process then makes the triangles of the slab. Neighbours compute the same bits at the points that
/// they share, so that the pieces fit, and slabs depend on the lattice alone: the mesh is that of one process.
class SF_TOOLS_EXPORT SFMeshShares
{
public:
  /// As MeshField; without an adaptivity. The profiler of the options is told how far each task has got.
  SFMeshShares(SFField const& iField, ZULMathBox const& iBox, double iVoxel, SFMeshingOptions const& iOptions);
  SFMeshShares(SFMeshShares const&) = delete;
  SFMeshShares& operator=(SFMeshShares const&) = delete;
  ~SFMeshShares();

  /// How many tasks there are for Make.
  std::uint32_t CountTasks() const;
  /// How many slabs there are for Assemble.
  std::uint32_t CountSlabs() const;
  /// Strips are numbered layer after layer, as their vertices are.
  std::uint32_t CountStrips() const;

  /// The blocks of a strip, for processes on machines of one kind.
  struct Strip
  {
    std::uint32_t number = 0;   ///< of the strip
    std::uint32_t vertices = 0; ///< how many it holds
    std::string bytes;          ///< its blocks, for Assemble
  };
  /// Makes the strips of a task. Each is of one task.
  std::vector<Strip> Make(std::uint32_t iTask);

  /// Strips from the first to before the last. Those before `own` are of the layer below the slab.
  struct Range
  {
    std::uint32_t first = 0; ///< of the layer below
    std::uint32_t own = 0;   ///< the first one of the slab
    std::uint32_t last = 0;  ///< behind its last one
  };
  /// Those of a slab.
  Range StripsOf(std::uint32_t iSlab) const;

  /// A piece of the mesh, and the vertices below it that its triangles use.
  struct Slab
  {
    SFMesh mesh;                              ///< its vertices and triangles
    std::uint32_t firstVertex = 0;            ///< their first number in the whole mesh
    std::vector<std::array<double, 3>> below; ///< those just before `firstVertex`

    /// As MeshField hands it on.
    SFMeshPiece GetPiece() const { return {mesh.vertices, mesh.normals, mesh.triangles, firstVertex}; }
  };
  /// A slab, from the bytes of all its strips, in order. `iFirstVertex` is the number of the first vertex in the first one.
  Slab Assemble(std::uint32_t iSlab, std::span<std::string const* const> iStrips, std::uint64_t iFirstVertex);
  /// Of the slabs that this object has assembled.
  SFMeshingReport const& GetReport() const;
  /// Of a whole mesh: SFModelError when it has no triangles.
  void RequireSurface(std::uint64_t iTriangles) const;

private:
  struct Content;
  std::unique_ptr<Content> _content;
};

} // namespace SF
