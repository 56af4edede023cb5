// A nut welded onto a drilled plate, with a quarter cut away. The nut is a triangle mesh, flange_nut.stl; all else are
// analytic shapes, also the holes that are drilled through the mesh.
//
// Usage: nut_on_plate [FILE.sf | FILE.stl | FILE.png]
// Writes nut_on_plate.sf, which only names the mesh, or a mesh or a picture of the whole.

#include "MeshResource.h"
#include "Parts.h"
#include "SFMeshFiles.h"
#include "SFOutputFile.h"
#include "SFRenderer.h"
#include "SFTransforms.h"
#include "StlReader.h"

using namespace SF;
using namespace SFExample;

// A resource of the program takes part in fields like any shape. Its text is that which MeshResolver finds it by.
static SFField Nut()
{
  auto const mesh = std::make_shared<MeshDistance>(ReadStl(SF_EXAMPLES_DIR "/flange_nut.stl"));
  auto const resource = std::make_shared<MeshResource>(mesh);
  resource->SetExpressionId("#BRX:flange_nut.stl");
  return SFField::Resource(resource, SFResourceKind::Distance, mesh->Box());
}

static SFField NutOnPlate()
{
  // A sphere takes the nut's upper corners off. Three holes for a safety wire are drilled from side to side.
  SFField const drilled = PolarArray(Rod(y, z - 8.0, 1.2), 3);
  SFField const nut = Difference(Nut() & (Length({x, y, z - 1.0}) - 14.0), drilled);
  SFField const plate = Difference(RoundedPlate(17, 17, 4, -5, 0), Rod(x, y, 6.5));
  SFField const bead = Torus(13.0, 1.2);
  SFField const quarter = ~x & y; // x > 0 and y < 0
  return Difference(Union({nut, plate, bead}), quarter);
}

static void WritePart(std::string const& iPath)
{
  ZULMathBox const box{{-18, -18, -6}, {18, 18, 15}};
  SFOutputFile file(iPath);
  if (iPath.ends_with(".png")) {
    SFRenderOptions options;
    options.width = 480;
    options.height = 360;
    options.camera = SFCamera{.position = {48, -66, 62}, .target = {0, 0, 2}, .fieldOfView = 0.44};
    file.Write(EncodePng(Render(NutOnPlate(), box, options, {})));
  } else {
    WriteMesh(MeshField(NutOnPlate(), box, 0.25), MeshFormatOf(iPath), file);
  }
  file.Commit();
}

int main(int iCount, char** iArguments)
{
  std::string const path = iCount > 1 ? iArguments[1] : "";
  if (path.ends_with(".png") || path.ends_with(".stl"))
    return Reported([&] { WritePart(path); });
  return WriteModel(iCount, iArguments, SF_EXAMPLES_DIR "/nut_on_plate.sf", NutOnPlate);
}
