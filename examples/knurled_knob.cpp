// Writes knurled_knob.sf: a control knob with a diamond knurl, drawn in cylindrical coordinates.
//
// The part lies in x and y -20..20 and z 0..20: a grip with a knurled band, a skirt below it, a dished top with a pointer,
// and from below a bore for a shaft of 6 mm with a flat.

#include "Parts.h"
#include "SFTransforms.h"

#include <cmath>

using namespace SF;
using namespace SFExample;

// How far a groove of the knurl is away, in units of their distance: 0 in it, 1/2 in the middle between two. The grooves
// are helices; in the coordinates (r, theta, z) each family is a set of parallel lines.
static SFField FromGroove(double iCount, double iLead) { return acos(cos(iCount * y + iLead * z)) / (2.0 * ZULPI); }

// x is the radius, y the angle. Pyramids with an angle of 90 degrees, their points cut off.
static SFField KnurledBand(double iRadius)
{
  constexpr double count = 40.0;
  double const pitch = 2.0 * ZULPI * iRadius / count;
  double const lead = count / iRadius; // 45 degrees
  SFField const height = pitch * std::sqrt(0.5) * min(FromGroove(count, lead), FromGroove(count, -lead));
  SFField const knurled = std::sqrt(0.5) * (x - iRadius + 0.8 - min(height * std::sqrt(2.0), 0.7));
  return ToCylindrical(knurled);
}

static SFField Knob()
{
  SFField const radius = Length({x, y});
  SFField const chamfer = std::sqrt(0.5) * (radius + abs(z - 12.0) - 22.2); // of the grip, above and below
  SFField const grip = Intersection({KnurledBand(16.0), Slab(z, 3, 20), chamfer});
  SFField const skirt = SmoothIntersection(radius - 20.0, abs(z - 2.0) - 2.0, 2.0);
  SFField const dish = Length({x, y, z - 68.0}) - 49.5;
  SFField const pointer = Rod(z - 19.4, max(abs(y + 11.0) - 6.0, 0.0) + abs(x), 1.3);
  SFField const mark = Rod(z - 4.0, max(abs(y + 18.5) - 3.0, 0.0) + abs(x), 0.7);
  SFField const shaft = Intersection({radius - 3.05, y - 1.6, z - 13.0});
  SFField const hollow = Difference(radius - 12.5, radius - 6.0) & (z - 14.0); // walls of one thickness print well
  SFField const ribs = ToCylindrical(abs(sin(3.0 * y)) * x) / 3.0 - 0.8;
  SFField const body = Difference(grip | skirt, Union({dish, pointer, mark}));
  return Difference(body, shaft | Difference(hollow, ribs));
}

int main(int iCount, char** iArguments)
{
  return WriteModel(iCount, iArguments, SF_EXAMPLES_DIR "/knurled_knob.sf", Knob);
}
