#include "Fields.h"

#include "operators/SFScalarOps.h"
#include "tape/SFTapeKernels.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

using namespace SFTest;

namespace {

__extension__ using Wide = unsigned __int128;

constexpr std::size_t Strip = 64; // what kernels compute at once, at most: one value out of range changes the method

struct Operands
{
  Values a, b;

  void Add(double iA, double iB)
  {
    a.push_back(iA);
    b.push_back(iB);
  }
  /// What follows does not decide the method of what is there.
  void EndStrip()
  {
    while (a.size() % Strip != 0)
      Add(2.0, 1.0);
  }
};

class Source
{
public:
  std::uint64_t Bits() { return _engine(); }
  double Value(int iExponent) { return std::ldexp(1.0 + static_cast<double>(Bits() >> 12U) * 0x1p-52, iExponent); }

private:
  std::mt19937_64 _engine{1};
};

/// The roots that are closest to the midpoints of doubles: N² - 4 s² = d for an odd N in [2^53, 2^54) and a small d.
void AddHardRoots(Operands& oTo)
{
  for (unsigned const shift : {54U, 55U})
    for (std::int64_t d = -1023; d < 1024; d += 8) {
      std::uint64_t root = 1; // of d modulo more and more powers of two
      for (unsigned bit = 3; bit < shift; ++bit)
        if (((root * root - static_cast<std::uint64_t>(d)) >> bit & 1U) != 0)
          root += std::uint64_t{1} << (bit - 1U);
      for (std::uint64_t n :
           {root, -root, root + (std::uint64_t{1} << (shift - 1U)), -root + (std::uint64_t{1} << (shift - 1U))}) {
        n &= (std::uint64_t{1} << shift) - 1U;
        auto const significand = static_cast<std::uint64_t>((Wide{n} * n - static_cast<Wide>(d)) >> shift);
        if (n >> 53U == 1 && significand >> 52U == 1)
          for (int const exponent : {-900, -54, 0, 700})
            oTo.Add(std::ldexp(static_cast<double>(significand), exponent + static_cast<int>(shift & 1U)), 1.0);
      }
    }
}

/// Quotients that are closest to midpoints: a 2^54 = N b + t for an odd N in [2^53, 2^54) and a small t.
void AddHardQuotients(Operands& oTo)
{
  // The greatest divisor, and some of which an approximate reciprocal takes many steps to be rounded correctly.
  constexpr std::uint64_t special[] = {0x1fffffffffffff, 0x1f8d5d6ea3e207, 0x1f52cd69abcb59, 0x1f155b40d5c2dd,
                                       0x1f528db9d3b7e9};
  Source source;
  for (std::size_t i = 0; i < 20000; ++i) {
    std::uint64_t const b =
        i < 2 * Strip ? special[i % std::size(special)] : source.Bits() >> 11U | std::uint64_t{1} << 52U | 1U;
    std::uint64_t inverse = b;
    for (int step = 0; step < 5; ++step)
      inverse *= 2 - b * inverse;
    for (int const t : {-3, -1, 1, 3}) {
      std::uint64_t const n = inverse * static_cast<std::uint64_t>(-t) & ((std::uint64_t{1} << 54U) - 1U);
      auto const a = static_cast<std::uint64_t>((Wide{n} * b + static_cast<Wide>(t)) >> 54U);
      if (n >> 53U != 1)
        continue;
      // Of every other strip the remainders have no room for all of their bits.
      bool const isTiny = oTo.a.size() / Strip % 2 == 1;
      int const divisor = isTiny ? -562 : static_cast<int>(i % 80) - 40;
      oTo.Add(std::ldexp(static_cast<double>(a), isTiny ? divisor - 490 : 0),
              std::ldexp(i % 2 == 0 ? static_cast<double>(b) : -static_cast<double>(b), divisor));
    }
  }
}

/// Strips of the same exponents, from the subnormal numbers to the greatest, in which some have nasty values too.
void AddAllExponents(Operands& oTo)
{
  Source source;
  for (int e = -1075; e < 1025; e += 3)
    for (int f = -1075; f < 1025; f += 131)
      for (std::size_t i = 0; i < Strip; ++i) {
        bool const isNasty = f % 5 == 0 && i % 16 == 3;
        double const a = isNasty ? Nasty[source.Bits() % Nasty.size()] : source.Value(e);
        oTo.Add(source.Bits() % 32 == 0 && f % 2 == 0 ? std::copysign(0.0, a - 1.5) : a, source.Value(f));
      }
}

} // namespace

// Every set's roots and quotients, in groups and in rows, are those of the processor's instructions for single values.
TEST(Conformance, KernelsRoundRootsAndQuotients)
{
  Operands operands;
  AddHardRoots(operands);
  EXPECT_GT(operands.a.size(), 400U);
  operands.EndStrip();
  AddHardQuotients(operands);
  EXPECT_GT(operands.a.size(), 30000U);
  operands.EndStrip();
  AddAllExponents(operands);
  std::size_t const n = operands.a.size();
  for (SFNodeType const type : {ROOT, DIV}) {
    Values expected(n);
    for (std::size_t i = 0; i < n; ++i)
      expected[i] = ScalarOps::Apply(type, operands.a[i], operands.b[i]);
    for (SFTapeKernels const* const kernels : AvailableTapeKernels()) {
      Values got(n);
      auto const check = [&](char const* iWhat) {
        std::size_t const at = FirstDifference(got, expected);
        ASSERT_EQ(at, n) << kernels->name << " " << iWhat << " " << std::hexfloat << operands.a[at] << ", "
                         << operands.b[at] << ": " << got[at] << " instead of " << expected[at];
      };
      kernels->operators[CodeOf(type)][0]({got.data(), n, 1, 1, {operands.a.data(), 0, 0}, {operands.b.data(), 0, 0}});
      check("row");
      for (bool const swapped : {false, true}) {
        if (swapped && type == ROOT)
          continue;
        SFFusedOp const op{CodeOf(type), swapped, true, {(swapped ? operands.a : operands.b).data(), 0, 0}};
        SFFusedBox box;
        box.n0 = n;
        box.first = {(swapped ? operands.b : operands.a).data(), 0, 0};
        box.ops = &op;
        box.opCount = 1;
        box.out = got.data();
        kernels->fused(box);
        check("group");
      }
    }
  }
}

// Floats that are stored past the caches: rows that follow each other and rows that do not, at any alignment.
TEST(Conformance, KernelsStreamFloats)
{
  constexpr std::ptrdiff_t step = 700; // from row to row of the values
  Values values(3000);
  for (std::size_t i = 0; i < values.size(); ++i)
    values[i] = static_cast<double>(i) - 100.0;
  double const zero = 0.0;
  SFFusedOp const op{CodeOf(PLUS), false, false, {&zero, 0, 0}};
  enum Kernel
  {
    Group,
    Rows,
    Normals
  };
  for (SFTapeKernels const* const kernels : AvailableTapeKernels())
    for (Kernel const kernel : {Group, Rows, Normals})
      for (std::size_t const n : {192U, 193U, 256U, 1351U})
        for (std::size_t const gap : {0U, 5U})
          for (std::size_t offset = 0; offset < 17; ++offset) {
            std::size_t const width = kernel == Normals ? 3 : 1;
            std::size_t const row = width * n + gap;
            std::vector<float> expected(3 * row + 32, 0.5F);
            std::vector<float> got = expected;
            for (std::size_t at = 0; at < 3 * n; ++at) {
              double const value = values[at / n * step + at % n];
              float* const to = &expected[offset + at / n * row + at % n * width];
              std::fill_n(to, width, 0.0F);
              *to = static_cast<float>(kernel == Normals && value != 0.0 ? std::copysign(1.0, value) : value);
            }
            auto const s1 = static_cast<std::ptrdiff_t>(row);
            SFFloatBox const floats{got.data() + offset, s1, 0, n, 3, 1, true};
            SFKernelOperand const from{values.data(), step, 0};
            SFKernelOperand const none{&zero, 0, 0};
            if (kernel == Group)
              kernels->fused({n, 3, 1, from, true, &op, 1, nullptr, floats.out, s1, 0, false, 0.0, true});
            else if (kernel == Rows)
              kernels->storePlain({floats, from, true}, 0.0);
            else
              kernels->storeNormals({floats, {from, none, none}, {true, false, false}});
            ASSERT_EQ(FirstDifference(got, expected), got.size())
                << kernels->name << " " << kernel << " " << n << " " << gap << " " << offset;
          }
}
