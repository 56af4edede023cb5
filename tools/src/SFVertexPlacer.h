#pragma once

#include "SFMeshBlock.h"
#include "SFPointBatch.h"
#include "SFTangentPlanes.h"

#include <cstddef>
#include <vector>

namespace SF {

/// Places the vertices of a block. Each is given the crossings of its part of the surface.
class SFVertexPlacer
{
public:
  SFVertexPlacer(double iVoxel, bool iHasSharpFeatures) : _voxel(iVoxel), _hasSharpFeatures(iHasSharpFeatures) {}

  void Clear();
  /// The next vertex, in the cell with this lowest corner; its crossings follow.
  void AddVertex(SFVector3 const& iCellLow);
  void AddCrossing(SFVector3 const& iPoint, SFTangentPlane const& iPlane);
  void Run(SFCompiledField const& iField, SFMeshBlock& ioBlock);

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
    SFVector3 cellLow{};
    std::size_t firstCrossing = 0;
    SFVector3 centre{};   ///< of all crossings
    SFVector3 position{}; ///< to be tried next
    SFVector3 best{};     ///< of all that were tried
    SFVector3 normal{};
    double distance; ///< of the best one from the surface
    std::size_t firstSide = 0;
    std::size_t sides = 0; ///< of a sharp vertex: 2 or more
    int refinements = 0;
  };

  void Start(std::size_t iVertex, std::size_t iEndOfCrossings);
  void FindSides(Vertex& ioVertex, std::size_t iEndOfCrossings);
  bool IsInCell(Vertex const& iVertex, SFVector3 const& iPoint, double iMargin) const;
  SFVector3 InCell(Vertex const& iVertex, SFVector3 const& iPoint, double iMargin) const;
  bool Update(Vertex& ioVertex, SFVector3 const& iPoint, double iValue, SFVector3 const& iGradient) const;
  void Refine(SFCompiledField const& iField);
  void MakeSmooth(Vertex& ioVertex) const;
  void Finish(SFMeshBlock& ioBlock) const;

  double _voxel;
  bool _hasSharpFeatures;
  std::vector<Crossing> _crossings;
  std::vector<Vertex> _vertices;
  std::vector<Side> _sides;
  std::vector<std::size_t> _open;
  SFPointBatch _batch;
};

} // namespace SF
