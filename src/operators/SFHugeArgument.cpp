#include "operators/elementary/SFHugeArgument.h"

#include <array>
#include <bit>
#include <cstddef>

namespace SF {
namespace Elementary {
namespace {

/// The bits of 2/pi after the point, behind a word of zeros (computed with mpmath).
constexpr std::array<std::uint64_t, 21> TwoOverPiBits{
    0x0000000000000000, 0xa2f9836e4e441529, 0xfc2757d1f534ddc0, 0xdb6295993c439041, 0xfe5163abdebbc561,
    0xb7246e3a424dd2e0, 0x06492eea09d1921c, 0xfe1deb1cb129a73e, 0xe88235f52ebb4484, 0xe99c7026b45f7e41,
    0x3991d639835339f4, 0x9c845f8bbdf9283b, 0x1ff897ffde05980f, 0xef2f118b5a0a6d1f, 0x6d367ecf27cb09b7,
    0x4f463f669e5fea2d, 0x7527bac7ebe5f17b, 0x3d0739f78a5292ea, 0x6bfb5fb11f8d5d08, 0x56033046fc7b6bab,
    0xf0cfbc209af4361d};

/// 64 of them, from a bit on.
std::uint64_t BitsAt(std::size_t iBit)
{
  std::size_t const word = iBit / 64;
  std::size_t const shift = iBit % 64;
  std::uint64_t const first = TwoOverPiBits[word] << shift;
  return shift == 0 ? first : first | TwoOverPiBits[word + 1] >> (64 - shift);
}

/// The upper 64 bits of a product, with `ioLower` added to the lower ones, which replace it.
std::uint64_t MultiplyAdd(std::uint64_t iA, std::uint64_t iB, std::uint64_t& ioLower)
{
  constexpr std::uint64_t half = 0xffffffff;
  std::uint64_t const low = (iA & half) * (iB & half);
  std::uint64_t const middle1 = (iA >> 32) * (iB & half) + (low >> 32);
  std::uint64_t const middle2 = (iA & half) * (iB >> 32) + (middle1 & half);
  std::uint64_t const lower = (middle2 << 32 | (low & half)) + ioLower;
  std::uint64_t const carry = lower < ioLower ? 1 : 0;
  ioLower = lower;
  return (iA >> 32) * (iB >> 32) + (middle1 >> 32) + (middle2 >> 32) + carry;
}

/// 192 bits, the most significant word first.
using Words = std::array<std::uint64_t, 3>;

/// Modulo 2^192.
Words Times(Words const& iA, std::uint64_t iB)
{
  Words product{0, 0, 0};
  std::uint64_t const carry = MultiplyAdd(iA[2], iB, product[2]);
  product[1] = carry;
  product[0] = MultiplyAdd(iA[1], iB, product[1]);
  product[0] += iA[0] * iB;
  return product;
}

Words Negated(Words const& iA)
{
  Words result{~iA[0], ~iA[1], ~iA[2] + 1};
  result[1] += result[2] == 0 ? 1 : 0;
  result[0] += result[1] == 0 && result[2] == 0 ? 1 : 0;
  return result;
}

/// By less than 192 bits.
Words ShiftedLeft(Words const& iA, int iBits)
{
  Words words = iA;
  for (; iBits >= 64; iBits -= 64)
    words = {words[1], words[2], 0};
  if (iBits > 0)
    words = {words[0] << iBits | words[1] >> (64 - iBits), words[1] << iBits | words[2] >> (64 - iBits),
             words[2] << iBits};
  return words;
}

/// 2 to a power in the range of normal doubles.
double PowerOf2(int iPower) { return std::bit_cast<double>(static_cast<std::uint64_t>(iPower + 1023) << 52); }

/// hi + lo to a fraction of 192 bits that is not 0, of which hi takes the first 53.
ReducedArgument FractionOf(Words const& iA)
{
  int zeros = 0;
  for (std::uint64_t const word : iA) {
    zeros += std::countl_zero(word);
    if (word != 0)
      break;
  }
  Words const words = ShiftedLeft(iA, zeros);
  double const hi = static_cast<double>(words[0] >> 11);
  double const lo = static_cast<double>((words[0] & 0x7ff) << 42 | words[1] >> 22);
  return {hi * PowerOf2(-53 - zeros), lo * PowerOf2(-106 - zeros), 0};
}

} // namespace

// x = m 2^e with an integer m. Bits of 2/pi of which the product with x is a multiple of 4 are left out; 192 bits of the
// rest leave an error below 2^-137, and no double but 0 is nearer to a multiple of pi/2 than 2^-62.
ReducedArgument ReduceHugeArgument(double iX)
{
  std::uint64_t const bits = std::bit_cast<std::uint64_t>(iX);
  std::uint64_t const m = (bits & 0x000fffffffffffff) | 0x0010000000000000;
  auto const e = static_cast<int>(bits >> 52 & 0x7ff) - 1075;
  auto const from = static_cast<std::size_t>(64 + e - 2); // of a bit of weight 2^(1 - e), so that its product has 2^1
  Words const turns = Times({BitsAt(from), BitsAt(from + 64), BitsAt(from + 128)}, m); // in quadrants, times 2^190

  Words const fraction = ShiftedLeft(turns, 2);
  bool const isAbove = (fraction[0] >> 63) != 0;
  ReducedArgument const part = FractionOf(isAbove ? Negated(fraction) : fraction);
  constexpr double halfPi = 0x1.921fb54442d18p+0;
  constexpr double halfPiRest = 0x1.1a62633145c07p-54;
  auto const upper = [](double iValue) {
    return std::bit_cast<double>(std::bit_cast<std::uint64_t>(iValue) & ~std::uint64_t{0x7ffffff});
  };
  double const a = upper(part.hi);
  double const b = upper(halfPi);
  double const product = part.hi * halfPi;
  double const rest = ((a * b - product) + a * (halfPi - b) + (part.hi - a) * b) + (part.hi - a) * (halfPi - b) +
                      (part.hi * halfPiRest + part.lo * halfPi);
  double const hi = product + rest;
  double const lo = rest - (hi - product);
  return {isAbove ? -hi : hi, isAbove ? -lo : lo, (turns[0] >> 62) + (isAbove ? 1 : 0)};
}

} // namespace Elementary
} // namespace SF
