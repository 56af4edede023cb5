#pragma once

#include "SFMeshFiles.h"
#include "SFVector3.h"

#include <array>
#include <cstdint>
#include <vector>

namespace SF {

/// The formats that are written piece by piece.
struct SFMeshFileSink::Writer
{
  virtual ~Writer() = default;
  virtual void Expect(double iVertices) = 0;
  virtual void Add(SFMeshPiece const& iPiece) = 0;
  /// Fills in what is known in the end only.
  virtual void Finish() = 0;
};

/// What a mesh has in all; without it the counts are filled in at the end, which takes a regular file.
struct SFMeshCounts
{
  std::uint64_t vertices = 0;
  std::uint64_t triangles = 0;
};

// Each writes to `ioFile`, which with the options outlives the writer.
std::unique_ptr<SFMeshFileSink::Writer> MakeStlWriter(SFOutputFile& ioFile, SFMeshFileOptions const& iOptions,
                                                      SFMeshCounts const* iCounts);
std::unique_ptr<SFMeshFileSink::Writer> MakePlyWriter(SFOutputFile& ioFile, SFMeshFileOptions const& iOptions,
                                                      SFMeshCounts const* iCounts);
void WriteObj(SFMesh const& iMesh, SFOutputFile& ioFile, SFMeshFileOptions const& iOptions);
void Write3mf(SFMesh const& iMesh, SFOutputFile& ioFile, SFMeshFileOptions const& iOptions);
void WriteGlb(SFMesh const& iMesh, SFOutputFile& ioFile, SFMeshFileOptions const& iOptions);

/// Normals for the corners of triangles, so that edges look sharp: corners whose triangle is turned away from the normal of
/// their vertex have one of their own, shared by those that are alike.
struct SFCornerNormals
{
  explicit SFCornerNormals(SFMesh const& iMesh);

  std::vector<std::array<float, 3>> normals;
  std::vector<std::uint32_t> vertexOf;               ///< of each normal
  std::vector<std::array<std::uint32_t, 3>> corners; ///< of each triangle, its normals
};

} // namespace SF
