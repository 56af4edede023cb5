#include "tape/SFTapeKernels.h"

#include "SFCylindricalTransform.h"
#include "SFDiagnostics.h"
#include "SFInstructionSets.h"
#include "ZULPI.h"
#include "operators/SFScalarOps.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <mutex>
#include <utility>
#if defined(__x86_64__) && defined(__GNUC__)
#include <immintrin.h>
#endif

namespace SF {
namespace {

/// The codes of the operators that may be fused.
constexpr auto Fusable = [] {
  constexpr auto isFusable = [](SFOperatorRow const& iRow) { return iRow.isFusable; };
  constexpr auto count = std::count_if(SFOperatorTable.begin(), SFOperatorTable.end(), isFusable);
  std::array<SFTapeCode, static_cast<std::size_t>(count)> codes{};
  std::size_t next = 0;
  for (SFOperatorRow const& row : SFOperatorTable)
    if (row.isFusable)
      codes[next++] = CodeOf(row.type);
  return codes;
}();

/// The rows of a fused group's operands.
struct FusedRow
{
  double const* first;
  double const* operands[SFMaxFusedOps];
};

double const* RowOf(SFKernelOperand const& iOperand, std::ptrdiff_t iNumber, std::ptrdiff_t iSlice)
{
  return iOperand.data == nullptr ? nullptr : iOperand.data + iSlice * iOperand.s2 + iNumber * iOperand.s1;
}

/// Not a part of the kernels, as in vectors this loop would wait for addresses that were written one by one just before.
__attribute__((noinline)) FusedRow FusedRowAt(SFFusedBox const& iBox, std::ptrdiff_t iNumber, std::ptrdiff_t iSlice)
{
  FusedRow row;
  row.first = RowOf(iBox.first, iNumber, iSlice);
  for (std::size_t l = 0; l < iBox.opCount; ++l)
    row.operands[l] = RowOf(iBox.ops[l].operand, iNumber, iSlice);
  return row;
}

} // namespace

// Inlined for the sake of the registers: a value must not pass through memory between two operators.
#define SF_KERNEL_INLINE __attribute__((always_inline)) inline
#if defined(__clang__)
#define SF_KERNEL_UNROLL _Pragma("unroll")
#else
#define SF_KERNEL_UNROLL _Pragma("GCC unroll 8")
#endif

namespace Portable {
namespace {
#define SF_KERNEL_TARGET
#define SF_KERNEL_NAME "portable"
#define SF_KERNEL_BYTES 16
#define SF_KERNEL_REGISTERS 4
#include "tape/SFTapeKernelBody.inl"
#undef SF_KERNEL_TARGET
#undef SF_KERNEL_NAME
#undef SF_KERNEL_BYTES
#undef SF_KERNEL_REGISTERS
} // namespace
} // namespace Portable

#if defined(__x86_64__) && defined(__GNUC__)
#define SF_HAS_X86_KERNELS 1
namespace Avx2 {
namespace {
#define SF_KERNEL_TARGET __attribute__((target("avx2")))
#define SF_KERNEL_NAME "avx2"
#define SF_KERNEL_BYTES 32
#define SF_KERNEL_REGISTERS 4
#include "tape/SFTapeKernelBody.inl"
#undef SF_KERNEL_TARGET
#undef SF_KERNEL_NAME
#undef SF_KERNEL_BYTES
#undef SF_KERNEL_REGISTERS
} // namespace
} // namespace Avx2

namespace Avx512 {
namespace {
#if defined(__clang__)
#define SF_KERNEL_TARGET __attribute__((target("avx512f,avx512dq,avx512vl"), min_vector_width(512)))
#else
#define SF_KERNEL_TARGET __attribute__((target("avx512f,avx512dq,avx512vl,prefer-vector-width=512")))
#endif
#define SF_KERNEL_NAME "avx512"
#define SF_KERNEL_BYTES 64
#define SF_KERNEL_REGISTERS 8
#define SF_KERNEL_AVX512
#include "tape/SFTapeKernelBody.inl"
#undef SF_KERNEL_TARGET
#undef SF_KERNEL_NAME
#undef SF_KERNEL_BYTES
#undef SF_KERNEL_REGISTERS
#undef SF_KERNEL_AVX512
} // namespace
} // namespace Avx512

namespace {

/// Whether this processor's approximate roots lead to rounded ones for the significands of which SFTapeKernelFusedSteps.inl
/// leaves that open.
bool RoundsHardRoots(SFTapeKernels const& iKernels)
{
  constexpr std::array hard{0x1.0000000000001p+0, 0x1.0000000000003p+0, 0x1.0000000000005p+0, 0x1.0000000000007p+0,
                            0x1.1dad9cfe3d12ap+0, 0x1.256565cadcbf4p+0, 0x1.270ac7cec9d2ap+0, 0x1.283741a1bef08p+0,
                            0x1.2b035c1197f48p+0, 0x1.732b9a374ddcep+0, 0x1.955d8279a3c0fp+0, 0x1.a881d1831fabdp+0,
                            0x1.ba44c2a0737a2p+0, 0x1.d407bb3641da5p+0, 0x1.e99893042c2cbp+0, 0x1.1ac9955fd90d2p+1,
                            0x1.4eb5f85e783a9p+1, 0x1.5b95344972fe2p+1, 0x1.77483d37ce205p+1, 0x1.8444088dbdcb5p+1,
                            0x1.ffffffffffff9p+1, 0x1.ffffffffffffbp+1, 0x1.ffffffffffffdp+1, 0x1.fffffffffffffp+1};
  std::array<double, 64> values{}; // a whole strip
  std::array<double, values.size()> roots{};
  for (std::size_t i = 0; i < values.size(); ++i)
    values[i] = hard[i % hard.size()];
  auto const rows = iKernels.operators[CodeOf(SFNodeType::ROOT)][0];
  rows({roots.data(), roots.size(), 1, 1, {values.data(), 0, 0}, {values.data(), 0, 0}});
  return std::equal(roots.begin(), roots.end(), values.begin(),
                    [](double iRoot, double iValue) { return iRoot == std::sqrt(iValue); });
}

} // namespace
#endif

std::vector<SFTapeKernels const*> const& AvailableTapeKernels()
{
  // The builtin also asks whether the system saves the wide registers.
  static std::vector<SFTapeKernels const*> const available = [] {
    std::vector<SFTapeKernels const*> sets;
#if defined(SF_HAS_X86_KERNELS)
    if (__builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512dq") && __builtin_cpu_supports("avx512vl") &&
        RoundsHardRoots(Avx512::kernels))
      sets.push_back(&Avx512::kernels);
    if (__builtin_cpu_supports("avx2"))
      sets.push_back(&Avx2::kernels);
#endif
    sets.push_back(&Portable::kernels);
    return sets;
  }();
  return available;
}

namespace {

/// Says once in a process that SF_KERNELS names no set.
void RefuseKernels(std::string const& iWanted)
{
  static std::once_flag refused;
  std::call_once(refused, [&iWanted] {
    std::string line = "Error in SFInstructionSets, SF_KERNELS=" + iWanted + " is none of";
    for (std::string const& name : SFInstructionSets::GetNames())
      line.append(" ").append(name);
    Diagnostics::Sentence(line);
  });
}

} // namespace

SFTapeKernels const& ActiveTapeKernels()
{
  auto const& available = AvailableTapeKernels();
  char const* const variable = std::getenv(SFInstructionSets::Variable);
  std::string const wanted = variable != nullptr ? variable : "";
  if (wanted.empty())
    return *available.front();
  for (SFTapeKernels const* const kernels : available)
    if (kernels->name == wanted)
      return *kernels;
  if (SFInstructionSets::IsName(wanted))
    return *available.back();
  RefuseKernels(wanted);
  return *available.front();
}

std::vector<std::string> SFInstructionSets::GetNames() { return {"avx512", "avx2", "portable"}; }

bool SFInstructionSets::IsName(std::string const& iText)
{
  auto const names = GetNames();
  return std::find(names.begin(), names.end(), iText) != names.end();
}

std::string SFInstructionSets::GetActive() { return std::string(ActiveTapeKernels().name); }

} // namespace SF
