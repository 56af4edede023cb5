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

/// Makes a mesh slab by slab: a slab is one or more layers of blocks. Memory is that of two slabs.
class SFMeshSlabs
{
public:
  SFMeshSlabs(SFField const& iField, ZULMathBox const& iBox, SFMeshLattice const& iLattice,
              SFMeshingOptions const& iOptions, SFProgress const& iProgress);
  ~SFMeshSlabs();

  /// Hands on the slabs from the lowest one on: the vertices and the triangles that end in it.
  void Run(std::function<void(SFMesh&& ioPart, std::uint32_t iFirstVertex)> const& iTake) { Run(0, _blocks[2], iTake); }
  /// The same for a range of the layers of blocks. Where there is a layer below it, that is handed on first, with its
  /// vertices alone.
  void Run(std::int64_t iFirst, std::int64_t iLast,
           std::function<void(SFMesh&& ioPart, std::uint32_t iFirstVertex)> const& iTake);

  std::int64_t GetLayerCount() const { return _blocks[2]; }

  // For slabs whose blocks come from elsewhere.

  /// The boxes that threads draw, in blocks along an axis.
  static constexpr std::int64_t TaskBlocks = 4;
  using BlockList = std::vector<std::unique_ptr<SFMeshBlock>>;

  /// Along each axis, of the whole lattice.
  SFLatticeIndex const& GetBlocks() const { return _blocks; }
  /// In layers of blocks.
  std::int64_t GetSlabHeight() const;
  /// Forgets all blocks: those of the layers from `iBegin` to before `iEnd` come next.
  void Begin(std::int64_t iBegin, std::int64_t iEnd);
  /// Makes the blocks of some rows.
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

  SFCompiledField const& GetField() const { return *_field; }
  SFMeshingReport const& GetReport() const { return _report; }

private:
  SFMesh MakeLayerBelow(std::int64_t iFirst);
  std::vector<SFMeshBlock const*> BlocksOfSlab() const;
  void AddVertices(std::vector<SFMeshBlock const*> const& iBlocks, SFMesh& ioPart) const;
  void MakeBlocks(SFProgress const& iProgress, std::int64_t iFirstRow, std::int64_t iLastRow);
  void Descend(SFCompiledField const& iField, SFLatticeIndex const& iLow, std::int64_t iSide,
               SFMeshBlockMaker& ioMaker);
  bool IsBeyond(SFLatticeIndex const& iLow) const;
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
  std::shared_ptr<SFCompiledField> _field;                ///< positive outside of the box
  std::shared_ptr<SFCompiledField> _uncapped;             ///< without regard to the box; null when that is not needed
  std::vector<std::unique_ptr<SFMeshBlockMaker>> _makers; ///< of each worker
  SFLatticeIndex _blocks{};                               ///< along each axis, of the whole lattice
  std::int64_t _begin = 0;                                ///< the layers of the slab
  std::int64_t _end = 0;
  std::vector<BlockList> _layers; ///< of the slab; the first one is the layer below it
  std::atomic<double> _bytes{0.0};
  std::atomic<double> _nextCheck{0.0};
  std::uint64_t _vertexCount = 0;
  SFMeshingReport _report;
};

/// SFModelError that says why a box holds no surface.
[[noreturn]] void ThrowNoSurface(SFField const& iField, ZULMathBox const& iBox, SFMeshingOptions const& iOptions);

} // namespace SF
