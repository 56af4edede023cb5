// Writes gyroid_bracket.sf: a mounting bracket with a solid skin and a gyroid lattice inside.
//
// The part lies in x -45..45, y -30..34, z 0..84, with a base plate on z = 0, an upright at the back that carries a
// bearing seat along y, two ribs, a fillet between plate and upright, four counterbored screw holes and a slot.

#include "Parts.h"

#include <cmath>

using namespace SF;
using namespace SFExample;

// The bodies reach 4 mm into each other, so that no skin parts the lattices inside them.
static SFField Blank()
{
  // The flanks of the upright are the tangents from (34, 10) to the circle of the seat, about (0, 62) in x and z.
  double const square = 34.0 * 34.0 + 52.0 * 52.0;
  double const tangent = std::sqrt(square - 22.0 * 22.0);
  double const across = (52.0 * tangent + 34.0 * 22.0) / square;
  double const up = (34.0 * tangent - 52.0 * 22.0) / square;
  SFField const flanks = across * (abs(x) - 34.0) + up * (z - 10.0);

  SFField const plate = RoundedPlate(45, 30, 10, 0, 10);
  SFField const blade = flanks & Slab(y, 18, 30) & Slab(z, 6, 62);
  SFField const rim = Rod(x, z - 62.0, 22);
  SFField const face = Slab(y, 10, 34);
  SFField const seat = rim & face & (std::sqrt(0.5) * (rim + face + 1.5)); // both rims chamfered
  SFField const corner = flanks & Slab(y, 10, 22) & Slab(z, 6, 18);
  SFField const fillet = Difference(corner, Rod(y - 10.0, z - 18.0, 8));
  SFField const slope = std::sqrt(0.5) * (z - 10.0 - (y + 18.0)); // of the ribs, 45 degrees
  SFField const ribs = Slab(abs(x), 16, 24) & slope & Slab(y, -18, 22) & Slab(z, 6, 62);
  return Union({plate, blade, seat, fillet, ribs});
}

static SFField Holes()
{
  SFField const u = abs(x) - 34.0;
  SFField const screws = Rod(u, y + 18.0, 3.3) | Rod(u, y - 6.0, 3.3);
  SFField const heads = (Rod(u, y + 18.0, 5.5) | Rod(u, y - 6.0, 5.5)) & Slab(z, 4, 20);
  SFField const slot = Rod(max(abs(x) - 9.0, 0.0), y + 16.0, 4) & Slab(z, -10, 20);
  SFField const bore = Rod(x, z - 62.0, 11) & Slab(y, 0, 68);
  SFField const bearing = Rod(x, z - 62.0, 15) & Slab(y, 0, 17);
  return Union({screws, heads, slot, bore, bearing});
}

static SFField Bracket()
{
  SFField const blank = Blank();
  SFField const holes = Holes();
  SFField const walls = abs(PeriodicNetwork(SFPeriodicSurface::Gyroid, 8.0)) - (0.65 - 0.2 / 84.0 * z);
  // All faces are those of distances: adding to the field moves them by as much, here to the inner side of the skin and
  // to the outer side of the sleeves around the holes.
  SFField const filled = Difference(blank + 1.6, holes - 2.5);
  return Difference(Difference(blank, holes), Difference(filled, walls));
}

int main(int iCount, char** iArguments)
{
  return WriteModel(iCount, iArguments, SF_EXAMPLES_DIR "/gyroid_bracket.sf", Bracket);
}
