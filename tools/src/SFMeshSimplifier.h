#pragma once

#include "SFMesh.h"
#include "SFVector3.h"
#include "SFWork.h"

#include <cstdint>
#include <span>
#include <vector>

namespace SF {

/// Removes vertices of a closed or open manifold mesh by collapsing edges onto one of their ends. Every vertex that goes stays
/// within a distance of the mesh; the mesh stays manifold and oriented. As vertices only go, those left are on the surface
/// and on its edges.
///
/// In rounds: collapses that do not touch each other are chosen in the order of the vertices, tested by all threads, and
/// carried out. The result does not depend on the number of threads.
class SFMeshSimplifier
{
public:
  SFMeshSimplifier(SFMesh& ioMesh, double iTolerance, SFWorkOptions const& iOptions);

  /// Returns the largest distance of a removed vertex from the mesh.
  double Run(SFProgress const& iProgress);

private:
  static constexpr std::uint32_t None = 0xFFFFFFFF;

  /// The vertex `from` is to become `to`.
  struct Collapse
  {
    std::uint32_t from = 0;
    std::uint32_t to = 0;
    bool isAllowed = false;
  };
  using Points = std::vector<std::uint32_t>;

  std::size_t RunRound(double iLimit);
  void Index();
  void Choose(double iLimit);
  std::uint32_t BestTarget(std::uint32_t iVertex, double iLimit);
  bool KeepsTopology(std::uint32_t iFrom, std::uint32_t iTo) const;
  bool KeepsShape(std::uint32_t iFrom, std::uint32_t iTo) const;
  double CostOf(std::uint32_t iFrom, std::uint32_t iTo) const;
  void Test(Collapse& ioCollapse, std::vector<std::uint32_t>& oOwners) const;
  void Apply(Collapse const& iCollapse, std::vector<std::uint32_t> const& iOwners);
  Points PointsNear(std::uint32_t iVertex) const;
  void Compact();
  double Finish();

  std::span<std::uint32_t const> TrianglesAt(std::uint32_t iVertex) const;
  std::array<SFVector3, 3> CornersOf(std::uint32_t iTriangle, std::uint32_t iFrom, std::uint32_t iTo) const;
  bool HasCorner(std::uint32_t iTriangle, std::uint32_t iVertex) const;

  SFMesh& _mesh;
  double _tolerance;
  SFWorkOptions const& _options;
  std::vector<std::uint32_t> _ownerOf; ///< the triangle next to a removed vertex; None for the others
  std::vector<bool> _isFixed;          ///< vertices on an open border
  std::vector<bool> _isTried;          ///< nothing has changed since its collapse was refused
  std::vector<std::uint32_t> _firstAt; ///< per vertex, into _trianglesAt
  std::vector<std::uint32_t> _trianglesAt;
  std::vector<std::uint32_t> _firstPoint; ///< per triangle, into _points
  std::vector<std::uint32_t> _points;
  std::vector<bool> _isLocked;
  std::vector<Collapse> _chosen;
  std::vector<std::uint32_t> _ring; ///< scratch
};

} // namespace SF
