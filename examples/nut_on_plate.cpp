// Writes nut_on_plate.sf: the nut of flange_nut.stl welded onto a plate, with a quarter cut away.
//
// The nut is a triangle mesh that the text only names; everything else is an analytic shape.

#include "Parts.h"
#include "ResourceToSF.h"

using namespace SF;
using namespace SFExample;

/// A mesh by its name alone, for writing: whoever reads the text brings the values.
class NamedMesh : public ResourceToSF
{
public:
  explicit NamedMesh(std::string iName) { SetExpressionId(std::move(iName)); }
};

static SFField NutOnPlate()
{
  SFField const mesh = SFField::Resource(std::make_shared<NamedMesh>("#BRX:flange_nut.stl"), SFResourceKind::Distance);
  // A sphere takes the nut's upper corners off, a pin hole goes through it from side to side.
  SFField const nut = Difference(mesh & (Length({x, y, z - 1.0}) - 14.0), Rod(y, z - 8.0, 1.2));
  SFField const plate = Difference(RoundedPlate(17, 17, 4, -5, 0), Rod(x, y, 6.5));
  SFField const bead = Torus(13.0, 1.2);
  SFField const quarter = ~x & y; // x > 0 and y < 0
  return Difference(Union({nut, plate, bead}), quarter);
}

int main(int iCount, char** iArguments)
{
  return WriteModel(iCount, iArguments, SF_EXAMPLES_DIR "/nut_on_plate.sf", NutOnPlate);
}
