#include "SFMeshWriters.h"
#include "SFToolsErrors.h"
#include "SFWork.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>
#include <limits>

namespace SF {
namespace {

using Json = nlohmann::ordered_json;

// The constants of glTF 2.0.
constexpr int ArrayBuffer = 34962;
constexpr int ElementArrayBuffer = 34963;
constexpr int FloatType = 5126;
constexpr int UnsignedIntType = 5125;
constexpr std::uint32_t JsonChunk = 0x4E4F534A;
constexpr std::uint32_t BinaryChunk = 0x004E4942;

/// The smallest and the largest coordinates along each axis, as floats, which viewers compare with the data.
std::array<std::array<float, 3>, 2> Extent(std::vector<std::array<float, 3>> const& iPoints)
{
  auto low = iPoints.front();
  auto high = low;
  for (auto const& point : iPoints)
    for (std::size_t axis = 0; axis < 3; ++axis) {
      low[axis] = std::min(low[axis], point[axis]);
      high[axis] = std::max(high[axis], point[axis]);
    }
  return {low, high};
}

Json Scene(SFMeshFileOptions const& iOptions)
{
  double const metres = MetresOf(iOptions.unit);
  double const half = std::sqrt(0.5);
  return {
      {"asset", {{"version", "2.0"}, {"generator", "SF"}}},
      {"scene", 0},
      {"scenes", Json::array({{{"nodes", {0}}}})},
      // glTF is in metres and has y upwards, the model z.
      {"nodes", Json::array({{{"name", iOptions.name},
                              {"mesh", 0},
                              {"rotation", {-half, 0.0, 0.0, half}},
                              {"scale", {metres, metres, metres}}}})},
      {"materials",
       Json::array(
           {{{"pbrMetallicRoughness",
              {{"baseColorFactor", {0.72, 0.74, 0.78, 1.0}}, {"metallicFactor", 0.1}, {"roughnessFactor", 0.6}}}}})}};
}

Json Geometry(std::vector<std::array<float, 3>> const& iPoints, std::size_t iTriangles, Json iScene)
{
  std::size_t const attribute = 12 * iPoints.size();
  auto const [low, high] = Extent(iPoints);
  iScene["meshes"] = Json::array(
      {{{"primitives",
         Json::array({{{"attributes", {{"POSITION", 0}, {"NORMAL", 1}}}, {"indices", 2}, {"material", 0}}})}}});
  iScene["buffers"] = Json::array({{{"byteLength", 2 * attribute + 12 * iTriangles}}});
  iScene["bufferViews"] =
      Json::array({{{"buffer", 0}, {"byteOffset", 0}, {"byteLength", attribute}, {"target", ArrayBuffer}},
                   {{"buffer", 0}, {"byteOffset", attribute}, {"byteLength", attribute}, {"target", ArrayBuffer}},
                   {{"buffer", 0},
                    {"byteOffset", 2 * attribute},
                    {"byteLength", 12 * iTriangles},
                    {"target", ElementArrayBuffer}}});
  iScene["accessors"] = Json::array(
      {{{"bufferView", 0},
        {"componentType", FloatType},
        {"count", iPoints.size()},
        {"type", "VEC3"},
        {"min", low},
        {"max", high}},
       {{"bufferView", 1}, {"componentType", FloatType}, {"count", iPoints.size()}, {"type", "VEC3"}},
       {{"bufferView", 2}, {"componentType", UnsignedIntType}, {"count", 3 * iTriangles}, {"type", "SCALAR"}}});
  return iScene;
}

void WriteAll(std::vector<std::array<float, 3>> const& iRecords, SFOutputFile& ioFile)
{
  ioFile.Write(std::span<float const>(iRecords.front().data(), 3 * iRecords.size()));
}

} // namespace

void WriteGlb(SFMesh const& iMesh, SFOutputFile& ioFile, SFMeshFileOptions const& iOptions)
{
  SFCornerNormals const shading(iMesh);
  ThrowIfCancelled(iOptions);
  std::vector<std::array<float, 3>> points;
  points.reserve(shading.vertexOf.size());
  for (std::uint32_t const vertex : shading.vertexOf)
    points.push_back(AsFloats(iMesh.vertices[vertex]));
  auto normals = shading.normals;
  for (auto& normal : normals)
    if (normal == std::array<float, 3>{})
      normal = {0.0F, 0.0F, 1.0F}; // the format demands a length of 1

  std::string json = Geometry(points, iMesh.triangles.size(), Scene(iOptions)).dump();
  json.resize((json.size() + 3) / 4 * 4, ' ');
  std::uint64_t const binary = 24 * std::uint64_t{points.size()} + 12 * std::uint64_t{iMesh.triangles.size()};
  std::uint64_t const total = 12 + 8 + json.size() + 8 + binary;
  if (total > std::numeric_limits<std::uint32_t>::max())
    throw SFFileError(ioFile.GetName(), "more than the 4 GiB that a GLB file can hold");
  auto const write = [&ioFile](std::initializer_list<std::uint32_t> iNumbers) {
    ioFile.Write(std::span<std::uint32_t const>(iNumbers.begin(), iNumbers.size()));
  };
  write({0x46546C67, 2, static_cast<std::uint32_t>(total), static_cast<std::uint32_t>(json.size()), JsonChunk});
  ioFile.Write(json);
  write({static_cast<std::uint32_t>(binary), BinaryChunk});
  WriteAll(points, ioFile);
  WriteAll(normals, ioFile);
  ThrowIfCancelled(iOptions);
  ioFile.Write(std::span<std::uint32_t const>(shading.corners.front().data(), 3 * shading.corners.size()));
}

} // namespace SF
