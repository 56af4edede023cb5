#pragma once

#include "SFMeshBlock.h"
#include "SFPointBatch.h"
#include "SFTangentPlanes.h"

#include <cstddef>
#include <functional>
#include <vector>

namespace SF {

/// Places the vertices of a block. Each is given the crossings of its part of the surface.
class SFVertexPlacer
{
public:
  SFVertexPlacer(double iVoxel, bool iHasSharpFeatures) : _voxel(iVoxel), _hasSharpFeatures(iHasSharpFeatures) {}

  void Clear();
  /// The next vertex, in a cell with this place and lowest corner; its crossings follow.
  void AddVertex(SFLatticeIndex const& iCell, SFVector3 const& iCellLow);
  void AddCrossing(SFVector3 const& iPoint, SFTangentPlane const& iPlane);
  using CellTest = std::function<bool(SFLatticeIndex const&)>;
  /// First places by the crossings alone, in the vertices' own cells or in cells without surface.
  void Start(CellTest const& iIsEmpty);
  /// Whether a vertex was placed on an edge or a corner by Start.
  bool IsSharp(std::size_t iVertex) const { return _vertices[iVertex].hasStartedSharp; }
  /// Brings all vertices onto the surface. Edges that Start did not reach are looked for in neighbouring cells that
  /// `iHasSharpVertex` does not tell to have a vertex on them.
  void Run(SFCompiledField const& iField, CellTest const& iHasSharpVertex);
  /// Brings some vertices onto the surface in their own cells, as if they were smooth.
  void PutInCells(SFCompiledField const& iField, std::vector<std::size_t> const& iVertices);

  std::size_t Size() const { return _vertices.size(); }
  SFMeshVertex Get(std::size_t iVertex) const;
  /// Of a vertex from the surface; infinite when the surface was not found.
  double DistanceOf(std::size_t iVertex) const { return _vertices[iVertex].distance; }
  /// Whether a vertex is outside of its cell.
  bool HasLeftCell(std::size_t iVertex) const;
  /// The planes that meet at a sharp vertex.
  std::vector<SFTangentPlane> SidesOf(std::size_t iVertex) const;

private:
  struct Crossing
  {
    SFVector3 point;
    SFTangentPlane plane;
  };
  /// A side of the surface at a sharp vertex: crossings whose planes are alike.
  struct Side
  {
    SFVector3 centre{}; ///< of its crossings
    SFTangentPlane plane;
  };
  struct Vertex
  {
    SFLatticeIndex cell{};
    SFVector3 cellLow{};
    std::size_t firstCrossing = 0;
    SFVector3 centre{};   ///< of all crossings
    SFVector3 position{}; ///< to be tried next
    SFVector3 best{};     ///< of all that were tried
    SFVector3 normal{};
    double distance; ///< of the best one from the surface
    SFTangentPlane seen;  ///< where it was last looked at
    std::size_t firstSide = 0;
    std::size_t sides = 0; ///< of a sharp vertex: 2 or more
    int refinements = 0;
    std::size_t newStarts = 0;
    bool hasStartedSharp = false;
    bool isConfined = false; ///< to its cell
  };

  /// A part of a line.
  struct Stretch
  {
    double low;
    double high;
  };
  /// A vertex whose planes meet beyond its cell.
  struct Reach
  {
    std::size_t vertex;
    SFPlaneMeeting meeting;
  };

  void StartOne(std::size_t iVertex);
  std::size_t EndOfCrossings(std::size_t iVertex) const;
  void ReachForEdges(CellTest const& iHasSharpVertex);
  void FindSides(std::size_t iVertex);
  bool IsInCell(Vertex const& iVertex, SFVector3 const& iPoint) const;
  bool CellOf(Vertex const& iVertex, SFVector3 const& iPoint, SFLatticeIndex& oCell) const;
  bool IsInEmptyCell(Vertex const& iVertex, SFVector3 const& iPoint) const;
  Stretch StretchInCell(Vertex const& iVertex, SFVector3 const& iPoint, SFVector3 const& iDirection,
                        double iMargin) const;
  bool SlideIntoCell(Vertex const& iVertex, SFVector3 const& iDirection, SFVector3& ioPoint) const;
  bool SlideIntoNeighbour(Vertex const& iVertex, SFVector3 const& iDirection, CellTest const& iHasSharpVertex,
                          SFVector3& ioPoint) const;
  bool FindPlace(Vertex const& iVertex, SFPlaneMeeting const& iMeeting, SFVector3& oPoint) const;
  SFVector3 InCell(Vertex const& iVertex, SFVector3 const& iPoint, double iMargin) const;
  bool Update(Vertex& ioVertex, SFVector3 const& iPoint, double iValue, SFVector3 const& iGradient) const;
  void Refine(SFCompiledField const& iField);
  bool IsCurved(Vertex const& iVertex) const;
  void MakeSmooth(Vertex& ioVertex) const;
  bool StartAgain(std::size_t iVertex);
  void RunOpen(SFCompiledField const& iField, int iRounds);

  double _voxel;
  bool _hasSharpFeatures;
  std::vector<Crossing> _crossings;
  std::vector<Vertex> _vertices;
  std::vector<Side> _sides;
  std::vector<std::size_t> _open;
  std::vector<Reach> _reaches;
  CellTest _isEmpty;
  SFPointBatch _batch;
};

} // namespace SF
