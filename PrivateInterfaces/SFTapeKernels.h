#pragma once

#include "SFTape.h"

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace SF {

/// One operand of a kernel: element (i, j, k) is data[i sx + j s1 + k s2], where sx is 1 or 0 (one value a row).
struct SFKernelOperand
{
  double const* data = nullptr;
  std::ptrdiff_t s1 = 0;
  std::ptrdiff_t s2 = 0;
};

/// A box of n0 x n1 x n2 elements, written contiguously. The output never overlaps an operand.
struct SFKernelBox
{
  double* out = nullptr;
  std::size_t n0 = 1;
  std::size_t n1 = 1;
  std::size_t n2 = 1;
  SFKernelOperand a;
  SFKernelOperand b;
};
using SFKernel = void (*)(SFKernelBox const&);

/// The forms of a kernel, by which of its operands vary along a row.
enum class SFKernelForm : std::size_t
{
  BothVary = 0,
  FirstVaries = 1,
  SecondVaries = 2
};
constexpr std::size_t SFKernelFormCount = 3;

/// Writes `iCount` values as the floats that a rendering stores. With `iClamp` they are limited to the diagonal.
using SFStoreKernel = void (*)(float* oFloats, double const* iValues, std::size_t iCount, double iDiagonal);

/// Writes `iCount` vectors, given by component and divided by their lengths, as floats x, y, z, x, y, z...
using SFNormalKernel = void (*)(float* oFloats, double const* iX, double const* iY, double const* iZ,
                                std::size_t iCount);

/// The kernels of one instruction set.
struct SFTapeKernels
{
  std::string_view name;
  /// By operator code and form; null for codes that are not operators.
  SFKernel operators[SFNodeTypeCount][SFKernelFormCount];
  SFStoreKernel storeClamped;
  SFStoreKernel storePlain;
  SFNormalKernel storeNormals;
};

/// The kernel sets that this machine can run, the fastest first; the last one is "portable".
std::vector<SFTapeKernels const*> const& AvailableTapeKernels();

/// The set in use: the fastest, or the one that the environment variable SF_KERNELS names. A name that is not
/// available here stands for "portable".
SFTapeKernels const& ActiveTapeKernels();

} // namespace SF
