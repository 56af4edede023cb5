#include "SFMeshBlockMaker.h"

#include <algorithm>
#include <cmath>

namespace SF {
namespace {

constexpr std::uint32_t Side = SFMeshBlock::Side;

/// -0 counts as inside, like what rounds to it; NaN does not.
bool IsInside(double iValue) { return std::signbit(iValue) && !std::isnan(iValue); }

} // namespace

SFMeshBlockMaker::SFMeshBlockMaker(SFMeshLattice const& iLattice, bool iHasSharpFeatures)
  : _lattice(iLattice), _samples(Points * Points * Points), _inside(_samples.size()),
    _crossingOf(3 * _samples.size(), -1), _crossings(iLattice.voxel), _placer(iLattice.voxel, iHasSharpFeatures),
    _crossingsBeyond(iLattice.voxel), _placerBeyond(iLattice.voxel, iHasSharpFeatures)
{
}

std::unique_ptr<SFMeshBlock> SFMeshBlockMaker::Make(SFCompiledField const& iField, SFLatticeIndex const& iLow)
{
  if (!Sample(iField, iLow))
    return nullptr;
  auto block = std::make_unique<SFMeshBlock>();
  block->low = iLow;
  FindCells(*block);
  TurnFaces(iField, *block);
  FindCrossings(iField, *block);
  PlaceVertices(iField, *block);
  return block;
}

/// False when all samples are on one side.
bool SFMeshBlockMaker::Sample(SFCompiledField const& iField, SFLatticeIndex const& iLow)
{
  unsigned int const dims[3] = {Points, Points, Points};
  SFVector3 const origin = _lattice.At(iLow);
  Require(iField.RenderSlices(dims, 0, Points, _samples, _lattice.voxel, origin.data()));
  std::size_t inside = 0;
  for (std::size_t i = 0; i < _samples.size(); ++i) {
    _inside[i] = IsInside(static_cast<double>(_samples[i])) ? 1 : 0;
    inside += _inside[i];
  }
  return inside != 0 && inside != _samples.size();
}

void SFMeshBlockMaker::FindCells(SFMeshBlock& ioBlock)
{
  _active.clear();
  for (std::uint32_t z = 0; z < Side; ++z)
    for (std::uint32_t y = 0; y < Side; ++y) {
      std::uint8_t const* const row = &_inside[(z * Points + y) * Points];
      // The corners on the face at x, at the places of those with bit 0 clear.
      auto const face = [row](std::uint32_t iX) {
        return static_cast<unsigned int>(row[iX] | row[iX + Points] << 2 | row[iX + Points * Points] << 4 |
                                         row[iX + Points * Points + Points] << 6);
      };
      for (std::uint32_t x = 0, left = face(0); x < Side; ++x) {
        unsigned int const right = face(x + 1);
        std::uint32_t const cell = SFMeshBlock::CellAt(x, y, z);
        ioBlock.cells[cell].inside = static_cast<std::uint8_t>(left | right << 1);
        if (ioBlock.cells[cell].HasSurface())
          _active.push_back(cell);
        left = right;
      }
    }
}

SFLatticeIndex SFMeshBlockMaker::PointOf(SFMeshBlock const& iBlock, std::uint32_t iCell) const
{
  return {iBlock.low[0] + iCell % Side, iBlock.low[1] + iCell / Side % Side, iBlock.low[2] + iCell / Side / Side};
}

bool SFMeshBlockMaker::IsHere(SFMeshBlock const& iBlock, SFLatticeIndex const& iCell, std::uint32_t& oCell) const
{
  std::array<std::uint32_t, 3> at{};
  for (std::size_t axis = 0; axis < 3; ++axis) {
    at[axis] = static_cast<std::uint32_t>(iCell[axis] - iBlock.low[axis]);
    if (at[axis] >= Side)
      return false;
  }
  oCell = SFMeshBlock::CellAt(at[0], at[1], at[2]);
  return true;
}

/// The corners of a cell that are inside. The cell may be next to the block: the values are those that its own block has,
/// and stay in the batch.
std::uint8_t SFMeshBlockMaker::InsideOf(SFCompiledField const& iField, SFMeshBlock const& iBlock,
                                        SFLatticeIndex const& iCell)
{
  if (std::uint32_t cell = 0; IsHere(iBlock, iCell, cell))
    return iBlock.cells[cell].inside;
  _batch.Clear();
  for (std::int64_t corner = 0; corner < 8; ++corner)
    _batch.Add(_lattice.At({iCell[0] + (corner & 1), iCell[1] + (corner >> 1 & 1), iCell[2] + (corner >> 2)}));
  _batch.Evaluate(iField);
  unsigned int inside = 0;
  for (unsigned int corner = 0; corner < 8; ++corner)
    inside |= IsInside(_batch.Value(corner)) ? 1U << corner : 0U;
  return static_cast<std::uint8_t>(inside);
}

/// Finds the cells that are pinched at the same face as their neighbour. It may be in another block, which finds it too.
void SFMeshBlockMaker::TurnFaces(SFCompiledField const& iField, SFMeshBlock& ioBlock)
{
  for (std::uint32_t const index : _active) {
    SFMeshCell& cell = ioBlock.cells[index];
    unsigned int const face = DualCellOf(cell.inside, false).pinchedFace;
    if (face == SFDualCell::None)
      continue;
    SFLatticeIndex neighbour = PointOf(ioBlock, index);
    neighbour[face / 2] += face % 2 != 0 ? 1 : -1;
    cell.isTurned = DualCellOf(InsideOf(iField, ioBlock, neighbour), false).pinchedFace == (face ^ 1U);
  }
}

void SFMeshBlockMaker::FindCrossings(SFCompiledField const& iField, SFMeshBlock& ioBlock)
{
  std::fill(_crossingOf.begin(), _crossingOf.end(), -1);
  _crossings.Clear();
  constexpr std::array<std::uint32_t, 3> strides{1, Points, Points * Points};
  for (std::uint32_t const cell : _active) {
    SFDualCell const& parts = ioBlock.cells[cell].GetParts();
    std::array<std::uint32_t, 3> const at{cell % Side, cell / Side % Side, cell / Side / Side};
    for (unsigned int edge = 0; edge < 12; ++edge) {
      if (parts.partOf[edge] == SFDualCell::None)
        continue;
      unsigned int const corner = LowCornerOf(edge);
      std::array<std::uint32_t, 3> const low{at[0] + (corner & 1), at[1] + (corner >> 1 & 1), at[2] + (corner >> 2)};
      std::uint32_t const sample = SampleAt(low);
      std::uint32_t const axis = edge / 4;
      std::int32_t& crossing = _crossingOf[3 * sample + axis];
      if (crossing < 0)
        crossing = static_cast<std::int32_t>(_crossings.Add(
            _lattice.At({ioBlock.low[0] + low[0], ioBlock.low[1] + low[1], ioBlock.low[2] + low[2]}), axis,
            static_cast<double>(_samples[sample]), static_cast<double>(_samples[sample + strides[axis]])));
    }
  }
  _crossings.Run(iField);
}

void SFMeshBlockMaker::AddVertices(SFLatticeIndex const& iCell, SFDualCell const& iParts,
                                   SFEdgeCrossings const& iCrossings, std::array<std::size_t, 12> const& iCrossingOf,
                                   SFVertexPlacer& ioPlacer) const
{
  for (unsigned int part = 0; part < iParts.count; ++part) {
    ioPlacer.AddVertex(iCell, _lattice.At(iCell));
    for (unsigned int edge = 0; edge < 12; ++edge)
      if (iParts.partOf[edge] == part)
        ioPlacer.AddCrossing(iCrossings.Position(iCrossingOf[edge]), iCrossings[iCrossingOf[edge]].plane);
  }
}

/// Whether a cell, which may be next to the block, has a vertex that its own crossings place on an edge.
bool SFMeshBlockMaker::HasSharpVertex(SFCompiledField const& iField, SFMeshBlock const& iBlock,
                                      SFLatticeIndex const& iCell)
{
  if (std::uint32_t index = 0; IsHere(iBlock, iCell, index)) {
    SFMeshCell const& cell = iBlock.cells[index];
    for (unsigned int part = 0; part < cell.GetParts().count; ++part)
      if (_placer.IsSharp(cell.firstVertex + part))
        return true;
    return false;
  }
  SFDualCell const& parts = DualCellOf(InsideOf(iField, iBlock, iCell), false);
  std::array<std::size_t, 12> crossingOf{};
  _crossingsBeyond.Clear();
  for (unsigned int edge = 0; edge < 12; ++edge) {
    unsigned int const low = LowCornerOf(edge);
    if (parts.partOf[edge] != SFDualCell::None)
      crossingOf[edge] =
          _crossingsBeyond.Add(_batch.Point(low), edge / 4, _batch.Value(low), _batch.Value(low | 1U << edge / 4));
  }
  _crossingsBeyond.Run(iField);
  _placerBeyond.Clear();
  AddVertices(iCell, parts, _crossingsBeyond, crossingOf, _placerBeyond);
  _placerBeyond.Start([&](SFLatticeIndex const& iNext) {
    std::uint8_t const inside = InsideOf(iField, iBlock, iNext);
    return inside == 0 || inside == 255;
  });
  for (std::size_t part = 0; part < parts.count; ++part)
    if (_placerBeyond.IsSharp(part))
      return true;
  return false;
}

void SFMeshBlockMaker::PlaceVertices(SFCompiledField const& iField, SFMeshBlock& ioBlock)
{
  _placer.Clear();
  std::uint32_t vertices = 0;
  for (std::uint32_t const index : _active) {
    SFMeshCell& cell = ioBlock.cells[index];
    SFDualCell const& parts = cell.GetParts();
    std::array<std::uint32_t, 3> const at{index % Side, index / Side % Side, index / Side / Side};
    std::array<std::size_t, 12> crossingOf{};
    for (unsigned int edge = 0; edge < 12; ++edge)
      if (parts.partOf[edge] != SFDualCell::None) {
        unsigned int const corner = LowCornerOf(edge);
        std::uint32_t const sample = SampleAt({at[0] + (corner & 1), at[1] + (corner >> 1 & 1), at[2] + (corner >> 2)});
        crossingOf[edge] = static_cast<std::size_t>(_crossingOf[3 * sample + edge / 4]);
        if (corner == 0)
          ioBlock.crossings.push_back(static_cast<float>(_crossings[crossingOf[edge]].at));
      }
    cell.firstVertex = static_cast<std::uint16_t>(vertices);
    vertices += parts.count;
    AddVertices(PointOf(ioBlock, index), parts, _crossings, crossingOf, _placer);
  }
  _placer.Start([&](SFLatticeIndex const& iCell) {
    std::uint8_t const inside = InsideOf(iField, ioBlock, iCell);
    return inside == 0 || inside == 255;
  });
  _placer.Run(
      iField, [&](SFLatticeIndex const& iCell) { return HasSharpVertex(iField, ioBlock, iCell); }, ioBlock);
  // Cells at the faces of the box reach beyond it.
  for (SFMeshVertex& vertex : ioBlock.vertices)
    for (std::size_t axis = 0; axis < 3; ++axis)
      vertex.position[axis] = std::clamp(vertex.position[axis], _lattice.low[axis], _lattice.high[axis]);
}

} // namespace SF
