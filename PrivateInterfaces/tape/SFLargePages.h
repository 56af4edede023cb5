#pragma once

#include <cstddef>
#include <new>

#if defined(__linux__)
#include <sys/mman.h>
#endif

namespace SF {

/// The size and the alignment of a large page.
constexpr std::size_t SFLargePage = std::size_t{1} << 21;

/// Asks for large pages for a block that is aligned to them. A hint: that it is refused does no harm.
inline void AskForLargePages([[maybe_unused]] void* iBlock, [[maybe_unused]] std::size_t iSize)
{
#if defined(__linux__)
  madvise(iBlock, iSize, MADV_HUGEPAGE);
#endif
}

/// An allocator that asks for large pages for blocks of several megabytes, where the system has them: what is looked up
/// all over such a block waits for the addresses of small pages as long as for the memory itself.
template <class T>
class SFLargePages
{
public:
  using value_type = T;

  SFLargePages() = default;
  template <class Other>
  SFLargePages(SFLargePages<Other> const&) noexcept
  {
  }

  T* allocate(std::size_t iCount)
  {
    std::size_t const size = iCount * sizeof(T);
    void* const block = ::operator new(size, AlignmentOf(size));
    if (size >= Large)
      AskForLargePages(block, size);
    return static_cast<T*>(block);
  }
  void deallocate(T* iBlock, std::size_t iCount) noexcept
  {
    ::operator delete(iBlock, AlignmentOf(iCount * sizeof(T)));
  }

  bool operator==(SFLargePages const&) const = default;

private:
  static constexpr std::size_t Large = 2 * SFLargePage;
  static constexpr std::size_t Line = 64;

  static std::align_val_t AlignmentOf(std::size_t iSize)
  {
    return std::align_val_t{iSize >= Large ? SFLargePage : Line};
  }
};

} // namespace SF
