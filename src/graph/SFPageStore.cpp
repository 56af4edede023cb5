#include "graph/SFPageStore.h"

#include "tape/SFLargePages.h"

#include <array>
#include <mutex>
#include <new>

#if defined(__linux__)
#include <sys/mman.h>
#include <sys/resource.h>
#endif

namespace SF {
namespace {

struct KeptPages
{
  std::mutex mutex;
  std::array<void*, SFPageStore::MaxKept> pages{};
  std::size_t count = 0;
};

constinit KeptPages kept; // until the process ends: graphs of static lifetime give their pages back late

void* TakeKept()
{
  std::lock_guard const lock(kept.mutex);
  return kept.count > 0 ? kept.pages[--kept.count] : nullptr;
}

bool Keep(void* iPage)
{
  std::lock_guard const lock(kept.mutex);
  if (kept.count == kept.pages.size())
    return false;
  kept.pages[kept.count++] = iPage;
  return true;
}

/// Lets the system take the memory of a page until something is written there. False where a page should not be kept.
bool OfferToSystem([[maybe_unused]] void* iPage)
{
#if defined(__linux__) && defined(MADV_FREE)
  if constexpr (SFHasAddressSanitizer)
    return false;
  rlimit addresses{};
  return getrlimit(RLIMIT_AS, &addresses) == 0 && addresses.rlim_cur == RLIM_INFINITY &&
         madvise(iPage, SFLargePage, MADV_FREE) == 0;
#else
  return false;
#endif
}

void Free(void* iPage) { ::operator delete (iPage, std::align_val_t{SFLargePage}); }

} // namespace

void* SFPageStore::Take()
{
  if (void* const page = TakeKept())
    return page;
  void* const page = ::operator new (SFLargePage, std::align_val_t{SFLargePage});
  AskForLargePages(page, SFLargePage);
  return page;
}

void SFPageStore::GiveBack(void* iPage) noexcept
{
  if (!OfferToSystem(iPage) || !Keep(iPage))
    Free(iPage);
}

std::size_t SFPageStore::GetKeptCount()
{
  std::lock_guard const lock(kept.mutex);
  return kept.count;
}

void SFPageStore::Drop() noexcept
{
  while (void* const page = TakeKept())
    Free(page);
}

} // namespace SF
