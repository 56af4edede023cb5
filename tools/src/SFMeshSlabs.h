#pragma once

#include "SFMeshBlock.h"
#include "SFMeshing.h"
#include "SFWork.h"

#include <atomic>
#include <functional>
#include <memory>
#include <vector>

namespace SF {

class SFMeshBlockMaker;
struct SFBlockTriangles;

/// Positive outside of the box too, by the distances from its planes.
SFField CappedField(SFField const& iField, ZULMathBox const& iBox);

/// The field of a mesh. Threads may share it.
struct SFMeshField
{
  std::shared_ptr<SFCompiledField const> capped;   ///< positive outside of the box
  std::shared_ptr<SFCompiledField const> uncapped; ///< without regard to the box; null when that is not needed
};
SFMeshField CompileForMesh(SFField const& iField, ZULMathBox const& iBox, SFMeshingOptions const& iOptions);

/// Makes a mesh slab by slab: a slab is one or more layers of blocks. Memory is that of two slabs.
class SFMeshSlabs
{
public:
  SFMeshSlabs(SFMeshField iField, ZULMathBox const& iBox, SFMeshLattice const& iLattice,
              SFMeshingOptions const& iOptions, SFProgress const& iProgress);
  ~SFMeshSlabs();

  /// Hands on the slabs from the lowest one on: the vertices and the triangles that end in it.
  void Run(std::function<void(SFMesh&& ioPart, std::uint32_t iFirstVertex)> const& iTake);

  // For slabs whose blocks come from elsewhere.

  using BlockList = std::vector<std::unique_ptr<SFMeshBlock>>;

  /// Forgets all blocks: those of the layers from `iBegin` to before `iEnd` come next.
  void Begin(std::int64_t iBegin, std::int64_t iEnd);
  /// Makes the blocks of these layers in the rows from `iFirstRow` to before `iLastRow`.
  void MakeBlocks(std::int64_t iFirstRow, std::int64_t iLastRow);
  BlockList const& GetLayer(std::int64_t iLayer) const
  {
    return _layers[static_cast<std::size_t>(iLayer - _begin + 1)];
  }
  /// A block of these layers, or of the one below them.
  void Place(std::unique_ptr<SFMeshBlock> ioBlock);
  /// The slab of all blocks that have been placed. `iFirstVertex` is the number of the first vertex of the layer below, whose
  /// vertices go to `oBelow`, and `oFirstVertex` that of the first vertex of the slab.
  SFMesh AssembleFrom(std::uint64_t iFirstVertex, std::uint32_t& oFirstVertex, std::vector<SFVector3>& oBelow);

  SFMeshingReport const& GetReport() const { return _report; }

private:
  std::vector<SFMeshBlock const*> BlocksOfSlab() const;
  void MakeBlocks(SFProgress const& iProgress, std::int64_t iFirstRow, std::int64_t iLastRow);
  void Descend(SFCompiledField const& iField, SFLatticeIndex const& iLow, std::int64_t iSide,
               SFMeshBlockMaker& ioMaker);
  bool IsOutside(SFLatticeIndex const& iLow, std::int64_t iSide) const;
  void NumberVertices();
  SFMesh Assemble();
  void RemoveCap(SFMeshBlock const& iBlock, SFBlockTriangles& ioTriangles) const;
  void RequireRoom(SFMeshBlock const& iBlock);
  SFMeshBlock const* BlockAt(SFLatticeIndex const& iPlace) const;
  std::size_t PlaceOf(std::int64_t iX, std::int64_t iY) const;

  ZULMathBox _box;
  SFMeshLattice const& _lattice;
  SFMeshingOptions const& _options;
  SFProgress _progress;
  SFMeshField _field;
  std::vector<std::unique_ptr<SFMeshBlockMaker>> _makers; ///< of each worker
  SFLatticeIndex _blocks{};                               ///< along each axis, of the whole lattice
  std::int64_t _begin = 0;                                ///< the layers of the slab
  std::int64_t _end = 0;
  std::int64_t _firstRow = 0; ///< the rows whose blocks are made
  std::int64_t _lastRow = 0;
  std::vector<BlockList> _layers; ///< of the slab; the first one is the layer below it
  std::atomic<double> _bytes{0.0};
  std::atomic<double> _nextCheck{0.0};
  std::uint64_t _vertexCount = 0;
  SFMeshingReport _report;
};

/// Blocks of a lattice along each axis.
SFLatticeIndex BlocksOf(SFMeshLattice const& iLattice);
/// How many layers of blocks a slab has.
std::int64_t SlabHeightOf(SFLatticeIndex const& iBlocks);

/// SFModelError that says why a box holds no surface.
[[noreturn]] void ThrowNoSurface(SFField const& iField, ZULMathBox const& iBox, SFMeshingOptions const& iOptions);

} // namespace SF
