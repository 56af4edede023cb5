#pragma once

#include <cstddef>
#include <memory>
#include <new>

namespace SF {

/// Room for values that kernels read and write, not initialised. It begins with a cache line: a vector register fills
/// one, and one that straddled two would be read twice.
class SFValueBuffer
{
public:
  static constexpr std::size_t LineValues = 64 / sizeof(double);

  SFValueBuffer() = default;
  explicit SFValueBuffer(std::size_t iCount)
    : _values(static_cast<double*>(::operator new(iCount * sizeof(double), Alignment)))
  {
  }

  double* get() const { return _values.get(); }

  /// How far apart arrays of a length begin in one buffer: whole lines, and no multiple of a page, because processors
  /// take values whose addresses differ by one for each other, and wait.
  static constexpr std::size_t Stride(std::size_t iLength)
  {
    constexpr std::size_t pageValues = 4096 / sizeof(double);
    std::size_t const lines = (iLength + LineValues - 1) / LineValues * LineValues;
    return lines % pageValues == 0 ? lines + LineValues : lines;
  }

private:
  static constexpr std::align_val_t Alignment{64};
  struct Delete
  {
    void operator()(double* iValues) const { ::operator delete(iValues, Alignment); }
  };

  std::unique_ptr<double, Delete> _values;
};

} // namespace SF
