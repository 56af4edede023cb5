#pragma once

#include <cstddef>

#if defined(__GLIBC__)
#include <malloc.h>
#endif

/// Bytes that the heap has given out; 0 where it does not tell.
inline std::size_t TakenFromHeap()
{
#if defined(__GLIBC__)
  struct mallinfo2 const heap = mallinfo2();
  return heap.uordblks + heap.hblkhd;
#else
  return 0;
#endif
}
