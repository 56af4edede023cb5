#include "SFMeshFiles.h"
#include "SFMeshMeasure.h"
#include "SFMeshing.h"
#include "SFSampling.h"
#include "SFShapes.h"
#include "SFToolsErrors.h"
#include "SFTransforms.h"
#include "ZULPI.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <set>
#include <thread>

namespace {

using namespace SF;

SFMesh Meshed(SFField const& iField, std::uint32_t iCells, SFMeshingOptions const& iOptions = {},
              SFMeshingReport* oReport = nullptr)
{
  ZULMathBox const box = iField.Bounds() ? RequireBounds(iField) : ZULMathBox{{-1.0, -1.0, -1.0}, {1.0, 1.0, 1.0}};
  return MeshField(iField, box, VoxelFor(box, iCells), iOptions, oReport);
}

SFField Nut()
{
  std::vector<SFPoint2> hexagon;
  for (int i = 0; i < 6; ++i)
    hexagon.push_back({std::cos(i * ZULPI / 3.0), std::sin(i * ZULPI / 3.0)});
  return Difference(Prism(hexagon, 0.8), Box({0.6, 0.5, 2.0}));
}

SFField GyroidBall() { return Intersection(PeriodicSheet(SFPeriodicSurface::Gyroid, 1.0, 0.2), Sphere(1.0)); }

/// Large enough for two slabs of a mesh with 420 cells, which meet within it.
SFField Leaf() { return Rotate(Box({4.0, 3.9, 0.4}), {0.1, 1.0, 0.2}, 0.9); }

/// Waves of all lengths, among them ones that no lattice resolves: every configuration of signs occurs.
SFField Noise()
{
  auto const x = SFField::X();
  auto const y = SFField::Y();
  auto const z = SFField::Z();
  return sin(40.0 * x) * sin(47.0 * y) * sin(53.0 * z) + sin(91.0 * (x + y)) + 0.3 * sin(170.0 * (z - y));
}

TEST(Meshing, ShapesHaveTheirVolumeAndTopology)
{
  struct Case
  {
    char const* name;
    SFField field;
    double volume;
    double accuracy;
    std::int64_t genus;
  };
  double const third = ZULPI / 3.0;
  SFField const box = Box({1.0, 0.7, 0.5});
  for (auto const& [name, field, volume, accuracy, genus] :
       {Case{"ball", Sphere(1.0), 4.0 * third, 1e-3, 0}, Case{"torus", Torus(1.0, 0.4), 0.96 * third * ZULPI, 2e-3, 1},
        Case{"box", box, 0.35, 1e-11, 0}, Case{"nut", Nut(), 0.8 * (1.5 * std::sqrt(3.0) - 0.3), 1e-11, 1},
        Case{"turned box", Rotate(box, {0.3, 0.5, 0.8}, 0.7), 0.35, 1e-5, 0},
        Case{"hollow ball", Difference(Sphere(1.0), Sphere(0.5)), 3.5 * third, 2e-3, 0},
        Case{"full box", SFField(-1.0), 8.0, 1e-11, 0}}) {
    SFMeshingReport report;
    SFMesh const mesh = Meshed(field, 64, {}, &report);
    auto const topology = TopologyOf(mesh);
    EXPECT_NEAR(MassPropertiesOf(mesh).volume, volume, accuracy * volume) << name;
    EXPECT_TRUE(topology.IsWatertight()) << name;
    EXPECT_EQ(topology.genus, genus) << name;
    EXPECT_EQ(topology.components, std::string(name) == "hollow ball" ? 2U : 1U) << name;
    EXPECT_EQ(topology.cavities, topology.components - 1) << name;
    EXPECT_LE(report.vertexDistance, 1e-4 * report.voxel) << name;
    EXPECT_EQ(report.unplacedVertices, 0U) << name;
  }
}

/// Seen from the middle of a convex solid, each triangle shows its back, unless vertices passed each other on an edge.
TEST(Meshing, VerticesKeepTheirOrderAlongEdges)
{
  for (std::uint32_t const cells : {64U, 96U, 128U}) {
    SFMesh const mesh = Meshed(Rotate(Box({1.0, 0.7, 0.5}), {0.3, 0.5, 0.8}, 0.7), cells);
    std::set<std::array<double, 3>> const places(mesh.vertices.begin(), mesh.vertices.end());
    EXPECT_EQ(places.size(), mesh.vertices.size()) << cells;
    for (auto const& [i, j, k] : mesh.triangles) {
      auto const& [a, b, c] = std::array{mesh.vertices[i], mesh.vertices[j], mesh.vertices[k]};
      EXPECT_GT(a[0] * (b[1] * c[2] - b[2] * c[1]) + a[1] * (b[2] * c[0] - b[0] * c[2]) +
                    a[2] * (b[0] * c[1] - b[1] * c[0]),
                -1e-9)
          << cells;
    }
  }
}

TEST(Meshing, AnyFieldGivesAClosedManifold)
{
  auto const x = SFField::X();
  for (SFField const& field :
       {Noise(), sign(Sphere(0.7)), sqrt(Sphere(0.7)) - 0.5, max(sqrt(x) - 0.5, Sphere(0.9)), Sphere(0.7) * 1e200,
        Sphere(0.7) * 1e-200, SFField(0.0) * x - 1.0 + 1.0 / x, GyroidBall()}) {
    SFMeshingOptions blunt;
    blunt.hasSharpFeatures = false;
    SFMeshingOptions coarse;
    coarse.adaptivity = 0.01;
    for (SFMeshingOptions const& options : {SFMeshingOptions{}, blunt, coarse}) {
      SFMesh const mesh = Meshed(field, 40, options);
      EXPECT_TRUE(TopologyOf(mesh).IsWatertight());
      for (auto const& vertex : mesh.vertices)
        for (double const coordinate : vertex)
          ASSERT_LE(std::abs(coordinate), 1.0);
    }
  }
}

/// Takes the pieces as they come.
struct Gathered : SFMeshSink
{
  void Add(SFMeshPiece const& iPiece) override
  {
    ASSERT_EQ(iPiece.firstVertex, mesh.vertices.size());
    mesh.vertices.insert(mesh.vertices.end(), iPiece.vertices.begin(), iPiece.vertices.end());
    mesh.triangles.insert(mesh.triangles.end(), iPiece.triangles.begin(), iPiece.triangles.end());
    ++pieces;
  }
  SFMesh mesh;
  int pieces = 0;
};

TEST(Meshing, ThreadsAndSlabsChangeNothing)
{
  SFField const field = Leaf();
  SFMeshingOptions options;
  options.threads = 1;
  SFMesh const one = Meshed(field, 420, options);
  options.threads = 3;
  Gathered sink;
  ZULMathBox const box = RequireBounds(field);
  MeshField(field, box, VoxelFor(box, 420), sink, options);
  EXPECT_GT(sink.pieces, 1);
  EXPECT_TRUE(one.vertices == sink.mesh.vertices && one.triangles == sink.mesh.triangles);
  EXPECT_TRUE(TopologyOf(one).IsWatertight());

  options.adaptivity = 0.01;
  SFMesh const simple = Meshed(GyroidBall(), 48, options);
  options.threads = 1;
  SFMesh const again = Meshed(GyroidBall(), 48, options);
  EXPECT_TRUE(simple.vertices == again.vertices && simple.triangles == again.triangles);
}

TEST(Meshing, BlocksAgreeOnWhatTheyShare)
{
  // A larger box has the same surface at the same lattice, cut into other blocks.
  double const voxel = 1.0 / 16.0;
  SFMesh const here = MeshField(Sphere(1.0), {{-1.5, -1.5, -1.5}, {1.5, 1.5, 1.5}}, voxel);
  SFMesh const there = MeshField(Sphere(1.0), {{-1.8125, -2.0, -1.5}, {1.5, 1.5, 1.5}}, voxel);
  auto sorted = [](SFMesh const& iMesh) {
    auto vertices = iMesh.vertices;
    std::sort(vertices.begin(), vertices.end());
    return vertices;
  };
  EXPECT_EQ(sorted(here), sorted(there));
}

TEST(Meshing, OpenMeshesEndAtTheBox)
{
  SFMeshingOptions open;
  open.isCapped = false;
  SFMesh const mesh = Meshed(Cylinder(0.5, 4.0), 64, open); // its ends are its own
  EXPECT_TRUE(TopologyOf(mesh).IsWatertight());
  ZULMathBox const box{{-1.0, -1.0, -1.0}, {1.0, 1.0, 1.0}};
  SFMesh const tube = MeshField(Cylinder(0.5, 4.0), box, 1.0 / 32.0, open);
  auto const topology = TopologyOf(tube);
  EXPECT_GT(topology.openEdges, 0U);
  EXPECT_TRUE(topology.IsManifold() && topology.IsOriented());
  auto const properties = MassPropertiesOf(tube);
  EXPECT_NEAR(properties.area, 2.0 * ZULPI, 1e-2);
  EXPECT_NEAR(properties.box.low.z, -1.0, 1e-9);
}

TEST(Meshing, AdaptivityIsALength)
{
  for (double const adaptivity : {0.001, 0.01}) {
    SFMeshingOptions options;
    options.adaptivity = adaptivity;
    SFMeshingReport report;
    SFMesh const fine = Meshed(Sphere(1.0), 64);
    SFMesh const mesh = Meshed(Sphere(1.0), 64, options, &report);
    EXPECT_LT(2 * mesh.triangles.size(), fine.triangles.size());
    EXPECT_GT(report.simplification, adaptivity / 10.0);
    EXPECT_LE(report.simplification, adaptivity);
    for (auto const& [a, b, c] : mesh.triangles) {
      std::array<double, 3> centre{};
      for (std::size_t axis = 0; axis < 3; ++axis)
        centre[axis] = (mesh.vertices[a][axis] + mesh.vertices[b][axis] + mesh.vertices[c][axis]) / 3.0;
      EXPECT_NEAR(std::hypot(centre[0], centre[1], centre[2]), 1.0, adaptivity);
    }
  }
  SFMeshingOptions options;
  options.adaptivity = 1e-6;
  EXPECT_LT(Meshed(Nut(), 64, options).triangles.size(), 600U);
}

TEST(Meshing, SaysWhatIsWrong)
{
  ZULMathBox const box{{-1.0, -1.0, -1.0}, {1.0, 1.0, 1.0}};
  auto const failing = [&](SFField const& iField, ZULMathBox const& iBox, double iVoxel, auto iCheck) {
    try {
      SFMeshingOptions options;
      options.maxMemory = 2e9;
      MeshField(iField, iBox, iVoxel, options);
      ADD_FAILURE() << "meshed";
    } catch (std::exception const& error) {
      iCheck(error);
    }
  };
  auto const is = [](auto iKind, std::string const& iText) {
    return [iText](std::exception const& iError) {
      EXPECT_NE(dynamic_cast<decltype(iKind) const*>(&iError), nullptr) << iError.what();
      EXPECT_NE(std::string(iError.what()).find(iText), std::string::npos) << iError.what();
    };
  };
  SFModelError const model("");
  std::invalid_argument const argument("");
  failing(Sphere(1.0) + 9.0, box, 0.1, is(model, "no surface"));
  failing(sqrt(SFField(-1.0) - square(SFField::X())), box, 0.1, is(model, "NaN"));
  failing(Sphere(1.0), box, 0.0, is(argument, "voxel"));
  failing(Sphere(1.0), box, 1e-7, is(argument, "voxel"));
  failing(Sphere(1.0), {{1e9, 0.0, 0.0}, {1e9 + 1.0, 1.0, 1.0}}, 1e-6, is(argument, "too small"));
  failing(Sphere(1.0), {{0.0, 0.0, 0.0}, {1.0, 1.0, 0.0}}, 0.1, is(argument, "no volume"));
  failing(Sphere(1.0), box, 2e-6, is(SFMemoryLimit("", 0, 0, false), "1000001"));
}

TEST(Meshing, IsCancelledSoon)
{
  SFField const field = PeriodicSheet(SFPeriodicSurface::Gyroid, 0.2, 0.04);
  for (double const adaptivity : {0.0, 1e-3}) {
    std::atomic<bool> cancel{false};
    SFMeshingOptions options;
    options.cancel = &cancel;
    options.adaptivity = adaptivity;
    std::thread timer([&cancel] {
      std::this_thread::sleep_for(std::chrono::milliseconds(100));
      cancel = true;
    });
    EXPECT_THROW(Meshed(field, 700, options), SFCancelled);
    timer.join();
  }
}

TEST(MeshMeasure, ErrorsHoldAndWallsAreFound)
{
  SFField const shell = Difference(Sphere(1.0), Translate(Sphere(0.8), {0.1, 0.0, 0.0}));
  auto const measures = MeasureField(shell, RequireBounds(shell), 1.0 / 32.0);
  double const third = 4.0 * ZULPI / 3.0;
  auto const holds = [](SFMeasure const& iMeasure, double iTrue) {
    EXPECT_LE(std::abs(iMeasure.value - iTrue), iMeasure.error);
    EXPECT_LE(iMeasure.error, 0.02);
  };
  holds(measures.volume, third * (1.0 - 0.512));
  holds(measures.area, 4.0 * ZULPI * 1.64);
  holds(measures.centre[0], -0.1 * 0.512 / (1.0 - 0.512));
  holds(measures.high[2], 1.0);
  ASSERT_TRUE(measures.wall.has_value());
  EXPECT_NEAR(measures.wall->value, 0.1, 2e-3);
  EXPECT_NEAR(measures.wallAt[0], 0.95, 0.01);
  EXPECT_EQ(measures.topology.cavities, 1U);
}

TEST(MeshMeasure, RoundPartsAreNotThoseOfTheChords)
{
  SFField const cube = Box({1.2, 1.2, 1.2});
  for (auto const& [field, volume] : {std::pair{Translate(Sphere(1.0), {5.0, 6.0, 7.0}), 4.0 * ZULPI / 3.0},
                                      std::pair{Torus(1.0, 0.4), 0.32 * ZULPI * ZULPI},
                                      std::pair{Difference(cube, Cylinder(0.5, 2.0)), 1.728 - 0.3 * ZULPI}}) {
    SFMeasureOptions options;
    options.hasWall = false;
    ZULMathBox const box = RequireBounds(field);
    auto const measures = MeasureField(field, box, VoxelFor(box, 64), options);
    EXPECT_NEAR(measures.volume.value, volume, 1e-6 * volume);
    EXPECT_LE(std::abs(measures.volume.value - volume), measures.volume.error);
    options.threads = 3;
    EXPECT_EQ(MeasureField(field, box, VoxelFor(box, 64), options).area.value, measures.area.value);
  }
}

TEST(MeshMeasure, FindsFaults)
{
  // A tetrahedron, then with a triangle missing, turned, doubled, and with two corners at one vertex.
  SFMesh tetrahedron;
  tetrahedron.vertices = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, 0, 1}};
  tetrahedron.triangles = {{0, 2, 1}, {0, 1, 3}, {1, 2, 3}, {0, 3, 2}};
  EXPECT_TRUE(TopologyOf(tetrahedron).IsWatertight());
  SFMesh mesh = tetrahedron;
  mesh.triangles.pop_back();
  EXPECT_EQ(TopologyOf(mesh).openEdges, 3U);
  mesh = tetrahedron;
  std::swap(mesh.triangles[0][0], mesh.triangles[0][1]);
  EXPECT_EQ(TopologyOf(mesh).turnedEdges, 3U);
  mesh = tetrahedron;
  mesh.triangles.push_back(mesh.triangles[0]);
  EXPECT_EQ(TopologyOf(mesh).pinchedEdges, 3U);
  mesh = tetrahedron;
  mesh.vertices.insert(mesh.vertices.end(), {{-1, 0, 0}, {0, -1, 0}, {0, 0, -1}});
  for (auto const& [a, b, c] : tetrahedron.triangles) {
    auto const mirrored = [](std::uint32_t iVertex) { return iVertex == 0 ? 0 : iVertex + 3; };
    mesh.triangles.push_back({mirrored(a), mirrored(c), mirrored(b)});
  }
  EXPECT_EQ(TopologyOf(mesh).pinchedVertices, 1U);
  EXPECT_TRUE(TopologyOf(mesh).IsClosed());
}

TEST(MeshFiles, PiecesGiveTheSameFile)
{
  namespace fs = std::filesystem;
  fs::path const folder = fs::path(testing::TempDir()) / "sf_mesh_files";
  fs::remove_all(folder);
  fs::create_directory(folder);
  auto const content = [](std::string const& iFile) {
    std::ifstream file(iFile, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), {});
  };
  ZULMathBox const box = RequireBounds(Leaf());
  double const voxel = VoxelFor(box, 420);
  SFMesh const mesh = MeshField(Leaf(), box, voxel);
  for (char const* const extension : {".stl", ".ply"}) {
    std::string const whole = folder / ("whole" + std::string(extension));
    std::string const parts = folder / ("parts" + std::string(extension));
    SFMeshFormat const format = MeshFormatOf(whole);
    SFOutputFile wholeFile(whole);
    WriteMesh(mesh, format, wholeFile);
    wholeFile.Commit();
    SFOutputFile partsFile(parts);
    SFMeshFileSink sink(format, partsFile);
    MeshField(Leaf(), box, voxel, sink);
    sink.Finish();
    partsFile.Commit();
    EXPECT_TRUE(content(whole) == content(parts)) << extension;
  }
  EXPECT_EQ(std::distance(fs::directory_iterator(folder), fs::directory_iterator()), 4);
  EXPECT_EQ(MeshFormatOf("a.b/c.GLB"), SFMeshFormat::Glb);
  EXPECT_THROW(MeshFormatOf("stl"), std::invalid_argument);
  SFOutputFile full("/dev/full");
  for (SFMeshFormat const format : {SFMeshFormat::Stl, SFMeshFormat::Obj, SFMeshFormat::ThreeMf, SFMeshFormat::Glb})
    EXPECT_THROW(WriteMesh(Meshed(GyroidBall(), 32), format, full), SFFileError);
}

/// Other programs compute the normals of an STL again, from the corners in single precision.
TEST(MeshFiles, NormalsAreThoseOfTheCornersAsWritten)
{
  SFMesh const mesh = Meshed(Sphere(1.0), 64);
  SFMeshFileParts const parts(SFMeshFormat::Stl, {});
  std::string const bytes = parts.Triangles({mesh.vertices, mesh.normals, mesh.triangles, 0}, {});
  ASSERT_EQ(bytes.size(), parts.GetTriangleSize() * mesh.triangles.size());
  double largest = 0.0;
  for (std::size_t at = 0; at < bytes.size(); at += parts.GetTriangleSize()) {
    std::array<float, 12> numbers;
    std::memcpy(numbers.data(), bytes.data() + at, sizeof numbers);
    std::array<double, 3> u{}, v{};
    for (std::size_t axis = 0; axis < 3; ++axis) {
      u[axis] = double{numbers[6 + axis]} - double{numbers[3 + axis]};
      v[axis] = double{numbers[9 + axis]} - double{numbers[3 + axis]};
    }
    std::array<double, 3> const normal{u[1] * v[2] - u[2] * v[1], u[2] * v[0] - u[0] * v[2], u[0] * v[1] - u[1] * v[0]};
    double const length = std::hypot(normal[0], normal[1], normal[2]);
    for (std::size_t axis = 0; axis < 3; ++axis)
      largest = std::max(largest, std::abs(normal[axis] / length - double{numbers[axis]}));
  }
  EXPECT_LT(largest, 4e-8);
}

} // namespace
