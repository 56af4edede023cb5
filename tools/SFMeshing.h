#pragma once

#include "SFField.h"
#include "SFMesh.h"
#include "SFToolsExport.h"
#include "SFWorkOptions.h"
#include "ZULMathBox.h"

#include <array>
#include <cstdint>
#include <span>

namespace SF {

/// What a mesh is to be like, beside progress, cancelling and memory as for all work.
struct SFMeshingOptions : SFWorkOptions
{
  /// Closes the mesh where the solid leaves the box, with sharp edges; otherwise it is open there, and a mesh that is
  /// made in slabs has vertices there that no triangle uses.
  bool isCapped = true;
  /// Places vertices on the edges and corners of the solid; otherwise these are cut off within a voxel.
  bool hasSharpFeatures = true;
  /// Removes triangles where this moves the surface by no more than this length. 0: none. Needs the whole mesh in
  /// memory.
  double adaptivity = 0.0;
};

/// What meshing found out. Lengths are in the model's unit.
struct SF_TOOLS_EXPORT SFMeshingReport
{
  double voxel = 0.0;                   ///< the edge of a cell: that asked for, rounded to fewer digits
  std::array<std::uint32_t, 3> cells{}; ///< along x, y and z
  std::uint64_t vertices = 0;           ///< of the mesh
  std::uint64_t triangles = 0;          ///< of the mesh
  /// The largest distance of a vertex from the surface, |f| / |grad f|; sharp vertices apart.
  double vertexDistance = 0.0;
  double sharpVertexDistance = 0.0; ///< the same for vertices on edges and corners
  /// The largest distance of the surface from the mesh, measured where the surface crosses the lattice: at one point
  /// for each pair of triangles.
  double surfaceDistance = 0.0;
  /// The largest distance of a removed vertex from the mesh that `adaptivity` leaves.
  double simplification = 0.0;
  std::uint64_t sharpVertices = 0; ///< those on edges and corners of the solid
  /// Vertices where the field has no gradient, no value or a jump. They lie within their cell.
  std::uint64_t unplacedVertices = 0;

  /// A further part of the same mesh: counts add up, of distances the largest one counts.
  void Add(SFMeshingReport const& iPart);
};

/// A part of a mesh that is made piece by piece. The spans live as long as the call.
struct SFMeshPiece
{
  std::span<std::array<double, 3> const> vertices;         ///< in the order of their numbers, `firstVertex` on
  std::span<std::array<float, 3> const> normals;           ///< one for each of these vertices
  std::span<std::array<std::uint32_t, 3> const> triangles; ///< of vertices of this piece and the one before
  std::uint32_t firstVertex = 0;                           ///< number of vertices[0] in the whole mesh
};

/// Takes a mesh piece by piece, from the lowest slab to the highest, on the thread of the caller.
class SF_TOOLS_EXPORT SFMeshSink
{
public:
  virtual ~SFMeshSink();
  /// Called before the first piece with about how many vertices there will be at least, 0 for few, so that what cannot
  /// be taken is refused at once: an exception ends the meshing and reaches its caller. Does nothing by itself.
  virtual void Expect(double iVertices);
  /// Takes a piece; an exception ends the meshing and reaches its caller.
  virtual void Add(SFMeshPiece const& iPiece) = 0;
};

/// Meshes the surface f = 0 of a field within a box by cells of edge `iVoxel`. The mesh is closed (if capped),
/// manifold, and oriented with its triangles counter-clockwise from outside. It is a function of the field, the box,
/// the voxel and the first two options alone, the same to the bit for any number of threads. Where the field is NaN
/// counts as outside.
///
/// A mesh that is dual to the lattice of samples: a vertex for each part of the surface in a cell (G. Nielson, "Dual
/// marching cubes", 2004; made manifold as by R. Wenger, "Isosurfaces: Geometry, Topology, and Algorithms", 2013), at
/// the least squares meeting of the tangent planes at the crossings of the cell's edges (T. Ju, F. Losasso, S.
/// Schaefer, J. Warren, "Dual contouring of Hermite data", 2002), then moved onto the surface. Blocks that cannot hold
/// surface by the bounds of the field are not sampled. Features thinner than a voxel may be missed.
///
/// Errors: std::invalid_argument for a box or voxel that FrameOver refuses, a box without volume and a negative
/// adaptivity; SFModelError when no surface is found; SFMemoryLimit; SFCancelled, within 100 ms.
SF_TOOLS_EXPORT SFMesh MeshField(SFField const& iField, ZULMathBox const& iBox, double iVoxel,
                                 SFMeshingOptions const& iOptions = {}, SFMeshingReport* oReport = nullptr);

/// As above, in slabs that are handed on as they are done, so that the mesh may be larger than the memory. Vertices are
/// those of the mesh above, bit for bit, in the same order. std::invalid_argument with an adaptivity. Exceptions of the
/// sink go through.
SF_TOOLS_EXPORT void MeshField(SFField const& iField, ZULMathBox const& iBox, double iVoxel, SFMeshSink& ioSink,
                               SFMeshingOptions const& iOptions = {}, SFMeshingReport* oReport = nullptr);

} // namespace SF
