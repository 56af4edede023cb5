#pragma once

namespace SF {

/// Asks for the line of memory at an address, which need not be readable.
inline void Prefetch([[maybe_unused]] void const* iAddress)
{
#if defined(__GNUC__)
  __builtin_prefetch(iAddress);
#endif
}

} // namespace SF
