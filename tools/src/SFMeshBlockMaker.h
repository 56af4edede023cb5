#pragma once

#include "SFEdgeCrossings.h"
#include "SFMeshBlock.h"
#include "SFMeshTangles.h"
#include "SFVertexPlacer.h"

#include <map>
#include <memory>
#include <vector>

namespace SF {

/// Makes blocks. The memory is used again from block to block; each thread has its own maker.
class SFMeshBlockMaker
{
public:
  SFMeshBlockMaker(SFMeshLattice const& iLattice, bool iHasSharpFeatures);

  /// How far beyond a block, in voxels, its field is evaluated.
  static constexpr std::int64_t Margin = 3;

  /// The block whose first cell is at `iLow`; null when no surface passes through it.
  std::unique_ptr<SFMeshBlock> Make(SFCompiledField const& iField, SFLatticeIndex const& iLow);

private:
  using Suspects = std::vector<SFMeshTangles::Suspect>;

  static constexpr std::uint32_t Points = SFMeshBlock::Side + 1; ///< along each axis

  static std::uint32_t SampleAt(std::array<std::uint32_t, 3> const& iAt)
  {
    return iAt[0] + Points * (iAt[1] + Points * iAt[2]);
  }
  bool Sample(SFCompiledField const& iField, SFLatticeIndex const& iLow);
  void FindCells(SFMeshBlock& ioBlock);
  void TurnFaces(SFCompiledField const& iField, SFMeshBlock& ioBlock);
  void TurnFace(SFCompiledField const& iField, SFMeshBlock const& iBlock, SFLatticeIndex const& iAt,
                SFMeshCell& ioCell);
  void AddCrossings(SFDualCell const& iParts, SFEdgeCrossings& ioCrossings,
                    std::array<std::size_t, 12>& oCrossingOf) const;
  void FindCrossings(SFCompiledField const& iField, SFMeshBlock& ioBlock);
  void AddVertices(SFLatticeIndex const& iCell, SFDualCell const& iParts, SFEdgeCrossings const& iCrossings,
                   std::array<std::size_t, 12> const& iCrossingOf, SFVertexPlacer& ioPlacer) const;
  bool HasSharpVertex(SFCompiledField const& iField, SFMeshBlock const& iBlock, SFLatticeIndex const& iCell);
  void PlaceVertices(SFCompiledField const& iField, SFMeshBlock& ioBlock);
  void Report(SFMeshBlock& ioBlock) const;
  void Untangle(SFCompiledField const& iField, SFMeshBlock& ioBlock);
  void FindCellsAround(SFMeshBlock const& iBlock, Suspects const& iSuspects);
  void PlaceVerticesAround(SFCompiledField const& iField, SFMeshBlock const& iBlock);
  void MoveAlongEdges(SFCompiledField const& iField, SFMeshTangles const& iTangles, double iLeast, Suspects& ioTangled,
                      SFMeshBlock& ioBlock);
  void PutInCells(SFCompiledField const& iField, SFMeshTangles const& iTangles, Suspects const& iTangled,
                  SFMeshBlock& ioBlock);
  SFMeshVertex InBox(SFMeshVertex const& iVertex) const;
  bool IsHere(SFMeshBlock const& iBlock, SFLatticeIndex const& iCell, std::uint32_t& oCell) const;
  bool IsEmpty(SFCompiledField const& iField, SFMeshBlock const& iBlock, SFLatticeIndex const& iCell);
  std::uint8_t InsideOf(SFCompiledField const& iField, SFMeshBlock const& iBlock, SFLatticeIndex const& iCell);
  SFLatticeIndex PointOf(SFMeshBlock const& iBlock, std::uint32_t iCell) const;

  SFMeshLattice const& _lattice;
  std::vector<float> _samples;
  std::vector<std::uint8_t> _inside;     ///< 1 for each sample that is
  std::vector<std::uint32_t> _active;    ///< cells with surface
  std::vector<std::int32_t> _crossingOf; ///< by axis and lowest point; -1 for none
  SFEdgeCrossings _crossings;
  SFVertexPlacer _placer;
  SFEdgeCrossings _crossingsBeyond; ///< of single cells of other blocks
  SFVertexPlacer _placerBeyond;
  SFEdgeCrossings _crossingsAround; ///< of the cells around the block that are looked at
  SFVertexPlacer _placerAround;
  std::map<SFLatticeIndex, SFMeshCell> _cellsAround; ///< with vertices among `_verticesAround`
  std::vector<SFMeshVertex> _verticesAround;
  std::vector<double> _distances; ///< of the vertices from the surface
  SFPointBatch _batch;
};

} // namespace SF
