#include "SFMeshTriangles.h"

#include <algorithm>
#include <cmath>

namespace SF {
namespace {

constexpr std::uint32_t Side = SFMeshBlock::Side;

/// Diagonals whose triangles agree with the normals to within this are equally good.
constexpr double EqualAgreement = 0.01;
/// A triangle whose height is below this, as a part of its sides, has no direction.
constexpr double Flat = 1e-6;
/// How near to a face of the box a vertex is on it, in voxels.
constexpr double OnFace = 1e-4;

/// The vertices of a quadrilateral, counter-clockwise from outside.
struct Quad
{
  std::array<SFMeshVertex const*, 4> vertices{};
  std::array<std::uint32_t, 4> numbers{};

  SFVector3 const& Position(std::size_t iCorner) const { return vertices[iCorner]->position; }
};

using Corners = std::array<std::size_t, 3>;
/// The two ways to cut a quadrilateral.
constexpr std::array<std::array<Corners, 2>, 2> Cuts{{{{{0, 1, 2}, {0, 2, 3}}}, {{{0, 1, 3}, {1, 2, 3}}}}};

/// How well a triangle faces the way that the surface does at its vertices: the smallest cosine. Sharp vertices face several
/// ways and only tell what is turned over.
double AgreementOf(Quad const& iQuad, Corners const& iCorners)
{
  SFVector3 const one = iQuad.Position(iCorners[1]) - iQuad.Position(iCorners[0]);
  SFVector3 const other = iQuad.Position(iCorners[2]) - iQuad.Position(iCorners[0]);
  SFVector3 const across = Cross(one, other);
  if (Norm(across) <= Flat * (Dot(one, one) + Dot(other, other)))
    return -1.0; // three vertices on one edge
  SFVector3 const normal = Unit(across);
  double agreement = 1.0;
  for (std::size_t const corner : iCorners) {
    double const cosine = Dot(normal, AsDoubles(iQuad.vertices[corner]->normal));
    if (!iQuad.vertices[corner]->isSharp || cosine < 0.0)
      agreement = std::min(agreement, cosine);
  }
  return agreement;
}

std::size_t BetterCut(Quad const& iQuad)
{
  std::array<double, 2> agreement{};
  std::array<int, 2> sharp{};
  std::array<double, 2> length{};
  for (std::size_t cut = 0; cut < 2; ++cut) {
    agreement[cut] = std::min(AgreementOf(iQuad, Cuts[cut][0]), AgreementOf(iQuad, Cuts[cut][1]));
    sharp[cut] = int{iQuad.vertices[cut]->isSharp} + int{iQuad.vertices[cut + 2]->isSharp};
    length[cut] = Norm(iQuad.Position(cut + 2) - iQuad.Position(cut));
  }
  if (std::abs(agreement[0] - agreement[1]) > EqualAgreement)
    return agreement[0] > agreement[1] ? 0 : 1;
  if (sharp[0] != sharp[1])
    return sharp[0] > sharp[1] ? 0 : 1;
  return length[0] <= length[1] ? 0 : 1;
}

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
  void AddCorner(std::array<int, 3> iAt, unsigned int iEdge, Quad& ioQuad, std::size_t iCorner) const
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
    std::array<int, 3> const at{static_cast<int>(iCell % Side), static_cast<int>(iCell / Side % Side),
                                static_cast<int>(iCell / Side / Side)};
    std::size_t const u = (iAxis + 1) % 3;
    std::size_t const v = (iAxis + 2) % 3;
    // Counter-clockwise from the upper end of the edge; the other way round when that is inside.
    bool const isOutwards = _block.cells[iCell].IsInside(0);
    constexpr std::array<std::array<int, 2>, 4> around{{{0, 0}, {1, 0}, {1, 1}, {0, 1}}};
    Quad quad;
    for (std::size_t k = 0; k < 4; ++k) {
      auto const [low, high] = around[k];
      std::array<int, 3> neighbour = at;
      neighbour[u] -= low;
      neighbour[v] -= high;
      AddCorner(neighbour, 4 * iAxis + static_cast<unsigned int>(low + 2 * high), quad, isOutwards ? k : 3 - k);
    }
    AddTriangles(quad);
    SFVector3 crossing = _lattice.At({_block.low[0] + at[0], _block.low[1] + at[1], _block.low[2] + at[2]});
    crossing[iAxis] += iCrossing * _lattice.voxel;
    Measure(quad, crossing);
  }

  void AddTriangles(Quad const& iQuad)
  {
    _cut = BetterCut(iQuad);
    for (Corners const& corners : Cuts[_cut]) {
      if (_box != nullptr && IsOnFace(iQuad, corners)) {
        _result.onFaces.push_back(static_cast<std::uint32_t>(_result.triangles.size()));
        _result.centresOnFaces.push_back(
            (1.0 / 3.0) * (iQuad.Position(corners[0]) + iQuad.Position(corners[1]) + iQuad.Position(corners[2])));
      }
      _result.triangles.push_back({iQuad.numbers[corners[0]], iQuad.numbers[corners[1]], iQuad.numbers[corners[2]]});
    }
  }

  bool IsOnFace(Quad const& iQuad, Corners const& iCorners) const
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

  void Measure(Quad const& iQuad, SFVector3 const& iCrossing)
  {
    double distance = std::numeric_limits<double>::infinity();
    for (Corners const& corners : Cuts[_cut])
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
