/// Writes the models that other programs check into a folder, and says what is known of them: a line for each with its name,
/// whether it is convex, its genus and the volume of its mesh. Each is written in all formats with 64 cells, or as PLY with as
/// many as are asked for: sf_mesh_models FOLDER [CELLS].

#include "SFMeshFiles.h"
#include "SFMeshMeasure.h"
#include "SFSampling.h"
#include "SFShapes.h"
#include "SFTransforms.h"
#include "ZULPI.h"

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <iostream>
#include <string>
#include <vector>

namespace {

using namespace SF;

struct Model
{
  char const* name;
  SFField field;
  bool isConvex = false;
  double adaptivity = 0.0;
  double size = 2.0; ///< half the edge of the box; 0 for the model's own
};

SFField Hexagon(double iHeight)
{
  std::vector<SFPoint2> corners;
  for (int i = 0; i < 6; ++i)
    corners.push_back({std::cos(i * ZULPI / 3.0), std::sin(i * ZULPI / 3.0)});
  return Prism(corners, iHeight);
}

std::vector<Model> Models()
{
  SFField const gyroid = PeriodicSheet(SFPeriodicSurface::Gyroid, 1.0, 0.2);
  ZULMathVector const axis{0.3, 0.5, 0.8};
  return {{"ball", Sphere(1.0), true},
          {"box", Box({1.0, 0.7, 0.5}), true},
          {"turned_box", Rotate(Box({1.0, 0.7, 0.5}), axis, 0.7), true},
          {"hexagon", Hexagon(0.8), true},
          {"cylinder", Cylinder(0.5, 1.0), true},
          {"cone", Cone(0.5, 1.0, 0.1), true},
          {"ellipsoid", Ellipsoid({1.0, 0.6, 0.3}), true},
          {"torus", Torus(1.0, 0.4)},
          {"nut", Difference(Hexagon(0.8), Cylinder(0.5, 2.0))},
          {"gyroid_ball", Intersection(gyroid, Sphere(1.0)), false, 0.002},
          {"capped_gyroid", gyroid, false, 0.0, 0.9},
          {"kelvin", Lattice(SFLattice::Kelvin, {2, 2, 2}, {1.0, 1.0, 1.0}, 0.1)}};
}

void Write(Model const& iModel, std::string const& iFolder, std::uint32_t iCells,
           std::vector<std::string> const& iExtensions)
{
  double const s = iModel.size;
  bool const isOwn = iModel.field.Bounds().has_value();
  ZULMathBox const box = isOwn ? RequireBounds(iModel.field) : ZULMathBox{{-s, -s, -s}, {s, s, s}};
  SFMeshingOptions options;
  options.adaptivity = iModel.adaptivity;
  SFMesh const mesh = MeshField(iModel.field, box, VoxelFor(box, iCells), options);
  for (std::string const& extension : iExtensions) {
    SFOutputFile file(iFolder + "/" + iModel.name + extension);
    SFMeshFileOptions fileOptions;
    fileOptions.unit = SFLengthUnit::Centimetre;
    fileOptions.name = iModel.name;
    WriteMesh(mesh, MeshFormatOf(extension), file, fileOptions);
    file.Commit();
  }
  std::printf("%s %d %lld %.9g\n", iModel.name, iModel.isConvex ? 1 : 0, static_cast<long long>(TopologyOf(mesh).genus),
              MassPropertiesOf(mesh).volume);
}

} // namespace

int main(int iCount, char** iArguments)
{
  try {
    bool const isFine = iCount > 2;
    for (Model const& model : Models())
      Write(
          model, iCount > 1 ? iArguments[1] : ".", isFine ? static_cast<std::uint32_t>(std::stoul(iArguments[2])) : 64,
          isFine ? std::vector<std::string>{".ply"} : std::vector<std::string>{".stl", ".ply", ".obj", ".3mf", ".glb"});
    return 0;
  } catch (std::exception const& error) {
    std::cerr << error.what() << '\n';
    return 1;
  }
}
