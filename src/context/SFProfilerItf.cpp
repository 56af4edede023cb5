#include "SFProfilerItf.h"

namespace SF {

SFProfilerItf::~SFProfilerItf() = default;

} // namespace SF
