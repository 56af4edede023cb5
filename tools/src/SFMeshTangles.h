#pragma once

#include "SFMeshQuad.h"
#include "SFVertexPlacer.h"

#include <functional>
#include <optional>
#include <vector>

namespace SF {

/// Finds places for vertices that went to an edge outside of their cells and passed others there, so that triangles are
/// turned over.
class SFMeshTangles
{
public:
  /// A cell with the vertices of its parts.
  struct Cell
  {
    SFMeshCell const* cell;
    SFMeshVertex const* vertices;
  };
  using CellFinder = std::function<Cell(SFLatticeIndex const&)>;

  /// A vertex with the place of its cell, its part there, and the planes that meet at it.
  struct Suspect
  {
    SFLatticeIndex cell;
    unsigned int part;
    std::size_t vertex; ///< of the block
    std::vector<SFTangentPlane> sides;
  };

  /// `iCellAt` finds the cells around those of the vertices.
  SFMeshTangles(double iVoxel, CellFinder iCellAt) : _voxel(iVoxel), _cellAt(std::move(iCellAt)) {}

  /// The quality where two vertices are in one place.
  static constexpr double Coincident = -2.0;
  /// How well the surface around a vertex faces outwards: below 0 for a tangle.
  double QualityOf(Suspect const& iSuspect) const;
  /// Another place for a vertex along edges of the solid, between its neighbours on them, with no less quality. Tries them at
  /// the vertex.
  std::optional<SFVector3> FindPlace(Suspect const& iSuspect, double iLeast, SFMeshVertex& ioVertex) const;

private:
  template <class Take>
  void ForEachQuad(Suspect const& iSuspect, Take const& iTake) const;
  double AgreementOf(Suspect const& iSuspect, SFMeshQuad const& iQuad) const;
  std::vector<double> PlacesAlong(Suspect const& iSuspect, SFVector3 const& iFrom, SFVector3 const& iEdge) const;

  double _voxel;
  CellFinder _cellAt;
};

} // namespace SF
