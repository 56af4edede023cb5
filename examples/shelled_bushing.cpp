// Writes shelled_bushing.sf: a flanged bushing with a skin of constant thickness and gyroid walls inside.
//
// The part lies in x and y -30..30 and z 0..40: a flange with four screw holes under a hub, and a bore through both.
// A gyroid's field is no distance, and its slope varies, so that a wall made of a range of its values is thicker here
// than there. Between two offsets of the gyroid the wall has one thickness.

#include "Parts.h"

using namespace SF;
using namespace SFExample;

static SFField Part()
{
  SFField const flange = Rod(x, y, 30) & Slab(z, 0, 9);
  SFField const hub = Rod(x, y, 19) & Slab(z, 0, 40);
  SFField const screws =
      Union({Rod(x - 24.5, y, 2.6), Rod(x + 24.5, y, 2.6), Rod(x, y - 24.5, 2.6), Rod(x, y + 24.5, 2.6)});
  return Difference(flange | hub, screws | Rod(x, y, 8));
}

static SFField Bushing()
{
  SFField const gyroid = PeriodicNetwork(SFPeriodicSurface::Gyroid, 9.0);
  SFField const walls = Difference(Offset(gyroid, 0.4), Offset(gyroid, -0.4));
  return Shell(Part(), 1.2) | (Part() & walls);
}

int main(int iCount, char** iArguments)
{
  return WriteModel(iCount, iArguments, SF_EXAMPLES_DIR "/shelled_bushing.sf", Bushing);
}
