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
    _crossingOf(3 * _samples.size(), -1), _crossings(iLattice.voxel), _placer(iLattice.voxel, iHasSharpFeatures)
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

/// Cells that are pinched at the same face as their neighbour. The neighbour may be in another block, which comes to the
/// same conclusion: both look at the same eight values.
void SFMeshBlockMaker::TurnFaces(SFCompiledField const& iField, SFMeshBlock& ioBlock)
{
  std::vector<std::uint32_t> pinched;
  _batch.Clear();
  for (std::uint32_t const cell : _active) {
    unsigned int const face = ioBlock.cells[cell].GetParts().pinchedFace;
    if (face == SFDualCell::None)
      continue;
    pinched.push_back(cell);
    SFLatticeIndex neighbour = PointOf(ioBlock, cell);
    neighbour[face / 2] += face % 2 != 0 ? 1 : -1;
    for (std::int64_t corner = 0; corner < 8; ++corner)
      _batch.Add(_lattice.At(
          {neighbour[0] + (corner & 1), neighbour[1] + (corner >> 1 & 1), neighbour[2] + (corner >> 2 & 1)}));
  }
  if (pinched.empty())
    return;
  _batch.Evaluate(iField);
  for (std::size_t i = 0; i < pinched.size(); ++i) {
    SFMeshCell& cell = ioBlock.cells[pinched[i]];
    unsigned int inside = 0;
    for (unsigned int corner = 0; corner < 8; ++corner)
      inside |= IsInside(_batch.Value(8 * i + corner)) ? 1U << corner : 0U;
    SFDualCell const& neighbour = DualCellOf(static_cast<std::uint8_t>(inside), false);
    cell.isTurned = neighbour.pinchedFace == (cell.GetParts().pinchedFace ^ 1U);
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
      std::uint32_t const sample = low[0] + Points * (low[1] + Points * low[2]);
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

void SFMeshBlockMaker::PlaceVertices(SFCompiledField const& iField, SFMeshBlock& ioBlock)
{
  _placer.Clear();
  std::uint32_t vertices = 0;
  for (std::uint32_t const index : _active) {
    SFMeshCell& cell = ioBlock.cells[index];
    SFDualCell const& parts = cell.GetParts();
    std::array<std::uint32_t, 3> const at{index % Side, index / Side % Side, index / Side / Side};
    std::array<std::size_t, 12> crossings{};
    for (unsigned int edge = 0; edge < 12; ++edge)
      if (parts.partOf[edge] != SFDualCell::None) {
        unsigned int const corner = LowCornerOf(edge);
        std::uint32_t const sample =
            at[0] + (corner & 1) + Points * (at[1] + (corner >> 1 & 1) + Points * (at[2] + (corner >> 2)));
        crossings[edge] = static_cast<std::size_t>(_crossingOf[3 * sample + edge / 4]);
        if (corner == 0)
          ioBlock.crossings.push_back(static_cast<float>(_crossings[crossings[edge]].at));
      }
    cell.firstVertex = static_cast<std::uint16_t>(vertices);
    vertices += parts.count;
    for (unsigned int part = 0; part < parts.count; ++part) {
      _placer.AddVertex(_lattice.At(PointOf(ioBlock, index)));
      for (unsigned int edge = 0; edge < 12; ++edge)
        if (parts.partOf[edge] == part)
          _placer.AddCrossing(_crossings.Position(crossings[edge]), _crossings[crossings[edge]].plane);
    }
  }
  _placer.Run(iField, ioBlock);
}

} // namespace SF
