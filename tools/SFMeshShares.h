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
#include <string_view>
#include <vector>

namespace SF {

/// How the work on a mesh is cut for those who share it. Cells are put together in blocks, layer above layer, and the layers
/// are cut into strips. Whoever makes a mesh in parts, whatever sends them to and fro, makes strips, task by task, and then
/// slabs out of strips (SFMeshShares). Depends on the lattice alone.
class SF_TOOLS_EXPORT SFMeshPlan
{
public:
  /// std::invalid_argument as MeshField.
  SFMeshPlan(ZULMathBox const& iBox, double iVoxel);

  /// How many tasks there are.
  std::uint32_t CountTasks() const;
  /// How many slabs there are.
  std::uint32_t CountSlabs() const;
  /// Strips are numbered layer after layer, as their vertices are.
  std::uint32_t CountStrips() const;

  /// What a task makes; each strip is of one task. In the order of their numbers.
  std::vector<std::uint32_t> StripsOfTask(std::uint32_t iTask) const;
  /// Strips from the first to before the last. Those before `own` are of the layer below the slab.
  struct Range
  {
    std::uint32_t first = 0; ///< of the layer below
    std::uint32_t own = 0;   ///< the first one of the slab
    std::uint32_t last = 0;  ///< behind its last one
  };
  /// What a slab is made of.
  Range StripsOf(std::uint32_t iSlab) const;

private:
  friend class SFMeshShares;

  std::uint32_t _layers;     ///< of blocks
  std::uint32_t _strips;     ///< in a layer
  std::uint32_t _slabHeight; ///< in layers
};

/// The mesh of MeshField, made in parts that do not need each other. Any process makes the blocks of any strips; from the
/// strips of the layers of a slab, and those of the layer below it, any process then makes the triangles of the slab.
/// Neighbours compute the same bits at the points that they share, so that the pieces fit, and all slabs together are the mesh
/// that is made at once: the same vertices and triangles, bit for bit, in the same order.
///
/// Threads may share an object. Its functions take what each call needs of threads, memory and cancelling.
class SF_TOOLS_EXPORT SFMeshShares
{
public:
  /// As MeshField; without an adaptivity. Progress and cancelling in the options are for the constructor.
  SFMeshShares(SFField const& iField, ZULMathBox const& iBox, double iVoxel, SFMeshingOptions const& iOptions);
  SFMeshShares(SFMeshShares const&) = delete;
  SFMeshShares& operator=(SFMeshShares const&) = delete;
  ~SFMeshShares();

  /// How the work is cut.
  SFMeshPlan const& GetPlan() const;
  /// Of a mesh without slabs: add theirs to it.
  SFMeshingReport GetReport() const;

  /// The blocks of a strip, for processes on machines of one kind.
  struct Strip
  {
    std::uint32_t number = 0;   ///< of the strip
    std::uint32_t vertices = 0; ///< how many it holds
    std::string bytes;          ///< its blocks, for Assemble
  };
  /// Makes the strips of a task. The profiler of the options is told how far it has got.
  std::vector<Strip> Make(std::uint32_t iTask, SFWorkOptions const& iOptions) const;

  /// A piece of the mesh, and the vertices below it that its triangles use.
  struct Slab
  {
    SFMesh mesh;                              ///< its vertices and triangles
    std::uint32_t firstVertex = 0;            ///< their first number in the whole mesh
    std::vector<std::array<double, 3>> below; ///< those just before `firstVertex`
    SFMeshingReport report;                   ///< of the slab

    /// As MeshField hands it on.
    SFMeshPiece GetPiece() const { return {mesh.vertices, mesh.normals, mesh.triangles, firstVertex}; }
  };
  /// A slab, from the bytes of all its strips, in order. `iFirstVertex` is the number of the first vertex in the first one.
  Slab Assemble(std::uint32_t iSlab, std::span<std::string_view const> iStrips, std::uint64_t iFirstVertex,
                SFWorkOptions const& iOptions) const;
  /// Of a whole mesh: SFModelError when it has no triangles.
  void RequireSurface(std::uint64_t iTriangles) const;

private:
  struct Content;
  std::unique_ptr<Content> _content;
};

} // namespace SF
