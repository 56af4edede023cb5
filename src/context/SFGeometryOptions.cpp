#include "SFGeometryOptions.h"

namespace SF {

SFGeometryOptions::~SFGeometryOptions()
{
  // Volatile, or the compiler drops the store to a dying object: a host that holds on to a dead record shall
  // find no valid mode there.
  *const_cast<SFGeometryCreationMode volatile*>(&_creationMode) = SFGeometryCreationMode{0};
}

} // namespace SF
