#include "ViewMesh.h"

#include "SFMeshMeasure.h"
#include "SFMeshing.h"
#include "SFSampling.h"
#include "SFToolsErrors.h"

#include <bit>
#include <chrono>
#include <cmath>
#include <cstring>
#include <span>
#include <unordered_map>

namespace SFHost {
namespace {

static_assert(std::endian::native == std::endian::little, "packed meshes are little-endian");

using Vector = std::array<float, 3>;

/// What a mesh is drawn from: vertices with one normal each.
struct Drawing
{
  std::vector<Vector> vertices;
  std::vector<Vector> normals;
  std::vector<std::array<std::uint32_t, 3>> triangles;
  std::vector<std::uint32_t> sources; ///< of each vertex, its number in the mesh
};

ZULMathPoint MiddleOf(ZULMathBox const& iBox)
{
  return {0.5 * (iBox.low.x + iBox.high.x), 0.5 * (iBox.low.y + iBox.high.y), 0.5 * (iBox.low.z + iBox.high.z)};
}

Vector FaceNormal(Vector const& iA, Vector const& iB, Vector const& iC)
{
  Vector const u{iB[0] - iA[0], iB[1] - iA[1], iB[2] - iA[2]};
  Vector const v{iC[0] - iA[0], iC[1] - iA[1], iC[2] - iA[2]};
  Vector const n{u[1] * v[2] - u[2] * v[1], u[2] * v[0] - u[0] * v[2], u[0] * v[1] - u[1] * v[0]};
  float const length = std::sqrt(n[0] * n[0] + n[1] * n[1] + n[2] * n[2]);
  return length > 0.0F ? Vector{n[0] / length, n[1] / length, n[2] / length} : Vector{};
}

/// Gives corners whose face is turned away from the normal of their vertex a vertex of their own, shared by the faces there that
/// look the same way.
class Creases
{
public:
  explicit Creases(Drawing& ioDrawing) : _drawing(ioDrawing) {}

  std::uint32_t CornerOf(std::uint32_t iVertex, Vector const& iFace)
  {
    constexpr float cosine = 0.82F; // of 35 degrees
    Vector const& normal = _drawing.normals[iVertex];
    if (normal[0] * iFace[0] + normal[1] * iFace[1] + normal[2] * iFace[2] >= cosine || iFace == Vector{})
      return iVertex;
    auto const [place, isNew] =
        _corners.try_emplace(KeyOf(iVertex, iFace), static_cast<std::uint32_t>(_drawing.vertices.size()));
    if (isNew) {
      _drawing.vertices.push_back(Vector(_drawing.vertices[iVertex]));
      _drawing.normals.push_back(iFace);
      _drawing.sources.push_back(iVertex);
    }
    return place->second;
  }

private:
  static std::uint64_t KeyOf(std::uint32_t iVertex, Vector const& iFace)
  {
    constexpr float steps = 8.0F;
    std::uint64_t key = iVertex;
    for (float const component : iFace)
      key = key << 5 | static_cast<std::uint64_t>(std::lround(component * steps) + 8);
    return key;
  }

  Drawing& _drawing;
  std::unordered_map<std::uint64_t, std::uint32_t> _corners;
};

Drawing Draw(SF::SFMesh const& iMesh, ZULMathPoint const& iOrigin)
{
  Drawing drawing;
  drawing.vertices.reserve(iMesh.vertices.size());
  for (std::uint32_t n = 0; auto const& [x, y, z] : iMesh.vertices) {
    drawing.vertices.push_back(
        {static_cast<float>(x - iOrigin.x), static_cast<float>(y - iOrigin.y), static_cast<float>(z - iOrigin.z)});
    drawing.sources.push_back(n++);
  }
  drawing.normals = iMesh.normals;
  drawing.triangles = iMesh.triangles;
  Creases creases(drawing);
  for (auto& corners : drawing.triangles) {
    Vector const face =
        FaceNormal(drawing.vertices[corners[0]], drawing.vertices[corners[1]], drawing.vertices[corners[2]]);
    for (std::uint32_t& corner : corners)
      corner = creases.CornerOf(corner, face);
  }
  return drawing;
}

/// The mean curvature at the vertices of a drawing.
std::vector<float> CurvaturesOf(SF::SFField const& iField, SF::SFMesh const& iMesh, Drawing const& iDrawing,
                                SF::SFWorkOptions const& iWork)
{
  constexpr std::size_t each = 4;
  constexpr std::size_t mean = 2;
  std::array<std::vector<double>, 3> points;
  for (auto const& vertex : iMesh.vertices)
    for (std::size_t axis = 0; axis < 3; ++axis)
      points[axis].push_back(vertex[axis]);
  std::vector<double> all(each * iMesh.vertices.size());
  HRESULT const code = iField.Compile(iWork)->EvaluateCurvature(iMesh.vertices.size(), points[0].data(),
                                                                points[1].data(), points[2].data(), all.data());
  if (code == E_ABORT)
    throw SF::SFCancelled();
  Require(code, "the model", "its curvature cannot be computed");
  std::vector<float> curvatures;
  curvatures.reserve(iDrawing.sources.size());
  for (std::uint32_t const source : iDrawing.sources)
    curvatures.push_back(static_cast<float>(all[each * source + mean]));
  return curvatures;
}

template <class Item>
void Append(std::string& ioBytes, std::vector<Item> const& iItems)
{
  if (!iItems.empty())
    ioBytes.append(reinterpret_cast<char const*>(iItems.data()), iItems.size() * sizeof(Item));
}

Json PointAsJson(ZULMathPoint const& iPoint) { return {iPoint.x, iPoint.y, iPoint.z}; }

Json TopologyAsJson(SF::SFMeshTopology const& iTopology)
{
  return {{"components", iTopology.components - iTopology.cavities},
          {"cavities", iTopology.cavities},
          {"genus", iTopology.genus},
          {"watertight", iTopology.IsWatertight()}};
}

Json MeasuresAsJson(SF::SFMesh const& iMesh)
{
  SF::SFMassProperties const mass = SF::MassPropertiesOf(iMesh);
  return {{"volume", JsonNumber(mass.volume)},
          {"area", JsonNumber(mass.area)},
          {"centre", mass.centre},
          {"low", PointAsJson(mass.box.low)},
          {"high", PointAsJson(mass.box.high)},
          {"topology", TopologyAsJson(SF::TopologyOf(iMesh))}};
}

std::string PackParts(Json const& iHead, Drawing const& iDrawing, std::vector<float> const& iCurvatures)
{
  std::string text = TextOf(iHead);
  text.append((4 - text.size() % 4) % 4, ' ');
  auto const length = static_cast<std::uint32_t>(text.size());
  std::string bytes(reinterpret_cast<char const*>(&length), sizeof length);
  bytes += text;
  Append(bytes, iDrawing.vertices);
  Append(bytes, iDrawing.normals);
  Append(bytes, iDrawing.triangles);
  Append(bytes, iCurvatures);
  return bytes;
}

Json MeasureAsJson(SF::SFMeasure const& iMeasure)
{
  return {{"value", JsonNumber(iMeasure.value)}, {"error", JsonNumber(iMeasure.error)}};
}

} // namespace

SF::SFWorkOptions ViewMesher::WorkOptions(std::atomic<bool> const& iCancel) const
{
  SF::SFWorkOptions options = _common.ForTools();
  options.cancel = &iCancel;
  return options;
}

std::string ViewMesher::Pack(ViewField const& iModel, ViewMeshOptions const& iOptions,
                             std::atomic<bool> const& iCancel) const
{
  auto const begin = std::chrono::steady_clock::now();
  ZULMathBox const box = _box.BoxOf({"the model", iModel.field});
  ZULMathPoint const origin = MiddleOf(box);
  SF::SFMeshingOptions meshing;
  static_cast<SF::SFWorkOptions&>(meshing) = WorkOptions(iCancel);
  SF::SFMeshingReport report;
  SF::SFMesh const mesh = SF::MeshField(iModel.field, box, SF::VoxelFor(box, iOptions.cells), meshing, &report);
  Drawing const drawing = Draw(mesh, origin);
  std::vector<float> curvatures;
  if (iOptions.hasCurvature)
    curvatures = CurvaturesOf(iModel.field, mesh, drawing, meshing);

  Json head = {{"vertices", drawing.vertices.size()},
               {"triangles", drawing.triangles.size()},
               {"origin", PointAsJson(origin)},
               {"box", {PointAsJson(box.low), PointAsJson(box.high)}},
               {"cells", iOptions.cells},
               {"voxel", report.voxel},
               {"deviation", JsonNumber(report.surfaceDistance)},
               {"curvature", iOptions.hasCurvature},
               {"parameters", ParametersAsJson(iModel.parameters)},
               {"problems", ProblemsAsJson(iModel.warnings)}};
  if (iOptions.isMeasured)
    head["measures"] = MeasuresAsJson(mesh);
  head["milliseconds"] = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - begin).count();
  return PackParts(head, drawing, curvatures);
}

Json ViewMesher::Measure(ViewField const& iModel, std::uint32_t iCells, std::atomic<bool> const& iCancel) const
{
  ZULMathBox const box = _box.BoxOf({"the model", iModel.field});
  SF::SFMeasureOptions options;
  static_cast<SF::SFWorkOptions&>(options) = WorkOptions(iCancel);
  SF::SFSolidMeasures const measures = SF::MeasureField(iModel.field, box, SF::VoxelFor(box, iCells), options);
  Json result = {{"volume", MeasureAsJson(measures.volume)},
                 {"area", MeasureAsJson(measures.area)},
                 {"topology", TopologyAsJson(measures.topology)}};
  if (measures.wall) {
    result["wall"] = MeasureAsJson(*measures.wall);
    result["wallAt"] = measures.wallAt;
  }
  return result;
}

std::string TextOf(Json const& iJson) { return iJson.dump(-1, ' ', false, Json::error_handler_t::replace); }

Json ParametersAsJson(std::vector<SF::SFParameterInfo> const& iParameters)
{
  Json list = Json::array();
  for (auto const& [name, value, low, high] : iParameters)
    list.push_back(
        {{"name", name}, {"value", JsonNumber(value)}, {"low", JsonNumber(low)}, {"high", JsonNumber(high)}});
  return list;
}

Json ProblemsAsJson(std::vector<TextProblem> const& iProblems)
{
  Json list = Json::array();
  for (TextProblem const& problem : iProblems) {
    Json entry = {{"sentence", problem.sentence}, {"severity", problem.isError ? "error" : "warning"}};
    if (problem.hasPlace) {
      entry["offset"] = problem.offset;
      entry["length"] = problem.length;
    }
    list.push_back(std::move(entry));
  }
  return list;
}

} // namespace SFHost
