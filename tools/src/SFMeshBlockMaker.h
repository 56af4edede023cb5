#pragma once

#include "SFEdgeCrossings.h"
#include "SFMeshBlock.h"
#include "SFVertexPlacer.h"

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
  static constexpr std::uint32_t Points = SFMeshBlock::Side + 1; ///< along each axis

  static std::uint32_t SampleAt(std::array<std::uint32_t, 3> const& iAt)
  {
    return iAt[0] + Points * (iAt[1] + Points * iAt[2]);
  }
  bool Sample(SFCompiledField const& iField, SFLatticeIndex const& iLow);
  void FindCells(SFMeshBlock& ioBlock);
  void TurnFaces(SFCompiledField const& iField, SFMeshBlock& ioBlock);
  void FindCrossings(SFCompiledField const& iField, SFMeshBlock& ioBlock);
  void AddVertices(SFLatticeIndex const& iCell, SFDualCell const& iParts, SFEdgeCrossings const& iCrossings,
                   std::array<std::size_t, 12> const& iCrossingOf, SFVertexPlacer& ioPlacer) const;
  bool HasSharpVertex(SFCompiledField const& iField, SFMeshBlock const& iBlock, SFLatticeIndex const& iCell);
  void PlaceVertices(SFCompiledField const& iField, SFMeshBlock& ioBlock);
  bool IsHere(SFMeshBlock const& iBlock, SFLatticeIndex const& iCell, std::uint32_t& oCell) const;
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
  SFPointBatch _batch;
};

} // namespace SF
