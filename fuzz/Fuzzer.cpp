#include "Harness.h"

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* iData, std::size_t iSize)
{
  return TestOneInput(iData, iSize);
}
