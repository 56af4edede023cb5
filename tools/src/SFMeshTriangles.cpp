#include "SFMeshTriangles.h"

#include "SFMeshQuad.h"

#include <algorithm>
#include <cmath>

namespace SF {
namespace {

constexpr std::uint32_t Side = SFMeshBlock::Side;

/// How near to a face of the box a vertex is on it, in voxels.
constexpr double OnFace = 1e-4;

/// Gathers the quadrilaterals of a block.
class Builder
{
public:
  Builder(SFMeshLattice const& iLattice, SFMeshBlock const& iBlock, ZULMathBox const* iBox,
          std::function<SFMeshBlock const*(std::array<int, 3> const&)> const& iBlockAt)
    : _lattice(iLattice), _block(iBlock), _box(iBox)
  {
    for (int i = 0; i < 8; ++i)
      _blocks[static_cast<std::size_t>(i)] = iBlockAt({-(i & 1), -(i >> 1 & 1), -(i >> 2)});
  }

  SFBlockTriangles Run()
  {
    std::size_t crossing = 0;
    for (std::uint32_t index = 0; index < SFMeshBlock::Volume; ++index) {
      SFMeshCell const& cell = _block.cells[index];
      if (!cell.HasSurface())
        continue;
      for (unsigned int axis = 0; axis < 3; ++axis)
        if (cell.IsInside(0) != cell.IsInside(1U << axis))
          AddQuad(index, axis, static_cast<double>(_block.crossings[crossing++]));
    }
    return std::move(_result);
  }

private:
  /// The vertex of a cell's part that an edge belongs to, for a cell at `iAt`, which may be -1 along an axis.
  void AddCorner(SFLatticeIndex const& iAt, unsigned int iEdge, SFMeshQuad& ioQuad, std::size_t iCorner) const
  {
    std::size_t neighbour = 0;
    std::array<std::uint32_t, 3> at{};
    for (std::size_t axis = 0; axis < 3; ++axis) {
      neighbour |= iAt[axis] < 0 ? std::size_t{1} << axis : 0;
      at[axis] = static_cast<std::uint32_t>(iAt[axis]) & (Side - 1);
    }
    SFMeshBlock const& block = *_blocks[neighbour];
    SFMeshCell const& cell = block.cells[SFMeshBlock::CellAt(at[0], at[1], at[2])];
    std::uint32_t const vertex = cell.firstVertex + std::uint32_t{cell.GetParts().partOf[iEdge]};
    ioQuad.vertices[iCorner] = &block.vertices[vertex];
    ioQuad.numbers[iCorner] = block.firstVertex + vertex;
  }

  void AddQuad(std::uint32_t iCell, unsigned int iAxis, double iCrossing)
  {
    SFLatticeIndex const at{iCell % Side, iCell / Side % Side, iCell / Side / Side};
    SFMeshQuad quad;
    ForEachAround(at, 4 * iAxis, _block.cells[iCell].IsInside(0),
                  [&](SFLatticeIndex const& iAt, unsigned int iEdge, std::size_t iCorner) {
                    AddCorner(iAt, iEdge, quad, iCorner);
                  });
    AddTriangles(quad);
    SFVector3 crossing = _lattice.At({_block.low[0] + at[0], _block.low[1] + at[1], _block.low[2] + at[2]});
    crossing[iAxis] += iCrossing * _lattice.voxel;
    Measure(quad, crossing);
  }

  void AddTriangles(SFMeshQuad const& iQuad)
  {
    _cut = iQuad.BetterCut();
    for (SFMeshQuad::Corners const& corners : SFMeshQuad::Cuts[_cut]) {
      if (_box != nullptr && IsOnFace(iQuad, corners)) {
        _result.onFaces.push_back(static_cast<std::uint32_t>(_result.triangles.size()));
        _result.centresOnFaces.push_back(
            (1.0 / 3.0) * (iQuad.Position(corners[0]) + iQuad.Position(corners[1]) + iQuad.Position(corners[2])));
      }
      _result.triangles.push_back({iQuad.numbers[corners[0]], iQuad.numbers[corners[1]], iQuad.numbers[corners[2]]});
    }
  }

  bool IsOnFace(SFMeshQuad const& iQuad, SFMeshQuad::Corners const& iCorners) const
  {
    for (std::size_t axis = 0; axis < 3; ++axis)
      for (ZULMathPoint const& corner : {_box->low, _box->high}) {
        double const face = std::array<double, 3>{corner.x, corner.y, corner.z}[axis];
        if (std::all_of(iCorners.begin(), iCorners.end(), [&](std::size_t iCorner) {
              return std::abs(iQuad.Position(iCorner)[axis] - face) <= OnFace * _lattice.voxel;
            }))
          return true;
      }
    return false;
  }

  void Measure(SFMeshQuad const& iQuad, SFVector3 const& iCrossing)
  {
    double distance = std::numeric_limits<double>::infinity();
    for (SFMeshQuad::Corners const& corners : SFMeshQuad::Cuts[_cut])
      distance =
          std::min(distance, DistanceToTriangle(iCrossing, {iQuad.Position(corners[0]), iQuad.Position(corners[1]),
                                                            iQuad.Position(corners[2])}));
    _result.surfaceDistance = std::max(_result.surfaceDistance, distance);
  }

  SFMeshLattice const& _lattice;
  SFMeshBlock const& _block;
  ZULMathBox const* _box;
  std::array<SFMeshBlock const*, 8> _blocks{};
  std::size_t _cut = 0;
  SFBlockTriangles _result;
};

} // namespace

double DistanceToTriangle(SFVector3 const& iPoint, std::array<SFVector3, 3> const& iTriangle)
{
  auto const side = [&](std::size_t i) { return iTriangle[(i + 1) % 3] - iTriangle[i]; };
  SFVector3 const normal = Cross(side(0), side(1));
  auto const isWithin = [&](std::size_t i) { return Dot(Cross(side(i), iPoint - iTriangle[i]), normal) > 0.0; };
  if (isWithin(0) && isWithin(1) && isWithin(2))
    return std::abs(Dot(iPoint - iTriangle[0], Unit(normal)));
  double nearest = HUGE_VAL;
  for (std::size_t i = 0; i < 3; ++i) {
    SFVector3 const along = side(i);
    SFVector3 const there = iPoint - iTriangle[i];
    double const squared = Dot(along, along);
    double const share = squared > 0.0 ? std::clamp(Dot(along, there) / squared, 0.0, 1.0) : 0.0;
    nearest = std::min(nearest, Norm(there - share * along));
  }
  return nearest;
}

SFBlockTriangles TrianglesOf(SFMeshLattice const& iLattice, SFMeshBlock const& iBlock, ZULMathBox const* iBox,
                             std::function<SFMeshBlock const*(std::array<int, 3> const&)> const& iBlockAt)
{
  return Builder(iLattice, iBlock, iBox, iBlockAt).Run();
}

} // namespace SF
