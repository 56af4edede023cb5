#pragma once

namespace SF {

/// The number of threads for a grid, given what the system reports; 2 when it reports nothing.
inline unsigned int WorkerCount(unsigned int iHardwareConcurrency)
{
  return iHardwareConcurrency != 0 ? iHardwareConcurrency : 2;
}

} // namespace SF
