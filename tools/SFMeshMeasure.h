#pragma once

#include "SFField.h"
#include "SFMesh.h"
#include "SFMeshing.h"
#include "SFToolsExport.h"
#include "SFWorkOptions.h"
#include "ZULMathBox.h"

#include <array>
#include <cstdint>
#include <limits>
#include <optional>

namespace SF {

/// How the triangles of a mesh hang together.
struct SFMeshTopology
{
  std::uint64_t components = 0;      ///< parts that share no vertex; a cavity counts as one
  std::uint64_t cavities = 0;        ///< components that face inwards
  std::int64_t genus = 0;            ///< handles of all components, from their Euler characteristics; -1 unless closed
  std::uint64_t openEdges = 0;       ///< edges of one triangle only
  std::uint64_t pinchedEdges = 0;    ///< edges of more than two triangles
  std::uint64_t pinchedVertices = 0; ///< vertices whose triangles do not form one fan
  std::uint64_t turnedEdges = 0;     ///< edges whose two triangles run along them in the same direction

  /// No edge of one triangle only.
  bool IsClosed() const { return openEdges == 0; }
  /// The surface is a sheet around each edge and vertex.
  bool IsManifold() const { return pinchedEdges == 0 && pinchedVertices == 0; }
  /// All triangles turn the same way.
  bool IsOriented() const { return turnedEdges == 0; }
  /// All three: what slicers and solvers ask for.
  bool IsWatertight() const { return IsClosed() && IsManifold() && IsOriented(); }
};

/// Counts parts, cavities and handles, and what keeps a mesh from being watertight. SFCancelled.
SF_TOOLS_EXPORT SFMeshTopology TopologyOf(SFMesh const& iMesh, SFWorkOptions const& iOptions = {});

/// A number with how far it may be off. The error is an estimate.
struct SFMeasure
{
  double value = 0.0; ///< in a power of the model's unit
  double error = 0.0; ///< in the unit of the value, 0 or more
};

/// Of a closed mesh, in powers of the model's unit. What an open mesh encloses has no meaning.
struct SFMassProperties
{
  double volume = 0.0;            ///< unit^3; cavities taken off
  double area = 0.0;              ///< unit^2
  std::array<double, 3> centre{}; ///< of the volume
  ZULMathBox box{};               ///< around all vertices
};

/// Of the mesh as it is, by the divergence theorem. (B. Mirtich, "Fast and accurate computation of polyhedral mass properties", 1996.)
SF_TOOLS_EXPORT SFMassProperties MassPropertiesOf(SFMesh const& iMesh);

/// Sums over the surface that a closed mesh stands for, or a part of it, in powers of the model's unit. Those of parts add up.
struct SF_TOOLS_EXPORT SFMeshMoments
{
  double volume = 0.0;            ///< unit^3
  double area = 0.0;              ///< unit^2
  std::array<double, 3> moment{}; ///< of the volume, about a point; unit^4
  /// The low corner of the box around the vertices; infinite, and above the high one, while there is no vertex.
  std::array<double, 3> low{Infinity, Infinity, Infinity};
  std::array<double, 3> high{-Infinity, -Infinity, -Infinity}; ///< the high corner

  /// Those of a further part, about the same point.
  void Add(SFMeshMoments const& iPart);

private:
  static constexpr double Infinity = std::numeric_limits<double>::infinity();
};

/// What moments about a point make; zeros where there is no vertex.
SF_TOOLS_EXPORT SFMassProperties MassPropertiesFrom(SFMeshMoments const& iMoments, std::array<double, 3> const& iAbout);

/// Of the solid within a box, by a mesh of it that MeshField made, capped: to each triangle is added what is between it and
/// the surface, by a look at the field in the middles of its edges. Where the surface is smooth the error falls with the
/// fourth power of the voxel, that of the mesh itself with the second. The same for any number of threads. SFModelError;
/// SFCancelled.
SF_TOOLS_EXPORT SFMeshMoments MeshMomentsOf(SFMesh const& iMesh, SFField const& iField, ZULMathBox const& iBox,
                                            std::array<double, 3> const& iAbout, SFWorkOptions const& iOptions = {});

/// Progress and cancelling as for all work.
struct SFMeasureOptions : SFWorkOptions
{
  /// Also looks for the smallest wall.
  bool hasWall = true;
};

/// What is known of a solid from a mesh of it. Volume, area and centre are those of the surface, not of the chords that the
/// mesh has for it (MeshMomentsOf). Errors are estimated from a second mesh with voxels twice as large: of a surface that both
/// resolve, the error of the fine one is less than a third of the difference, and the difference is stated.
struct SFSolidMeasures
{
  SFMeasure volume;                ///< unit^3
  SFMeasure area;                  ///< unit^2, what is cut by the box included
  std::array<SFMeasure, 3> centre; ///< of the volume, assumed to be of one density
  std::array<SFMeasure, 3> low;    ///< of the bounding box
  std::array<SFMeasure, 3> high;   ///< of the bounding box
  /// The thinnest place of the solid that was met by going inwards from the vertices along the normals, and where;
  /// absent when not asked for. Walls thinner than a voxel may be missed.
  std::optional<SFMeasure> wall;
  std::array<double, 3> wallAt{}; ///< where that wall is; no meaning without one
  SFMeshTopology topology;        ///< of the finer mesh
  SFMeshingReport report;         ///< of the finer mesh
};

/// Volume, area, centre and box alone, from two meshes that others have made and summed: see MeasureMeshes. `iReport` is of the
/// finer one, and has its place in the result.
SF_TOOLS_EXPORT SFSolidMeasures MeasureProperties(SFMassProperties const& iFine, SFMassProperties const& iCoarse,
                                                  SFMeshingReport const& iReport);

/// As MeasureField, for those who have made the two meshes of it themselves, capped. `iCoarse` has voxels twice as large, and is
/// empty where these find no surface. SFCancelled.
SF_TOOLS_EXPORT SFSolidMeasures MeasureMeshes(SFField const& iField, ZULMathBox const& iBox, SFMesh const& iFine,
                                              SFMeshingReport const& iReport, SFMesh const& iCoarse,
                                              SFMeasureOptions const& iOptions = {});

/// Measures the solid within a box, capped there. Errors as MeshField.
SF_TOOLS_EXPORT SFSolidMeasures MeasureField(SFField const& iField, ZULMathBox const& iBox, double iVoxel,
                                             SFMeasureOptions const& iOptions = {});

} // namespace SF
