#include "SFToolsErrors.h"

#include <cstdio>
#include <system_error>

namespace SF {
namespace {

std::string Gibibytes(double iBytes)
{
  char text[64];
  std::snprintf(text, sizeof text, "%.3g GiB", iBytes / (1024.0 * 1024.0 * 1024.0));
  return text;
}

} // namespace

SFCancelled::SFCancelled() : std::runtime_error("cancelled") {}
SFCancelled::~SFCancelled() = default;
SFModelError::~SFModelError() = default;

SFMemoryLimit::SFMemoryLimit(std::string const& iWhat, double iNeeded, double iLimit, bool iIsAllowance)
  : std::runtime_error(iWhat + " needs " + Gibibytes(iNeeded) + " of memory, " + Gibibytes(iLimit) + " is " +
                       (iIsAllowance ? "allowed" : "free"))
{
}
SFMemoryLimit::~SFMemoryLimit() = default;

SFFileError::SFFileError(std::string const& iFile, std::string const& iReason)
  : std::runtime_error((iFile.empty() ? "''" : iFile) + ": " + iReason)
{
}
SFFileError::SFFileError(std::string const& iFile, int iErrorNumber)
  : SFFileError(iFile, std::generic_category().message(iErrorNumber))
{
}
SFFileError::~SFFileError() = default;

} // namespace SF
