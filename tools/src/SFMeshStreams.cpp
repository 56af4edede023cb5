#include "SFMeshWriters.h"
#include "SFToolsErrors.h"
#include "SFWork.h"

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <stdexcept>
#include <unistd.h>

namespace SF {
namespace {

/// Records that are put together before they are written.
constexpr std::size_t Batch = 8192;

/// Appends numbers in little-endian order.
class Bytes
{
public:
  template <class Number>
  void Add(Number iValue)
  {
    auto bytes = std::bit_cast<std::array<char, sizeof(Number)>>(iValue);
    if constexpr (std::endian::native == std::endian::big)
      std::reverse(bytes.begin(), bytes.end());
    _bytes.append(bytes.data(), bytes.size());
  }
  void Append(std::string_view iText) { _bytes.append(iText); }
  std::string_view Take()
  {
    _taken.swap(_bytes);
    _bytes.clear();
    return _taken;
  }

private:
  std::string _bytes;
  std::string _taken;
};

void AddVector(std::array<float, 3> const& iVector, Bytes& ioBytes)
{
  for (float const value : iVector)
    ioBytes.Add(value);
}

constexpr std::size_t StlCountPosition = 80;

std::string StlHeader(SFMeshFileOptions const& iOptions)
{
  std::string header("binary STL, unit " + std::string(SymbolOf(iOptions.unit))); // must not begin with "solid"
  header.resize(StlCountPosition, ' ');
  return header;
}

/// The corner as it is written. Not inlined: where GCC 12 vectorises what follows, it takes the way to float and back away
/// (-fno-tree-slp-vectorize would keep it).
[[gnu::noinline]] std::array<float, 3> Rounded(SFVector3 const& iCorner) { return AsFloats(iCorner); }

/// The normal is that of the corners as they are written.
void AddStlTriangle(std::array<SFVector3, 3> const& iCorners, Bytes& ioBytes)
{
  std::array<std::array<float, 3>, 3> const corners{Rounded(iCorners[0]), Rounded(iCorners[1]), Rounded(iCorners[2])};
  SFVector3 const origin = AsDoubles(corners[0]);
  AddVector(AsFloats(Unit(Cross(AsDoubles(corners[1]) - origin, AsDoubles(corners[2]) - origin))), ioBytes);
  for (auto const& corner : corners)
    AddVector(corner, ioBytes);
  ioBytes.Add(std::uint16_t{0});
}

/// Counts have a fixed width: the comment is filled up.
std::string PlyHeader(SFMeshFileOptions const& iOptions, std::uint64_t iVertices, std::uint64_t iTriangles)
{
  std::string const vertices = std::to_string(iVertices);
  std::string const triangles = std::to_string(iTriangles);
  std::string const filling(40 - vertices.size() - triangles.size(), '.');
  return "ply\nformat binary_little_endian 1.0\ncomment unit " + std::string(SymbolOf(iOptions.unit)) + " " + filling +
         "\nelement vertex " + vertices +
         "\nproperty double x\nproperty double y\nproperty double z\n"
         "property float nx\nproperty float ny\nproperty float nz\nelement face " +
         triangles + "\nproperty list uchar uint vertex_indices\nend_header\n";
}

void AddPlyVertex(SFMeshPiece const& iPiece, std::size_t iVertex, Bytes& ioBytes)
{
  for (double const coordinate : iPiece.vertices[iVertex])
    ioBytes.Add(coordinate);
  AddVector(iPiece.normals.empty() ? std::array<float, 3>{} : iPiece.normals[iVertex], ioBytes);
}

void AddPlyTriangle(SFMeshPiece const& iPiece, std::size_t iTriangle, Bytes& ioBytes)
{
  ioBytes.Add(std::uint8_t{3});
  for (std::uint32_t const vertex : iPiece.triangles[iTriangle])
    ioBytes.Add(vertex);
}

/// Several threads call `iAdd(number, bytes)` for all numbers below `iCount`; `iWrite(bytes)` gets them in order.
template <class Add, class Write>
void InBatches(std::size_t iCount, SFWorkOptions const& iOptions, Add iAdd, Write iWrite)
{
  constexpr std::size_t atOnce = 32;
  std::vector<Bytes> bytes(std::min(atOnce, (iCount + Batch - 1) / Batch));
  for (std::size_t begin = 0; begin < iCount; begin += bytes.size() * Batch) {
    std::size_t const end = std::min(begin + bytes.size() * Batch, iCount);
    ForEach((end - begin + Batch - 1) / Batch, iOptions, [&](std::size_t iBatch, unsigned int) {
      std::size_t const first = begin + iBatch * Batch;
      for (std::size_t i = first; i < std::min(first + Batch, end); ++i)
        iAdd(i, bytes[iBatch]);
    });
    for (Bytes& batch : bytes)
      iWrite(batch.Take());
  }
}

class StlWriter : public SFMeshFileSink::Writer
{
public:
  StlWriter(SFOutputFile& ioFile, SFMeshFileOptions const& iOptions, SFMeshCounts const* iCounts)
    : _file(ioFile), _options(iOptions), _isCounted(iCounts != nullptr)
  {
    _file.Write(StlHeader(iOptions));
    _bytes.Add(_isCounted ? static_cast<std::uint32_t>(iCounts->triangles) : std::uint32_t{0});
    _file.Write(_bytes.Take());
  }

  void Expect(double iVertices) override { _file.RequireRoom(100.0 * iVertices); } // two triangles each

  void Add(SFMeshPiece const& iPiece) override
  {
    auto const vertex = [&](std::uint32_t iNumber) {
      return iNumber < iPiece.firstVertex ? _before[iNumber - _firstBefore]
                                          : iPiece.vertices[iNumber - iPiece.firstVertex];
    };
    InBatches(
        iPiece.triangles.size(), _options,
        [&](std::size_t iTriangle, Bytes& ioBytes) {
          auto const& [a, b, c] = iPiece.triangles[iTriangle];
          AddStlTriangle({vertex(a), vertex(b), vertex(c)}, ioBytes);
        },
        [this](std::string_view iBytes) { _file.Write(iBytes); });
    _triangles += iPiece.triangles.size();
    if (_isCounted)
      return;
    _before.assign(iPiece.vertices.begin(), iPiece.vertices.end());
    _firstBefore = iPiece.firstVertex;
  }

  void Finish() override
  {
    if (_isCounted)
      return;
    if (_triangles > std::numeric_limits<std::uint32_t>::max())
      throw SFFileError(_file.GetName(), "more triangles than an STL file can count");
    _bytes.Add(static_cast<std::uint32_t>(_triangles));
    _file.Overwrite(StlCountPosition, _bytes.Take());
  }

private:
  SFOutputFile& _file;
  SFMeshFileOptions const _options;
  bool _isCounted;
  Bytes _bytes;
  std::vector<SFVector3> _before; ///< the vertices of the last piece
  std::uint32_t _firstBefore = 0;
  std::uint64_t _triangles = 0;
};

/// A file without a name, in the folder of another one: it is gone when it is closed.
class NamelessFile
{
public:
  explicit NamelessFile(SFOutputFile const& iBeside) : _name(iBeside.GetName())
  {
    std::string path = iBeside.GetTemporaryPath();
    path += ".XXXXXX";
    int const descriptor = mkstemp(path.data());
    if (descriptor < 0)
      throw SFFileError(_name, errno);
    unlink(path.c_str());
    _file = fdopen(descriptor, "w+b");
    if (_file == nullptr)
      throw SFFileError(_name, errno);
  }
  NamelessFile(NamelessFile const&) = delete;
  NamelessFile& operator=(NamelessFile const&) = delete;
  ~NamelessFile() { std::fclose(_file); }

  void Write(std::string_view iBytes)
  {
    if (std::fwrite(iBytes.data(), 1, iBytes.size(), _file) != iBytes.size())
      throw SFFileError(_name, errno);
  }
  void CopyTo(SFOutputFile& ioFile, SFWorkOptions const& iOptions)
  {
    if (std::fflush(_file) != 0)
      throw SFFileError(_name, errno);
    std::rewind(_file);
    std::string bytes(std::size_t{1} << 20, '\0');
    while (std::size_t const count = std::fread(bytes.data(), 1, bytes.size(), _file)) {
      ThrowIfCancelled(iOptions);
      ioFile.Write(std::string_view(bytes).substr(0, count));
    }
    if (std::ferror(_file) != 0)
      throw SFFileError(_name, errno);
  }

private:
  std::string _name;
  std::FILE* _file = nullptr;
};

class PlyWriter : public SFMeshFileSink::Writer
{
public:
  PlyWriter(SFOutputFile& ioFile, SFMeshFileOptions const& iOptions, SFMeshCounts const* iCounts)
    : _file(ioFile), _options(iOptions), _isCounted(iCounts != nullptr)
  {
    if (!_isCounted) {
      if (ioFile.GetTemporaryPath().empty())
        throw SFFileError(ioFile.GetName(), "a PLY file that is written in parts must be a regular file");
      _faces = std::make_unique<NamelessFile>(ioFile);
    }
    SFMeshCounts const counts = _isCounted ? *iCounts : SFMeshCounts{};
    _file.Write(PlyHeader(_options, counts.vertices, counts.triangles));
  }

  void Expect(double iVertices) override { _file.RequireRoom((36.0 + 2.0 * 26.0) * iVertices); } // triangles twice

  void Add(SFMeshPiece const& iPiece) override
  {
    InBatches(
        iPiece.vertices.size(), _options,
        [&](std::size_t iVertex, Bytes& ioBytes) { AddPlyVertex(iPiece, iVertex, ioBytes); },
        [this](std::string_view iBytes) { _file.Write(iBytes); });
    InBatches(
        iPiece.triangles.size(), _options,
        [&](std::size_t iTriangle, Bytes& ioBytes) { AddPlyTriangle(iPiece, iTriangle, ioBytes); },
        [this](std::string_view iBytes) { _isCounted ? _file.Write(iBytes) : _faces->Write(iBytes); });
    _counts.vertices += iPiece.vertices.size();
    _counts.triangles += iPiece.triangles.size();
  }

  void Finish() override
  {
    if (_isCounted)
      return;
    _faces->CopyTo(_file, _options);
    _file.Overwrite(0, PlyHeader(_options, _counts.vertices, _counts.triangles));
  }

private:
  SFOutputFile& _file;
  SFMeshFileOptions const _options;
  bool _isCounted;
  std::unique_ptr<NamelessFile> _faces;
  SFMeshCounts _counts;
};

} // namespace

SFMeshFileParts::SFMeshFileParts(SFMeshFormat iFormat, SFMeshFileOptions const& iOptions)
  : _isStl(iFormat == SFMeshFormat::Stl), _options(iOptions)
{
  if (!_isStl && iFormat != SFMeshFormat::Ply)
    throw std::invalid_argument("format: only STL and PLY can be written in parts");
}

std::uint64_t SFMeshFileParts::GetVertexSize() const { return _isStl ? 0 : 3 * sizeof(double) + 3 * sizeof(float); }

std::uint64_t SFMeshFileParts::GetTriangleSize() const { return _isStl ? 12 * sizeof(float) + 2 : 1 + 3 * 4; }

std::string SFMeshFileParts::Header(std::uint64_t iVertices, std::uint64_t iTriangles) const
{
  if (!_isStl)
    return PlyHeader(_options, iVertices, iTriangles);
  if (iTriangles > std::numeric_limits<std::uint32_t>::max())
    throw std::invalid_argument("more triangles than an STL file can count");
  Bytes count;
  count.Add(static_cast<std::uint32_t>(iTriangles));
  return StlHeader(_options).append(count.Take());
}

std::string SFMeshFileParts::Vertices(SFMeshPiece const& iPiece) const
{
  Bytes bytes;
  for (std::size_t vertex = 0; !_isStl && vertex < iPiece.vertices.size(); ++vertex)
    AddPlyVertex(iPiece, vertex, bytes);
  return std::string(bytes.Take());
}

std::string SFMeshFileParts::Triangles(SFMeshPiece const& iPiece, std::span<std::array<double, 3> const> iBelow) const
{
  Bytes bytes;
  auto const at = [&](std::uint32_t iNumber) {
    return iNumber < iPiece.firstVertex ? iBelow[iNumber + iBelow.size() - iPiece.firstVertex]
                                        : iPiece.vertices[iNumber - iPiece.firstVertex];
  };
  for (std::size_t triangle = 0; triangle < iPiece.triangles.size(); ++triangle)
    if (auto const& [a, b, c] = iPiece.triangles[triangle]; _isStl)
      AddStlTriangle({at(a), at(b), at(c)}, bytes);
    else
      AddPlyTriangle(iPiece, triangle, bytes);
  return std::string(bytes.Take());
}

std::unique_ptr<SFMeshFileSink::Writer> MakeStlWriter(SFOutputFile& ioFile, SFMeshFileOptions const& iOptions,
                                                      SFMeshCounts const* iCounts)
{
  return std::make_unique<StlWriter>(ioFile, iOptions, iCounts);
}

std::unique_ptr<SFMeshFileSink::Writer> MakePlyWriter(SFOutputFile& ioFile, SFMeshFileOptions const& iOptions,
                                                      SFMeshCounts const* iCounts)
{
  return std::make_unique<PlyWriter>(ioFile, iOptions, iCounts);
}

void WriteObj(SFMesh const& iMesh, SFOutputFile& ioFile, SFMeshFileOptions const& iOptions)
{
  SFCornerNormals const shading(iMesh);
  ioFile.Write("# unit " + std::string(SymbolOf(iOptions.unit)) + "\no " + iOptions.name + "\n");
  auto const write = [&ioFile](std::string_view iText) { ioFile.Write(iText); };
  InBatches(
      iMesh.vertices.size(), iOptions,
      [&](std::size_t i, Bytes& ioText) {
        char line[128];
        auto const& [x, y, z] = iMesh.vertices[i];
        ioText.Append(
            {line, static_cast<std::size_t>(std::snprintf(line, sizeof line, "v %.9g %.9g %.9g\n", x, y, z))});
      },
      write);
  InBatches(
      shading.normals.size(), iOptions,
      [&](std::size_t i, Bytes& ioText) {
        char line[128];
        auto const [x, y, z] = AsDoubles(shading.normals[i]);
        ioText.Append(
            {line, static_cast<std::size_t>(std::snprintf(line, sizeof line, "vn %.4g %.4g %.4g\n", x, y, z))});
      },
      write);
  InBatches(
      iMesh.triangles.size(), iOptions,
      [&](std::size_t i, Bytes& ioText) {
        std::string text = "f";
        for (std::size_t k = 0; k < 3; ++k)
          text.append(" ")
              .append(std::to_string(std::uint64_t{iMesh.triangles[i][k]} + 1))
              .append("//")
              .append(std::to_string(std::uint64_t{shading.corners[i][k]} + 1));
        ioText.Append(text += '\n');
      },
      write);
}

} // namespace SF
