#include "SFResourceResolver.h"

namespace SF {

SFResourceResolver::~SFResourceResolver() = default;

} // namespace SF
