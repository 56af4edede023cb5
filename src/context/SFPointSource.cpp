#include "SFPointSource.h"

namespace SF {

SFPointSource::~SFPointSource() = default;

} // namespace SF
