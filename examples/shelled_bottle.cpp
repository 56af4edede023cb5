// Writes shelled_bottle.sf: a bottle of half a litre with a wall of one thickness and a screw thread.
//
// The part lies in x and y -35..35 and z 1.8..200. The outer shape is drawn as a solid; the shell is what lies within 1.6 mm
// of its surface, and the mouth is open because the solid goes on above it.

#include "Parts.h"
#include "SFTransforms.h"

using namespace SF;
using namespace SFExample;

constexpr double Top = 200.0;

// How deep the flutes are: twelve of them wind about the body and end softly below and above. They fade towards the axis,
// where the angle has no derivative.
static SFField Flutes()
{
  SFField const soft = square(max(1.0 - square((z - 70.0) / 52.0), 0.0));
  SFField const angle = Angle(y, x) + z * (ZULPI / 400.0);
  return soft * (1.0 + cos(12.0 * angle)) * Length({x, y}) * (1.8 / 35.0);
}

static SFField Outside()
{
  // A cylinder that ends in half an ellipsoid.
  SFField const tall = 35.0 * (Length({x / 35.0, y / 35.0, max(z - 125.0, 0.0) / 45.0}) - 1.0);
  SFField const body = SmoothIntersection(tall + Flutes(), -z, 14.0);
  SFField const neck = Rod(x, y, 13.0) & Slab(z, 120, Top + 20.0);
  SFField const foot = Length({x, y, z + 48.0}) - 56.0; // a dome, so that the bottle stands on its rim
  return SmoothDifference(SmoothUnion(body, neck, 10.0), foot, 3.0);
}

// One and a half turns with a pitch of 5 mm; x is the radius and y the angle. Each end lies below the ring or above.
static SFField Thread()
{
  constexpr double pitch = 5.0;
  SFField const along = z - 183.0 - pitch / (2.0 * ZULPI) * y;
  SFField const nearest = min(abs(along), abs(along - pitch));
  return ToCylindrical(0.7 * max(x - 14.8 + nearest, x - 14.4)) & Slab(z, 182, 196) & (12.0 - Length({x, y}));
}

static SFField Bottle()
{
  SFField const ring = Translate(Torus(14.0, 1.8), {0, 0, 178});
  SFField const wall = Shell(Outside(), 1.6);
  SFField const added = Difference(ring | Thread(), Rod(x, y, 12.0));
  return (wall | added) & (z - Top);
}

int main(int iCount, char** iArguments)
{
  return WriteModel(iCount, iArguments, SF_EXAMPLES_DIR "/shelled_bottle.sf", Bottle);
}
