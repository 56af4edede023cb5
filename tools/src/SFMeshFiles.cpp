#include "SFMeshFiles.h"

#include "SFMeshWriters.h"
#include "SFNameTable.h"

#include <algorithm>
#include <array>
#include <limits>
#include <stdexcept>

namespace SF {
namespace {

constexpr SFNameTable<SFMeshFormat, 5> Formats{
    {SFMeshFormat::Stl, SFMeshFormat::Ply, SFMeshFormat::Obj, SFMeshFormat::ThreeMf, SFMeshFormat::Glb},
    {".stl", ".ply", ".obj", ".3mf", ".glb"}};

std::unique_ptr<SFMeshFileSink::Writer> MakeWriter(SFMeshFormat iFormat, SFOutputFile& ioFile,
                                                   SFMeshFileOptions const& iOptions, SFMeshCounts const* iCounts)
{
  switch (iFormat) {
  case SFMeshFormat::Stl:
    return MakeStlWriter(ioFile, iOptions, iCounts);
  case SFMeshFormat::Ply:
    return MakePlyWriter(ioFile, iOptions, iCounts);
  case SFMeshFormat::Obj:
  case SFMeshFormat::ThreeMf:
  case SFMeshFormat::Glb:
    break;
  }
  throw std::invalid_argument("format: only STL and PLY can be written in parts");
}

} // namespace

std::span<std::string_view const> MeshExtensions() { return Formats.names; }

SFMeshFormat MeshFormatOf(std::string_view iPath)
{
  return Formats.Find(ExtensionOf(iPath), "mesh: '" + std::string(iPath) + "' does not end in");
}

void WriteMesh(SFMesh const& iMesh, SFMeshFormat iFormat, SFOutputFile& ioFile, SFMeshFileOptions const& iOptions)
{
  if (iMesh.triangles.empty())
    throw std::invalid_argument("mesh: there are no triangles");
  if (iMesh.vertices.size() > std::numeric_limits<std::uint32_t>::max() ||
      iMesh.triangles.size() > std::numeric_limits<std::uint32_t>::max())
    throw std::invalid_argument("mesh: more triangles than a file can count");
  switch (iFormat) {
  case SFMeshFormat::Stl:
  case SFMeshFormat::Ply: {
    SFMeshCounts const counts{iMesh.vertices.size(), iMesh.triangles.size()};
    auto const writer = MakeWriter(iFormat, ioFile, iOptions, &counts);
    writer->Add({iMesh.vertices, iMesh.normals, iMesh.triangles, 0});
    return writer->Finish();
  }
  case SFMeshFormat::Obj:
    return WriteObj(iMesh, ioFile, iOptions);
  case SFMeshFormat::ThreeMf:
    return Write3mf(iMesh, ioFile, iOptions);
  case SFMeshFormat::Glb:
    return WriteGlb(iMesh, ioFile, iOptions);
  }
}

SFMeshFileSink::SFMeshFileSink(SFMeshFormat iFormat, SFOutputFile& ioFile, SFMeshFileOptions const& iOptions)
  : _writer(MakeWriter(iFormat, ioFile, iOptions, nullptr))
{
}
SFMeshFileSink::~SFMeshFileSink() = default;
void SFMeshFileSink::Expect(double iVertices) { _writer->Expect(iVertices); }
void SFMeshFileSink::Add(SFMeshPiece const& iPiece) { _writer->Add(iPiece); }
void SFMeshFileSink::Finish() { _writer->Finish(); }

SFCornerNormals::SFCornerNormals(SFMesh const& iMesh) : vertexOf(iMesh.vertices.size()), corners(iMesh.triangles)
{
  constexpr double sharpCosine = 0.9;
  constexpr std::uint32_t none = std::numeric_limits<std::uint32_t>::max();
  normals = iMesh.normals;
  normals.resize(iMesh.vertices.size());                 // 0, which agrees with no triangle
  std::vector<std::uint32_t> next(normals.size(), none); // further normals of the same vertex
  for (std::uint32_t vertex = 0; vertex < vertexOf.size(); ++vertex)
    vertexOf[vertex] = vertex;
  for (auto& triangle : corners) {
    auto const [a, b, c] = triangle;
    SFVector3 const normal = Unit(Cross(iMesh.vertices[b] - iMesh.vertices[a], iMesh.vertices[c] - iMesh.vertices[a]));
    if (normal == SFVector3{})
      continue;
    for (std::uint32_t& corner : triangle) {
      std::uint32_t const vertex = corner;
      while (Dot(normal, AsDoubles(normals[corner])) < sharpCosine && next[corner] != none)
        corner = next[corner];
      if (Dot(normal, AsDoubles(normals[corner])) >= sharpCosine)
        continue;
      next[corner] = static_cast<std::uint32_t>(normals.size());
      corner = next[corner];
      next.push_back(none);
      normals.push_back(AsFloats(normal));
      vertexOf.push_back(vertex);
    }
  }
}

} // namespace SF
