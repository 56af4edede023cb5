#include "Fields.h"

#include "operators/SFScalarOps.h"
#include "tape/SFTapeKernels.h"

#include <gtest/gtest.h>

#include <bit>
#include <cstring>

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
  Source source;
  for (int i = 0; i < 20000; ++i) {
    std::uint64_t const set = i == 0 ? ~std::uint64_t{0} : i % 2 == 0 ? 0 : std::uint64_t{63} << 58U; // great divisors
    std::uint64_t const b = (source.Bits() | set) >> 11U | std::uint64_t{1} << 52U | 1U;
    std::uint64_t inverse = b;
    for (int step = 0; step < 5; ++step)
      inverse *= 2 - b * inverse;
    for (int const t : {-3, -1, 1, 3}) {
      std::uint64_t const n = inverse * static_cast<std::uint64_t>(-t) & ((std::uint64_t{1} << 54U) - 1U);
      auto const a = static_cast<std::uint64_t>((Wide{n} * b + static_cast<Wide>(t)) >> 54U);
      if (n >> 53U == 1)
        oTo.Add(std::ldexp(static_cast<double>(a), i % 80 - 40), static_cast<double>(i % 2 == 0 ? b : -b));
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
  AddHardQuotients(operands);
  EXPECT_GT(operands.a.size(), 30000U);
  operands.a.resize(operands.a.size() / Strip * Strip);
  operands.b.resize(operands.a.size());
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
  Values values(3000);
  for (std::size_t i = 0; i < values.size(); ++i)
    values[i] = static_cast<double>(i) - 100.0;
  double const zero = 0.0;
  SFFusedOp const op{CodeOf(PLUS), false, false, {&zero, 0, 0}};
  for (SFTapeKernels const* const kernels : AvailableTapeKernels())
    for (std::size_t const n : {192U, 193U, 256U, 1351U})
      for (std::ptrdiff_t const gap : {0, 5})
        for (std::size_t offset = 0; offset < 17; ++offset) {
          SFFusedBox box;
          box.n0 = n;
          box.n1 = 3;
          box.first = {values.data(), 700, 0};
          box.ops = &op;
          box.opCount = 1;
          box.s1 = static_cast<std::ptrdiff_t>(n) + gap;
          std::vector<float> expected(4100 + 64, 0.5F);
          std::vector<float> got = expected;
          for (std::size_t j = 0; j < box.n1; ++j)
            for (std::size_t i = 0; i < n; ++i)
              expected[offset + j * static_cast<std::size_t>(box.s1) + i] = static_cast<float>(values[700 * j + i]);
          box.floats = got.data() + offset;
          box.streams = true;
          kernels->fused(box);
          ASSERT_EQ(FirstDifference(got, expected), got.size())
              << kernels->name << " " << n << " " << gap << " " << offset;
        }
}
