#pragma once

#include "SFExport.h"

#include <cstddef>

namespace SF {

/// Whether the build tells the use of memory that was given back, for which blocks must go back to the heap.
#if defined(__SANITIZE_ADDRESS__)
constexpr bool SFHasAddressSanitizer = true;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
constexpr bool SFHasAddressSanitizer = true;
#else
constexpr bool SFHasAddressSanitizer = false;
#endif
#else
constexpr bool SFHasAddressSanitizer = false;
#endif

/// Large pages that were given back, kept for the next graph. Pages that are fresh from the system have to be cleared
/// first, and on a virtual machine asked of its host, which can take longer than all that a graph writes to them.
///
/// The system may take the memory of a kept page at any time, as if it were free; where it cannot be told so, and in a
/// process whose address space is limited, none is kept. Any thread may call any of these.
class SF_EXPORT SFPageStore
{
public:
  static constexpr std::size_t MaxKept = 512; ///< pages: 1 GiB, what a text of 60 million characters is read into

  /// SFLargePage bytes of any content, aligned to their size. Throws std::bad_alloc.
  static void* Take();
  static void GiveBack(void* iPage) noexcept;

  static std::size_t GetKeptCount();
  /// Gives the kept pages back to the heap.
  static void Drop() noexcept;
};

} // namespace SF
