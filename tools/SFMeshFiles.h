#pragma once

#include "SFMesh.h"
#include "SFMeshing.h"
#include "SFOutputFile.h"
#include "SFSampling.h"
#include "SFToolsExport.h"
#include "SFWorkOptions.h"

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
