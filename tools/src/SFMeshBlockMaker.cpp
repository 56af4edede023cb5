#include "SFMeshBlockMaker.h"

#include "SFMeshQuad.h"

#include <algorithm>
#include <cmath>

namespace SF {
namespace {

constexpr std::uint32_t Side = SFMeshBlock::Side;

/// How far from the surface, in voxels, a vertex may come to lie when it makes way for others: on an edge, and in its cell.
constexpr double NearEdge = 0.02;
constexpr double NearSurface = 1e-4;

/// -0 counts as inside, like what rounds to it; NaN does not.
bool IsInside(double iValue) { return std::signbit(iValue) && !std::isnan(iValue); }
/// As samples are stored, any zero as -0.
double AsSample(double iValue) { return iValue == 0.0 ? -0.0 : iValue; }

} // namespace

SFMeshBlockMaker::SFMeshBlockMaker(SFMeshLattice const& iLattice, bool iHasSharpFeatures)
  : _lattice(iLattice), _samples(Points * Points * Points), _inside(_samples.size()),
    _crossingOf(3 * _samples.size(), -1), _crossings(iLattice.voxel), _placer(iLattice.voxel, iHasSharpFeatures),
    _crossingsBeyond(iLattice.voxel), _placerBeyond(iLattice.voxel, iHasSharpFeatures),
    _crossingsAround(iLattice.voxel), _placerAround(iLattice.voxel, iHasSharpFeatures)
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
    inside |= IsInside(AsSample(_batch.Value(corner))) ? 1U << corner : 0U;
  return static_cast<std::uint8_t>(inside);
}

bool SFMeshBlockMaker::IsEmpty(SFCompiledField const& iField, SFMeshBlock const& iBlock, SFLatticeIndex const& iCell)
{
  std::uint8_t const inside = InsideOf(iField, iBlock, iCell);
  return inside == 0 || inside == 255;
}

/// Finds the cells that are pinched at the same face as their neighbour. It may be in another block, which finds it too.
void SFMeshBlockMaker::TurnFaces(SFCompiledField const& iField, SFMeshBlock& ioBlock)
{
  for (std::uint32_t const index : _active) {
    SFMeshCell& cell = ioBlock.cells[index];
    if (DualCellOf(cell.inside, false).pinchedFace != SFDualCell::None)
      TurnFace(iField, ioBlock, PointOf(ioBlock, index), cell);
  }
}

/// Notes whether a cell is.
void SFMeshBlockMaker::TurnFace(SFCompiledField const& iField, SFMeshBlock const& iBlock, SFLatticeIndex const& iAt,
                                SFMeshCell& ioCell)
{
  unsigned int const face = DualCellOf(ioCell.inside, false).pinchedFace;
  if (face == SFDualCell::None)
    return;
  SFLatticeIndex neighbour = iAt;
  neighbour[face / 2] += face % 2 != 0 ? 1 : -1;
  ioCell.isTurned = DualCellOf(InsideOf(iField, iBlock, neighbour), false).pinchedFace == (face ^ 1U);
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

/// Adds the crossings of a cell of another block, the values at whose corners are in the batch.
void SFMeshBlockMaker::AddCrossings(SFDualCell const& iParts, SFEdgeCrossings& ioCrossings,
                                    std::array<std::size_t, 12>& oCrossingOf) const
{
  for (unsigned int edge = 0; edge < 12; ++edge) {
    unsigned int const low = LowCornerOf(edge);
    if (iParts.partOf[edge] != SFDualCell::None)
      oCrossingOf[edge] = ioCrossings.Add(_batch.Point(low), edge / 4, AsSample(_batch.Value(low)),
                                          AsSample(_batch.Value(low | 1U << edge / 4)));
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
  AddCrossings(parts, _crossingsBeyond, crossingOf);
  _crossingsBeyond.Run(iField);
  _placerBeyond.Clear();
  AddVertices(iCell, parts, _crossingsBeyond, crossingOf, _placerBeyond);
  _placerBeyond.Start([&](SFLatticeIndex const& iNext) { return IsEmpty(iField, iBlock, iNext); });
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
  _placer.Start([&](SFLatticeIndex const& iCell) { return IsEmpty(iField, ioBlock, iCell); });
  _placer.Run(iField, [&](SFLatticeIndex const& iCell) { return HasSharpVertex(iField, ioBlock, iCell); });
  _distances.clear();
  for (std::size_t i = 0; i < _placer.Size(); ++i) {
    ioBlock.vertices.push_back(InBox(_placer.Get(i)));
    _distances.push_back(_placer.DistanceOf(i));
  }
  Untangle(iField, ioBlock);
  Report(ioBlock);
}

/// Cells at the faces of the box reach beyond it.
SFMeshVertex SFMeshBlockMaker::InBox(SFMeshVertex const& iVertex) const
{
  SFMeshVertex vertex = iVertex;
  for (std::size_t axis = 0; axis < 3; ++axis)
    vertex.position[axis] = std::clamp(vertex.position[axis], _lattice.low[axis], _lattice.high[axis]);
  return vertex;
}

/// Of the vertices as they are now.
void SFMeshBlockMaker::Report(SFMeshBlock& ioBlock) const
{
  for (std::size_t i = 0; i < ioBlock.vertices.size(); ++i) {
    bool const isSharp = ioBlock.vertices[i].isSharp;
    if (!std::isfinite(_distances[i])) {
      ++ioBlock.unplacedVertices;
      continue;
    }
    double& largest = isSharp ? ioBlock.sharpVertexDistance : ioBlock.vertexDistance;
    largest = std::max(largest, _distances[i]);
    ioBlock.sharpVertices += isSharp ? 1 : 0;
  }
}

/// Mends what vertices that left their cells have tangled.
void SFMeshBlockMaker::Untangle(SFCompiledField const& iField, SFMeshBlock& ioBlock)
{
  Suspects suspects;
  for (std::uint32_t const index : _active) {
    SFMeshCell const& cell = ioBlock.cells[index];
    for (unsigned int part = 0; part < cell.GetParts().count; ++part)
      if (std::size_t const vertex = cell.firstVertex + part; _placer.HasLeftCell(vertex))
        suspects.push_back({PointOf(ioBlock, index), part, vertex, _placer.SidesOf(vertex)});
  }
  if (suspects.empty())
    return;
  FindCellsAround(ioBlock, suspects);
  PlaceVerticesAround(iField, ioBlock);
  SFMeshTangles const tangles(_lattice.voxel, [&](SFLatticeIndex const& iCell) -> SFMeshTangles::Cell {
    if (std::uint32_t index = 0; IsHere(ioBlock, iCell, index))
      return {&ioBlock.cells[index], &ioBlock.vertices[ioBlock.cells[index].firstVertex]};
    SFMeshCell const& cell = _cellsAround.at(iCell);
    return {&cell, &_verticesAround[cell.firstVertex]};
  });
  MoveAlongEdges(iField, tangles, 0.0, suspects, ioBlock);
  PutInCells(iField, tangles, suspects, ioBlock);
  // Around thin rims triangles may face away from their vertices. No two of these are in one place there either.
  MoveAlongEdges(iField, tangles, SFMeshTangles::Coincident / 2.0, suspects, ioBlock);
}

/// Moves vertices whose quality is below the least one; leaves those for which there is no place.
void SFMeshBlockMaker::MoveAlongEdges(SFCompiledField const& iField, SFMeshTangles const& iTangles, double iLeast,
                                      Suspects& ioTangled, SFMeshBlock& ioBlock)
{
  Suspects moved;
  std::vector<SFVector3> before;
  std::erase_if(ioTangled, [&](SFMeshTangles::Suspect const& iSuspect) {
    if (iTangles.QualityOf(iSuspect) >= iLeast)
      return true;
    SFMeshVertex& vertex = ioBlock.vertices[iSuspect.vertex];
    auto const place = iTangles.FindPlace(iSuspect, iLeast, vertex);
    if (!place)
      return false;
    moved.push_back(iSuspect);
    before.push_back(vertex.position);
    vertex.position = *place;
    vertex = InBox(vertex);
    return true;
  });
  if (moved.empty())
    return;
  _batch.Clear();
  for (SFMeshTangles::Suspect const& suspect : moved)
    _batch.Add(ioBlock.vertices[suspect.vertex].position);
  _batch.EvaluateGradient(iField);
  for (std::size_t i = 0; i < moved.size(); ++i) {
    auto const plane = TangentPlaneOf(_batch.Point(i), _batch.Value(i), _batch.Gradient(i));
    double const distance = std::abs(Dot(plane.normal, _batch.Point(i)) - plane.offset);
    if (plane.IsKnown() && distance <= NearEdge * _lattice.voxel) {
      _distances[moved[i].vertex] = distance;
      continue;
    }
    ioBlock.vertices[moved[i].vertex].position = before[i];
    ioTangled.push_back(moved[i]);
  }
}

/// Gives up the edges at vertices where this makes the surface better.
void SFMeshBlockMaker::PutInCells(SFCompiledField const& iField, SFMeshTangles const& iTangles,
                                  Suspects const& iTangled, SFMeshBlock& ioBlock)
{
  if (iTangled.empty())
    return;
  std::vector<std::size_t> vertices;
  for (SFMeshTangles::Suspect const& suspect : iTangled)
    vertices.push_back(suspect.vertex);
  _placer.PutInCells(iField, vertices);
  for (SFMeshTangles::Suspect const& suspect : iTangled) {
    SFMeshVertex& vertex = ioBlock.vertices[suspect.vertex];
    SFMeshVertex const before = vertex;
    double const quality = iTangles.QualityOf(suspect);
    vertex = InBox(_placer.Get(suspect.vertex));
    double const distance = _placer.DistanceOf(suspect.vertex);
    if (iTangles.QualityOf(suspect) > quality &&
        distance <= std::max(_distances[suspect.vertex], NearSurface * _lattice.voxel))
      _distances[suspect.vertex] = distance;
    else
      vertex = before;
  }
}

/// Finds the cells of other blocks that are around some vertices of this one.
void SFMeshBlockMaker::FindCellsAround(SFMeshBlock const& iBlock, Suspects const& iSuspects)
{
  _cellsAround.clear();
  for (auto const& [place, part, vertex, sides] : iSuspects) {
    std::uint32_t index = 0;
    IsHere(iBlock, place, index);
    SFDualCell const& parts = iBlock.cells[index].GetParts();
    for (unsigned int edge = 0; edge < 12; ++edge)
      if (parts.partOf[edge] == part)
        ForEachAround(place, edge, true, [&](SFLatticeIndex const& iAt, unsigned int, std::size_t) {
          if (std::uint32_t here = 0; !IsHere(iBlock, iAt, here))
            _cellsAround[iAt];
        });
  }
}

/// Places their vertices as their blocks do, but for what tangles there.
void SFMeshBlockMaker::PlaceVerticesAround(SFCompiledField const& iField, SFMeshBlock const& iBlock)
{
  _crossingsAround.Clear();
  _placerAround.Clear();
  _verticesAround.clear();
  if (_cellsAround.empty())
    return;
  std::vector<std::array<std::size_t, 12>> crossingsOf;
  for (auto& [at, cell] : _cellsAround) {
    cell.inside = InsideOf(iField, iBlock, at);
    AddCrossings(DualCellOf(cell.inside, false), _crossingsAround, crossingsOf.emplace_back());
    TurnFace(iField, iBlock, at, cell);
  }
  _crossingsAround.Run(iField);
  auto crossingOf = crossingsOf.begin();
  for (auto& [at, cell] : _cellsAround) {
    cell.firstVertex = static_cast<std::uint16_t>(_placerAround.Size());
    AddVertices(at, cell.GetParts(), _crossingsAround, *crossingOf++, _placerAround);
  }
  _placerAround.Start([&](SFLatticeIndex const& iCell) { return IsEmpty(iField, iBlock, iCell); });
  _placerAround.Run(iField, [&](SFLatticeIndex const& iCell) { return HasSharpVertex(iField, iBlock, iCell); });
  for (std::size_t i = 0; i < _placerAround.Size(); ++i)
    _verticesAround.push_back(InBox(_placerAround.Get(i)));
}

} // namespace SF
