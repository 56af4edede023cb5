#pragma once

#include "SFMesh.h"
#include "SFMeshing.h"
#include "SFOutputFile.h"
#include "SFSampling.h"
#include "SFToolsExport.h"
#include "SFWorkOptions.h"

#include <array>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>

namespace SF {

/// Formats of meshes.
enum class SFMeshFormat
{
  Stl,     ///< binary; single precision
  Ply,     ///< binary, little-endian; double precision, with normals
  Obj,     ///< text; 9 digits, with normals
  ThreeMf, ///< for slicers, with the unit, or a smaller one for very fine meshes; single precision
  Glb      ///< binary glTF 2.0, with normals, in metres with y upwards
};

/// The extensions of the formats: ".stl", ".ply", ".obj", ".3mf", ".glb". Static memory.
SF_TOOLS_EXPORT std::span<std::string_view const> MeshExtensions();

/// By the extension of a file's name, in any case. std::invalid_argument, naming all of them, for
/// another one.
SF_TOOLS_EXPORT SFMeshFormat MeshFormatOf(std::string_view iPath);

/// Progress and cancelling as for all work.
struct SFMeshFileOptions : SFWorkOptions
{
  SFLengthUnit unit = SFLengthUnit::Millimetre; ///< of the mesh; formats without units hold the numbers as they are
  std::string name = "part";                    ///< of the object, where the format has one
};

/// Writes a mesh; the file is the caller's to commit. SFFileError, SFCancelled, and std::invalid_argument for a mesh
/// without triangles or with more of them than the format can count.
SF_TOOLS_EXPORT void WriteMesh(SFMesh const& iMesh, SFMeshFormat iFormat, SFOutputFile& ioFile,
                               SFMeshFileOptions const& iOptions = {});

/// The bytes of an STL or PLY file, for those who put it together themselves: after the header come all vertices, where the
/// format has a list of them, then all triangles.
class SF_TOOLS_EXPORT SFMeshFileParts
{
public:
  /// std::invalid_argument for the other formats.
  SFMeshFileParts(SFMeshFormat iFormat, SFMeshFileOptions const& iOptions);
  /// Bytes of a vertex; 0 without a list.
  std::uint64_t GetVertexSize() const;
  /// Bytes of a triangle.
  std::uint64_t GetTriangleSize() const;
  /// What a file with so many of them begins with. std::invalid_argument for more triangles than the format can count.
  std::string Header(std::uint64_t iVertices, std::uint64_t iTriangles) const;
  /// The vertices of a piece.
  std::string Vertices(SFMeshPiece const& iPiece) const;
  /// Its triangles. `iBelow` are the vertices just before its first one, which they may use.
  std::string Triangles(SFMeshPiece const& iPiece, std::span<std::array<double, 3> const> iBelow) const;

private:
  bool _isStl;
  SFMeshFileOptions _options;
};

/// Writes a mesh piece by piece, as MeshField makes it: STL and PLY. The file belongs to the caller, who commits it
/// after Finish. It must be a regular file, as counts are filled in at the end. The triangles of a PLY are gathered in
/// a second, nameless file.
class SF_TOOLS_EXPORT SFMeshFileSink : public SFMeshSink
{
public:
  /// std::invalid_argument for the other formats.
  SFMeshFileSink(SFMeshFormat iFormat, SFOutputFile& ioFile, SFMeshFileOptions const& iOptions = {});
  ~SFMeshFileSink() override;
  /// SFFileError when the disk has no room for so many.
  void Expect(double iVertices) override;
  /// Writes a piece. SFFileError.
  void Add(SFMeshPiece const& iPiece) override;
  /// Fills in the counts, after the last piece. SFFileError, also for more triangles than the format can count.
  void Finish();

  struct Writer; ///< for the sources of the tools

private:
  std::unique_ptr<Writer> _writer;
};

} // namespace SF
